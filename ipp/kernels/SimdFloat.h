#pragma once

// Vectors of floats for the kernels, one type per register width. This header is compiled into each
// processor variant with that variant's instruction set, so everything here has internal linkage: a copy
// built for a newer processor can never be picked by the linker for code that runs on an older one.

#include <immintrin.h>

namespace sonacore::ipp::kernels {
namespace {

// Four lanes: SSE2, or the same operations in the VEX encoding when the file is built for AVX.
struct F4 {
    using T = __m128;
    static constexpr int lanes = 4;
    static T load(const float* p) { return _mm_loadu_ps(p); }
    static void store(float* p, T a) { _mm_storeu_ps(p, a); }
    static T set1(float x) { return _mm_set1_ps(x); }
    static T zero() { return _mm_setzero_ps(); }
    static T add(T a, T b) { return _mm_add_ps(a, b); }
    static T sub(T a, T b) { return _mm_sub_ps(a, b); }
    static T mul(T a, T b) { return _mm_mul_ps(a, b); }
#if defined(__FMA__)
    static T fmadd(T a, T b, T c) {
        return _mm_fmadd_ps(a, b, c);
    }
    static T fmsub(T a, T b, T c) {
        return _mm_fmsub_ps(a, b, c);
    }
#else
    static T fmadd(T a, T b, T c) {
        return _mm_add_ps(_mm_mul_ps(a, b), c);
    }
    static T fmsub(T a, T b, T c) {
        return _mm_sub_ps(_mm_mul_ps(a, b), c);
    }
#endif
    static T neg(T a) {
        return _mm_xor_ps(a, _mm_set1_ps(-0.0f));
    }
    static T reverse(T a) {
        return _mm_shuffle_ps(a, a, 0x1b);
    }
    // Pairs (re, im) at p[0..2L) into a vector of real and one of imaginary parts.
    static void deinterleave(const float* p, T& re, T& im) {
        const T lo = _mm_loadu_ps(p);
        const T hi = _mm_loadu_ps(p + 4);
        re = _mm_shuffle_ps(lo, hi, 0x88);
        im = _mm_shuffle_ps(lo, hi, 0xdd);
    }
    static void interleave(float* p, T re, T im) {
        _mm_storeu_ps(p, _mm_unpacklo_ps(re, im));
        _mm_storeu_ps(p + 4, _mm_unpackhi_ps(re, im));
    }
    static void transpose(T* r) {
        _MM_TRANSPOSE4_PS(r[0], r[1], r[2], r[3]);
    }
};

#if defined(__AVX__)
struct F8 {
    using T = __m256;
    static constexpr int lanes = 8;
    static T load(const float* p) { return _mm256_loadu_ps(p); }
    static void store(float* p, T a) { _mm256_storeu_ps(p, a); }
    static T set1(float x) { return _mm256_set1_ps(x); }
    static T zero() { return _mm256_setzero_ps(); }
    static T add(T a, T b) { return _mm256_add_ps(a, b); }
    static T sub(T a, T b) { return _mm256_sub_ps(a, b); }
    static T mul(T a, T b) { return _mm256_mul_ps(a, b); }
#if defined(__FMA__)
    static T fmadd(T a, T b, T c) {
        return _mm256_fmadd_ps(a, b, c);
    }
    static T fmsub(T a, T b, T c) {
        return _mm256_fmsub_ps(a, b, c);
    }
#else
    static T fmadd(T a, T b, T c) {
        return _mm256_add_ps(_mm256_mul_ps(a, b), c);
    }
    static T fmsub(T a, T b, T c) {
        return _mm256_sub_ps(_mm256_mul_ps(a, b), c);
    }
#endif
    static T neg(T a) {
        return _mm256_xor_ps(a, _mm256_set1_ps(-0.0f));
    }
    static T reverse(T a) {
        const T swapped = _mm256_permute2f128_ps(a, a, 0x01);
        return _mm256_permute_ps(swapped, 0x1b);
    }
    static void deinterleave(const float* p, T& re, T& im) {
        const T lo = _mm256_loadu_ps(p);
        const T hi = _mm256_loadu_ps(p + 8);
        const T a = _mm256_permute2f128_ps(lo, hi, 0x20);
        const T b = _mm256_permute2f128_ps(lo, hi, 0x31);
        re = _mm256_shuffle_ps(a, b, 0x88);
        im = _mm256_shuffle_ps(a, b, 0xdd);
    }
    static void interleave(float* p, T re, T im) {
        const T lo = _mm256_unpacklo_ps(re, im);
        const T hi = _mm256_unpackhi_ps(re, im);
        _mm256_storeu_ps(p, _mm256_permute2f128_ps(lo, hi, 0x20));
        _mm256_storeu_ps(p + 8, _mm256_permute2f128_ps(lo, hi, 0x31));
    }
    static void transpose(T* r) {
        const T t0 = _mm256_unpacklo_ps(r[0], r[1]);
        const T t1 = _mm256_unpackhi_ps(r[0], r[1]);
        const T t2 = _mm256_unpacklo_ps(r[2], r[3]);
        const T t3 = _mm256_unpackhi_ps(r[2], r[3]);
        const T t4 = _mm256_unpacklo_ps(r[4], r[5]);
        const T t5 = _mm256_unpackhi_ps(r[4], r[5]);
        const T t6 = _mm256_unpacklo_ps(r[6], r[7]);
        const T t7 = _mm256_unpackhi_ps(r[6], r[7]);
        const T u0 = _mm256_shuffle_ps(t0, t2, 0x44);
        const T u1 = _mm256_shuffle_ps(t0, t2, 0xee);
        const T u2 = _mm256_shuffle_ps(t1, t3, 0x44);
        const T u3 = _mm256_shuffle_ps(t1, t3, 0xee);
        const T u4 = _mm256_shuffle_ps(t4, t6, 0x44);
        const T u5 = _mm256_shuffle_ps(t4, t6, 0xee);
        const T u6 = _mm256_shuffle_ps(t5, t7, 0x44);
        const T u7 = _mm256_shuffle_ps(t5, t7, 0xee);
        r[0] = _mm256_permute2f128_ps(u0, u4, 0x20);
        r[1] = _mm256_permute2f128_ps(u1, u5, 0x20);
        r[2] = _mm256_permute2f128_ps(u2, u6, 0x20);
        r[3] = _mm256_permute2f128_ps(u3, u7, 0x20);
        r[4] = _mm256_permute2f128_ps(u0, u4, 0x31);
        r[5] = _mm256_permute2f128_ps(u1, u5, 0x31);
        r[6] = _mm256_permute2f128_ps(u2, u6, 0x31);
        r[7] = _mm256_permute2f128_ps(u3, u7, 0x31);
    }
};
#endif

#if defined(__AVX512F__)
struct F16 {
    using T = __m512;
    static constexpr int lanes = 16;
    static T load(const float* p) { return _mm512_loadu_ps(p); }
    static void store(float* p, T a) { _mm512_storeu_ps(p, a); }
    static T set1(float x) { return _mm512_set1_ps(x); }
    static T zero() { return _mm512_setzero_ps(); }
    static T add(T a, T b) { return _mm512_add_ps(a, b); }
    static T sub(T a, T b) { return _mm512_sub_ps(a, b); }
    static T mul(T a, T b) { return _mm512_mul_ps(a, b); }
    static T fmadd(T a, T b, T c) { return _mm512_fmadd_ps(a, b, c); }
    static T fmsub(T a, T b, T c) { return _mm512_fmsub_ps(a, b, c); }
    static T neg(T a) {
        return _mm512_castsi512_ps(_mm512_xor_si512(_mm512_castps_si512(a), _mm512_set1_epi32(INT32_MIN)));
    }
    static T reverse(T a) {
        return _mm512_permutexvar_ps(_mm512_set_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15),
                                     a);
    }
    static void deinterleave(const float* p, T& re, T& im) {
        const T lo = _mm512_loadu_ps(p);
        const T hi = _mm512_loadu_ps(p + 16);
        const __m512i even = _mm512_set_epi32(30, 28, 26, 24, 22, 20, 18, 16, 14, 12, 10, 8, 6, 4, 2, 0);
        const __m512i odd = _mm512_set_epi32(31, 29, 27, 25, 23, 21, 19, 17, 15, 13, 11, 9, 7, 5, 3, 1);
        re = _mm512_permutex2var_ps(lo, even, hi);
        im = _mm512_permutex2var_ps(lo, odd, hi);
    }
    static void interleave(float* p, T re, T im) {
        const __m512i first = _mm512_set_epi32(23, 7, 22, 6, 21, 5, 20, 4, 19, 3, 18, 2, 17, 1, 16, 0);
        const __m512i second = _mm512_set_epi32(31, 15, 30, 14, 29, 13, 28, 12, 27, 11, 26, 10, 25, 9, 24, 8);
        _mm512_storeu_ps(p, _mm512_permutex2var_ps(re, first, im));
        _mm512_storeu_ps(p + 16, _mm512_permutex2var_ps(re, second, im));
    }
    static void transpose(T* r) {
        T t[16];
        for (int i = 0; i < 16; i += 2) {
            t[i] = _mm512_unpacklo_ps(r[i], r[i + 1]);
            t[i + 1] = _mm512_unpackhi_ps(r[i], r[i + 1]);
        }
        T u[16];
        for (int i = 0; i < 16; i += 4) {
            u[i] = _mm512_castpd_ps(_mm512_unpacklo_pd(_mm512_castps_pd(t[i]), _mm512_castps_pd(t[i + 2])));
            u[i + 1] =
                _mm512_castpd_ps(_mm512_unpackhi_pd(_mm512_castps_pd(t[i]), _mm512_castps_pd(t[i + 2])));
            u[i + 2] =
                _mm512_castpd_ps(_mm512_unpacklo_pd(_mm512_castps_pd(t[i + 1]), _mm512_castps_pd(t[i + 3])));
            u[i + 3] =
                _mm512_castpd_ps(_mm512_unpackhi_pd(_mm512_castps_pd(t[i + 1]), _mm512_castps_pd(t[i + 3])));
        }
        // u[4g + k] holds row k of the 4x4 blocks in group g (rows 4g..4g+3), one 128-bit block per column
        // group. Two rounds of 128-bit block shuffles finish the transpose.
        T v[16];
        for (int k = 0; k < 4; ++k) {
            v[k] = _mm512_shuffle_f32x4(u[k], u[4 + k], 0x88);
            v[4 + k] = _mm512_shuffle_f32x4(u[k], u[4 + k], 0xdd);
            v[8 + k] = _mm512_shuffle_f32x4(u[8 + k], u[12 + k], 0x88);
            v[12 + k] = _mm512_shuffle_f32x4(u[8 + k], u[12 + k], 0xdd);
        }
        for (int k = 0; k < 4; ++k) {
            r[k] = _mm512_shuffle_f32x4(v[k], v[8 + k], 0x88);
            r[8 + k] = _mm512_shuffle_f32x4(v[k], v[8 + k], 0xdd);
            r[4 + k] = _mm512_shuffle_f32x4(v[4 + k], v[12 + k], 0x88);
            r[12 + k] = _mm512_shuffle_f32x4(v[4 + k], v[12 + k], 0xdd);
        }
    }
};
#endif

} // namespace
} // namespace sonacore::ipp::kernels
