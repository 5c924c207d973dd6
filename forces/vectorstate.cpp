#include "vectorstate.h"

#if (defined(__x86_64__) || defined(__i386__)) && (defined(__GNUC__) || defined(__clang__))
#include <immintrin.h>

namespace {
// Compiled for AVX on its own, so that the rest of the program keeps running on processors without it.
__attribute__((target("avx"))) void zeroUpperHalves() {
    _mm256_zeroupper();
}
} // namespace

void clearUpperVectorState() {
    static const bool hasAvx = __builtin_cpu_supports("avx");
    if (hasAvx)
        zeroUpperHalves();
}
#elif defined(_MSC_VER) && (defined(_M_X64) || defined(_M_IX86))
#include <immintrin.h>
#include <intrin.h>

void clearUpperVectorState() {
    static const bool hasAvx = [] {
        int info[4];
        __cpuid(info, 1);
        const bool osSavesVectors = (info[2] & (1 << 27)) != 0; // OSXSAVE
        const bool avx = (info[2] & (1 << 28)) != 0;
        return osSavesVectors && avx && (_xgetbv(0) & 0x6) == 0x6;
    }();
    if (hasAvx)
        _mm256_zeroupper();
}
#else
void clearUpperVectorState() {}
#endif
