// Which vector instructions this machine has, and which version of a kernel is therefore taken. Every version of a
// kernel gives the same digits; the choice only decides how fast they come. Tests name a version to hold one against
// another.
#pragma once

/// In front of a loop over a tile: its counts are constants, and its elements stay in registers only when it is
/// unrolled.
#if defined(__clang__)
#define VEK_UNROLL _Pragma("unroll")
#else
#define VEK_UNROLL _Pragma("GCC unroll 16")
#endif

/// In front of a loop whose rounds do not depend on each other, although its arrays could overlap by their types.
#if defined(__clang__)
#define VEK_INDEPENDENT _Pragma("clang loop vectorize(assume_safety)")
#else
#define VEK_INDEPENDENT _Pragma("GCC ivdep")
#endif

namespace vek {

/// The versions in which the hot kernels exist. `portable` runs everywhere.
enum class InstructionSet { portable, avx2, avx512 };

/// True when this machine (and this build) can run the version. avx2 asks for AVX2 and FMA, avx512 for AVX-512 F as
/// well.
bool instruction_set_runs(InstructionSet set);

/// The widest version that runs here.
InstructionSet best_instruction_set();

/// "portable", "avx2" or "avx512".
const char* instruction_set_name(InstructionSet set);

}  // namespace vek
