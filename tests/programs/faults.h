// Hostile runs: the nth allocation, container or write fails, for every n, over a few programs.
#pragma once

namespace vek::test {

/// Runs them all; the number of faults found, each printed.
int run_faults();

}  // namespace vek::test
