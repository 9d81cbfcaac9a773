// Thresholds that the eigenproblem routines share.
#pragma once

namespace vek::eigen {

inline constexpr double eps = 1.110223024625157e-16;  // 2^-53
inline constexpr double sqrteps = 1.053671212772351e-08;
inline constexpr double tiny = 1.491668147e-154;  // its square is still a normal number
inline constexpr double small = 2.225073858507202e-308;
inline constexpr double huge = 1.3407807929943e+154;  // its square is still finite

}  // namespace vek::eigen
