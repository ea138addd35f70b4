// The comparison's two inner loops, eight pixels at a time on processors
// with 256-bit vectors (AVX2), chosen when the program runs. Each lane
// takes the steps of the one-pixel loops in the same order and precision,
// so the numbers and bytes are the same bit for bit:
//  - a field is turned into its real in double precision, times the scale
//    and less the offset, rounded to single: for every 16-bit field this
//    is the value of the tables (the tests go through all of them);
//  - the squares are summed L, a, b in that order, then the square root;
//  - a ramp position is divided, clamped and truncated as one pixel's is.
#include "color/lab_pixel_reader.h"

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#include <immintrin.h>
#define SLIDEBOX_WIDE_LAB 1
#endif

namespace slidebox::color::lab_pixels {

#if SLIDEBOX_WIDE_LAB

namespace {

constexpr double kLScale = 100.0 / 65535.0;
constexpr double kABScale = 255.996 / 65535.0;

// Four fields from the one at index j (j % 3: 0 L, 1 a, 2 b).
struct FieldPattern {
    __m256d scale, offset;
};

__attribute__((target("avx2"))) FieldPattern pattern(int j) {
    double scale[4], offset[4];
    for (int k = 0; k < 4; ++k) {
        const bool lightness = (j + k) % 3 == 0;
        scale[k] = lightness ? kLScale : kABScale;
        offset[k] = lightness ? 0.0 : 128.0;
    }
    return {_mm256_loadu_pd(scale), _mm256_loadu_pd(offset)};
}

// The eight 16-bit fields (a and b flipped by flip) as reals.
__attribute__((target("avx2"))) inline __m256
reals(__m128i fields, __m128i flip, const FieldPattern& low, const FieldPattern& high) {
    const __m256i w = _mm256_cvtepu16_epi32(_mm_xor_si128(fields, flip));
    __m256d lo = _mm256_cvtepi32_pd(_mm256_castsi256_si128(w));
    __m256d hi = _mm256_cvtepi32_pd(_mm256_extracti128_si256(w, 1));
    lo = _mm256_sub_pd(_mm256_mul_pd(lo, low.scale), low.offset);
    hi = _mm256_sub_pd(_mm256_mul_pd(hi, high.scale), high.offset);
    return _mm256_set_m128(_mm256_cvtpd_ps(hi), _mm256_cvtpd_ps(lo));
}

// The a-and-b flip of the eight fields from index 8k.
__attribute__((target("avx2"))) __m128i flipOf(int k, std::uint16_t abFlip) {
    std::uint16_t f[8];
    for (int i = 0; i < 8; ++i)
        f[i] = (8 * k + i) % 3 == 0 ? 0 : abFlip;
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(f));
}

__attribute__((target("avx2"))) std::size_t
differences1976Avx2(const LabReader& ra, const LabReader& rb, const std::uint8_t* a,
                    const std::uint8_t* b, std::size_t count, float* out) {
    // Fields 0..23 of eight pixels in three vectors; the halves of vector
    // k start at fields 8k and 8k + 4.
    const FieldPattern patterns[3] = {pattern(0), pattern(1), pattern(2)};
    const __m128i flipA[3] = {flipOf(0, ra.abFlip), flipOf(1, ra.abFlip), flipOf(2, ra.abFlip)};
    const __m128i flipB[3] = {flipOf(0, rb.abFlip), flipOf(1, rb.abFlip), flipOf(2, rb.abFlip)};
    // The squares q0..q23 back into L, a and b of pixels 0..7: a blend of
    // the three vectors puts each pixel's square at a place of its own,
    // a permutation puts them in pixel order.
    const __m256i orderL = _mm256_setr_epi32(0, 3, 6, 1, 4, 7, 2, 5);
    const __m256i orderA = _mm256_setr_epi32(1, 4, 7, 2, 5, 0, 3, 6);
    const __m256i orderB = _mm256_setr_epi32(2, 5, 0, 3, 6, 1, 4, 7);
    std::size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        const auto* pa = reinterpret_cast<const __m128i*>(a + i * kLabPixelBytes);
        const auto* pb = reinterpret_cast<const __m128i*>(b + i * kLabPixelBytes);
        __m256 q[3];
        for (int k = 0; k < 3; ++k) {
            const FieldPattern& low = patterns[(2 * k) % 3];
            const FieldPattern& high = patterns[(2 * k + 1) % 3];
            const __m256 fa = reals(_mm_loadu_si128(pa + k), flipA[k], low, high);
            const __m256 fb = reals(_mm_loadu_si128(pb + k), flipB[k], low, high);
            const __m256 d = _mm256_sub_ps(fa, fb);
            q[k] = _mm256_mul_ps(d, d);
        }
        const __m256 l = _mm256_permutevar8x32_ps(
            _mm256_blend_ps(_mm256_blend_ps(q[0], q[1], 0b10010010), q[2], 0b00100100), orderL);
        const __m256 da = _mm256_permutevar8x32_ps(
            _mm256_blend_ps(_mm256_blend_ps(q[0], q[1], 0b00100100), q[2], 0b01001001), orderA);
        const __m256 db = _mm256_permutevar8x32_ps(
            _mm256_blend_ps(_mm256_blend_ps(q[0], q[1], 0b01001001), q[2], 0b10010010), orderB);
        _mm256_storeu_ps(out + i, _mm256_sqrt_ps(_mm256_add_ps(_mm256_add_ps(l, da), db)));
    }
    return i;
}

