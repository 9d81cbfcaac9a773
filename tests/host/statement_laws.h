// What holds for every program, however broken: laws that the tests and the fuzzer check.
#pragma once

#include <string>
#include <string_view>

namespace vek::test {

/// Runs the program against the data set TRIAL; which law it broke, or empty. Crashes and sanitizer reports are laws
/// that speak for themselves.
std::string broken_law(std::string_view program, bool interactive);

}  // namespace vek::test
