// What the machine knows of its vector registers. A routine that returns with something in their upper halves makes
// every plain floating-point instruction behind it dear, and no result shows it.
#pragma once

#if defined(__x86_64__) && defined(NDEBUG)
#include <cpuid.h>
#endif

/// False when the upper halves of the vector registers are in use; true as well where the machine cannot tell, and in a
/// build that is not for speed: below -O2 the compiler never clears them.
inline bool upper_halves_clear() {
#if defined(__x86_64__) && defined(NDEBUG)
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
    const bool saves_states = __get_cpuid(1, &eax, &ebx, &ecx, &edx) != 0 && (ecx & bit_OSXSAVE) != 0;
    if (!saves_states || __get_cpuid_count(0xd, 1, &eax, &ebx, &ecx, &edx) == 0 || (eax & 4) == 0) return true;
    asm volatile("xgetbv" : "=a"(eax), "=d"(edx) : "c"(1));  // the states that are in use; bit 2: upper halves
    return (eax & 4) == 0;
#else
    return true;
#endif
}
