// The table behind znrm: quartics for the lower tail of the normal distribution, made at compile time.
#pragma once

#include <array>

namespace vek {

// Row i serves |x| from i/64 to (i + 1)/64: the lower tail P(Z < -|x|) is the quartic with these coefficients, lowest
// power first, in t = (2i + 1)/128 - |x|, within 2e-14. Row 384 serves |x| = 6 only.
inline constexpr int nrm_rows = 385;
extern const std::array<std::array<double, 5>, nrm_rows> nrm;

}  // namespace vek
