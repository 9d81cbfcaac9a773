// Turns the processor's feature bits into the name of the widest kernel version that it runs.
#include "numeric/dispatch.h"

namespace vek {

bool instruction_set_runs(InstructionSet set) {
    if (set == InstructionSet::portable) return true;
#if defined(__x86_64__)
    __builtin_cpu_init();
    const bool avx2 = __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0;
    if (set == InstructionSet::avx2) return avx2;
    return avx2 && __builtin_cpu_supports("avx512f") != 0;
#else
    return false;
#endif
}

InstructionSet best_instruction_set() {
    if (instruction_set_runs(InstructionSet::avx512)) return InstructionSet::avx512;
    return instruction_set_runs(InstructionSet::avx2) ? InstructionSet::avx2 : InstructionSet::portable;
}

const char* instruction_set_name(InstructionSet set) {
    switch (set) {
        case InstructionSet::avx512:
            return "avx512";
        case InstructionSet::avx2:
            return "avx2";
        default:
            return "portable";
    }
}

}  // namespace vek
