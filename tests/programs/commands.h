// The outside of the program: command lines, outputs and their places, signals.
#pragma once

namespace vek::test {

/// Runs them all; the number that failed, each printed.
int run_commands();

}  // namespace vek::test
