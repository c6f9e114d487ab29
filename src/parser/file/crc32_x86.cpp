// CRC-32 by carry-less multiplication on x86-64: four 128-bit blocks at a time with PCLMULQDQ,
// or sixteen at a time in 512-bit registers where the processor has VPCLMULQDQ.
#if defined(__x86_64__)

#include <immintrin.h>

#include "parser/file/crc32_kernels.h"

namespace ParameterCrc32 {
namespace {

#define ZYRA_CLMUL_TARGET __attribute__((target("pclmul,sse4.1")))
#define ZYRA_WIDE_CLMUL_TARGET __attribute__((target("avx512f,vpclmulqdq,pclmul,sse4.1")))

ZYRA_CLMUL_TARGET inline __m128i Constants(const FoldDistance& distance) {
    return _mm_set_epi64x(static_cast<long long>(distance.high),
                          static_cast<long long>(distance.low));
}

// `block` moved along by the distance of `constants`.
ZYRA_CLMUL_TARGET inline __m128i Fold(__m128i block, __m128i constants) {
    return _mm_xor_si128(_mm_clmulepi64_si128(block, constants, 0x00),
                         _mm_clmulepi64_si128(block, constants, 0x11));
}

ZYRA_CLMUL_TARGET inline __m128i Load(const uint8_t* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

// The register after the data folded into `x` and the `length` bytes that follow it.
ZYRA_CLMUL_TARGET uint32_t FinishFolding(__m128i x, const uint8_t* pData, size_t length) {
    const __m128i by128 = Constants(kFold128);
    for (; length >= 16; pData += 16, length -= 16) {
        x = _mm_xor_si128(Fold(x, by128), Load(pData));
    }
    // The folded block has the CRC of the data so far, taken from a register of zero.
    uint8_t folded[16];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(folded), x);
    return UpdateBySlicing(UpdateBySlicing(0, folded, sizeof(folded)), pData, length);
}

ZYRA_CLMUL_TARGET uint32_t UpdateByFolding(uint32_t crc, const uint8_t* pData, size_t length) {
    if (length < kFoldMinimum) {
        return UpdateBySlicing(crc, pData, length);
    }
    // The register enters as the first four bytes' complement, as the table way has it.
    __m128i x0 = _mm_xor_si128(Load(pData), _mm_cvtsi32_si128(static_cast<int>(crc)));
    __m128i x1 = Load(pData + 16);
    __m128i x2 = Load(pData + 32);
    __m128i x3 = Load(pData + 48);
    pData += 64;
    length -= 64;
    const __m128i by512 = Constants(kFold512);
    for (; length >= 64; pData += 64, length -= 64) {
        x0 = _mm_xor_si128(Fold(x0, by512), Load(pData));
        x1 = _mm_xor_si128(Fold(x1, by512), Load(pData + 16));
        x2 = _mm_xor_si128(Fold(x2, by512), Load(pData + 32));
        x3 = _mm_xor_si128(Fold(x3, by512), Load(pData + 48));
    }
    const __m128i by128 = Constants(kFold128);
    __m128i x = _mm_xor_si128(Fold(x0, by128), x1);
    x = _mm_xor_si128(Fold(x, by128), x2);
    x = _mm_xor_si128(Fold(x, by128), x3);
    return FinishFolding(x, pData, length);
}

// Sixteen blocks in flight: four registers of four blocks each.
constexpr size_t kWideStep = 256;
constexpr FoldDistance kFold2048 = FoldBy(2048);
constexpr FoldDistance kFold256 = FoldBy(256);
constexpr FoldDistance kFold384 = FoldBy(384);

// The masked forms of broadcast and extract: the plain ones start from an undefined register,
// which the compiler warns about.
ZYRA_WIDE_CLMUL_TARGET inline __m512i WideConstants(const FoldDistance& distance) {
    return _mm512_maskz_broadcast_i32x4(0xFFFF, Constants(distance));
}

template <int kIndex>
ZYRA_WIDE_CLMUL_TARGET inline __m128i Block(__m512i blocks) {
    return _mm512_maskz_extracti32x4_epi32(0xF, blocks, kIndex);
}

// Each block of `blocks` moved along by the distance of `constants`, added to `next`.
ZYRA_WIDE_CLMUL_TARGET inline __m512i WideFold(__m512i blocks, __m512i constants, __m512i next) {
    return _mm512_ternarylogic_epi64(_mm512_clmulepi64_epi128(blocks, constants, 0x00),
                                     _mm512_clmulepi64_epi128(blocks, constants, 0x11), next,
                                     0x96);
}

ZYRA_WIDE_CLMUL_TARGET inline __m512i WideLoad(const uint8_t* p) {
    return _mm512_loadu_si512(p);
}

ZYRA_WIDE_CLMUL_TARGET uint32_t UpdateByWideFolding(uint32_t crc, const uint8_t* pData,
                                                    size_t length) {
    if (length < kWideStep) {
        return UpdateByFolding(crc, pData, length);
    }
    const __m512i first = _mm512_inserti32x4(_mm512_setzero_si512(),
                                             _mm_cvtsi32_si128(static_cast<int>(crc)), 0);
    __m512i z0 = _mm512_xor_si512(WideLoad(pData), first);
    __m512i z1 = WideLoad(pData + 64);
    __m512i z2 = WideLoad(pData + 128);
    __m512i z3 = WideLoad(pData + 192);
    pData += kWideStep;
    length -= kWideStep;
    const __m512i by2048 = WideConstants(kFold2048);
    for (; length >= kWideStep; pData += kWideStep, length -= kWideStep) {
        z0 = WideFold(z0, by2048, WideLoad(pData));
        z1 = WideFold(z1, by2048, WideLoad(pData + 64));
        z2 = WideFold(z2, by2048, WideLoad(pData + 128));
        z3 = WideFold(z3, by2048, WideLoad(pData + 192));
    }
    const __m512i by512 = WideConstants(kFold512);
    __m512i z = WideFold(z0, by512, z1);
    z = WideFold(z, by512, z2);
    z = WideFold(z, by512, z3);
    for (; length >= 64; pData += 64, length -= 64) {
        z = WideFold(z, by512, WideLoad(pData));
    }
    // The four blocks of the last register, each moved to the end of the last one.
    __m128i x = Block<3>(z);
    x = _mm_xor_si128(x, Fold(Block<2>(z), Constants(kFold128)));
    x = _mm_xor_si128(x, Fold(Block<1>(z), Constants(kFold256)));
    x = _mm_xor_si128(x, Fold(Block<0>(z), Constants(kFold384)));
    return FinishFolding(x, pData, length);
}

}  // namespace

Kernel FastKernel() {
    __builtin_cpu_init();
    if (!__builtin_cpu_supports("pclmul") || !__builtin_cpu_supports("sse4.1")) {
        return nullptr;
    }
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("vpclmulqdq")) {
        return &UpdateByWideFolding;
    }
    return &UpdateByFolding;
}

}  // namespace ParameterCrc32

#endif  // __x86_64__