__attribute__((target("avx2"))) std::size_t paintAvx2(const float* ds, std::size_t count,
                                                      std::uint8_t* out, const PaintRamps& p) {
    const __m256 leftOutValue = _mm256_set1_ps(kLeftOutDifference);
    const __m256 tol = _mm256_set1_ps(p.tolerance);
    const __m256 inDivisor = _mm256_set1_ps(p.inDivisor);
    const __m256 outDivisor = _mm256_set1_ps(p.outDivisor);
    const __m256 zero = _mm256_setzero_ps(), one = _mm256_set1_ps(1.0f);
    __m256 inFrom[3], inSpan[3], outFrom[3], outSpan[3];
    __m256i left[3];
    for (int c = 0; c < 3; ++c) {
        inFrom[c] = _mm256_set1_ps(p.in.from[c]);
        inSpan[c] = _mm256_set1_ps(p.in.span[c]);
        outFrom[c] = _mm256_set1_ps(p.out.from[c]);
        outSpan[c] = _mm256_set1_ps(p.out.span[c]);
        left[c] = _mm256_set1_epi32(p.leftOut[c]);
    }
    const __m256i byte = _mm256_set1_epi32(0xFF);
    // Three bytes of each 32-bit pixel, four pixels a lane: 12 bytes.
    const __m256i pack = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1, 0,
                                          1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    std::size_t i = 0;
    // Each lane is stored as 16 bytes of which 12 count: two pixels of
    // room must follow the eight.
    for (; i + 10 <= count; i += 8) {
        const __m256 d = _mm256_loadu_ps(ds + i);
        const __m256 leftOut = _mm256_cmp_ps(d, leftOutValue, _CMP_EQ_OQ);
        const __m256 in = _mm256_cmp_ps(d, tol, _CMP_LT_OQ);
        const __m256 below = _mm256_div_ps(d, inDivisor);
        __m256 above = zero;
        if (p.outRamp)
            above = _mm256_min_ps(
                _mm256_max_ps(_mm256_div_ps(_mm256_sub_ps(d, tol), outDivisor), zero), one);
        const __m256 t = _mm256_andnot_ps(leftOut, _mm256_blendv_ps(above, below, in));
        __m256i rgb = _mm256_setzero_si256();
        for (int c = 0; c < 3; ++c) {
            const __m256 from = _mm256_blendv_ps(outFrom[c], inFrom[c], in);
            const __m256 span = _mm256_blendv_ps(outSpan[c], inSpan[c], in);
            __m256i v = _mm256_cvttps_epi32(_mm256_add_ps(from, _mm256_mul_ps(span, t)));
            v = _mm256_blendv_epi8(v, left[c], _mm256_castps_si256(leftOut));
            rgb = _mm256_or_si256(rgb, _mm256_slli_epi32(_mm256_and_si256(v, byte), 8 * c));
        }
        const __m256i packed = _mm256_shuffle_epi8(rgb, pack);
        std::uint8_t* o = out + 3 * i;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(o), _mm256_castsi256_si128(packed));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(o + 12), _mm256_extracti128_si256(packed, 1));
    }
    return i;
}

bool hasAvx2() {
    static const bool has = __builtin_cpu_supports("avx2");
    return has;
}

} // namespace

std::size_t differences1976Wide(const LabReader& a, const LabReader& b, const std::uint8_t* pa,
                                const std::uint8_t* pb, std::size_t count, float* out) {
    return hasAvx2() ? differences1976Avx2(a, b, pa, pb, count, out) : 0;
}

std::size_t paintWide(const float* differences, std::size_t count, std::uint8_t* out,
                      const PaintRamps& ramps) {
    return hasAvx2() ? paintAvx2(differences, count, out, ramps) : 0;
}

#else

std::size_t differences1976Wide(const LabReader&, const LabReader&, const std::uint8_t*,
                                const std::uint8_t*, std::size_t, float*) {
    return 0;
}

std::size_t paintWide(const float*, std::size_t, std::uint8_t*, const PaintRamps&) {
    return 0;
}

#endif

} // namespace slidebox::color::lab_pixels
