#pragma once

// The real FFT's kernels, written once over a vector type (F4, F8, F16) and compiled into each processor
// variant. The data of a lane stage is an array of elements; element e holds z[L e + l] for the lanes l, as
// L real parts followed by L imaginary parts.

#include "ipp/detail/FftLayout.h"
#include "ipp/kernels/SimdFloat.h"

#include <cstddef>

namespace sonacore::ipp::kernels {
namespace {

// cos and -sin of 2 pi k / 16; the smaller transforms use every (16 / n)-th.
constexpr float w16Re[8] = {1.0f, 0.923879532511286756f,  0.707106781186547524f,  0.382683432433188300f,
                            0.0f, -0.382683432433188300f, -0.707106781186547524f, -0.923879532511286756f};
constexpr float w16Im[8] = {0.0f,  -0.382683432433188300f, -0.707106781186547524f, -0.923879532511286756f,
                            -1.0f, -0.923879532511286756f, -0.707106781186547524f, -0.382683432433188300f};

template <class O>
inline void complexMultiply(typename O::T& re, typename O::T& im, typename O::T wr, typename O::T wi) {
    const typename O::T r = O::fmsub(re, wr, O::mul(im, wi));
    im = O::fmadd(re, wi, O::mul(im, wr));
    re = r;
}

template <class O, bool fromSource>
inline void loadElement(const float* data, std::ptrdiff_t element, typename O::T& re, typename O::T& im) {
    constexpr int L = O::lanes;
    if constexpr (fromSource) {
        O::deinterleave(data + 2 * L * element, re, im);
    } else {
        re = O::load(data + 2 * L * element);
        im = O::load(data + 2 * L * element + L);
    }
}

template <class O>
inline void storeElement(float* data, std::ptrdiff_t element, typename O::T re, typename O::T im) {
    constexpr int L = O::lanes;
    O::store(data + 2 * L * element, re);
    O::store(data + 2 * L * element + L, im);
}

// One radix-4 Stockham stage of decimation in frequency over sequences of length n with stride s (n s = P).
// Reading from the source de-interleaves the real input into the element layout on the way.
template <class O, bool fromSource>
void radix4Stage(const float* x, float* y, std::ptrdiff_t n, std::ptrdiff_t s, std::ptrdiff_t quarter,
                 const float* twiddles) {
    using T = typename O::T;
    const std::ptrdiff_t m = n / 4;
    for (std::ptrdiff_t p = 0; p < m; ++p) {
        const float* w = twiddles + 6 * p;
        const T w1r = O::set1(w[0]);
        const T w1i = O::set1(w[1]);
        const T w2r = O::set1(w[2]);
        const T w2i = O::set1(w[3]);
        const T w3r = O::set1(w[4]);
        const T w3i = O::set1(w[5]);
        for (std::ptrdiff_t q = 0; q < s; ++q) {
            const std::ptrdiff_t in = q + s * p;
            T ar, ai, br, bi, cr, ci, dr, di;
            loadElement<O, fromSource>(x, in, ar, ai);
            loadElement<O, fromSource>(x, in + quarter, br, bi);
            loadElement<O, fromSource>(x, in + 2 * quarter, cr, ci);
            loadElement<O, fromSource>(x, in + 3 * quarter, dr, di);
            const T apcr = O::add(ar, cr);
            const T apci = O::add(ai, ci);
            const T amcr = O::sub(ar, cr);
            const T amci = O::sub(ai, ci);
            const T bpdr = O::add(br, dr);
            const T bpdi = O::add(bi, di);
            const T bmdr = O::sub(br, dr);
            const T bmdi = O::sub(bi, di);
            T y0r = O::add(apcr, bpdr);
            T y0i = O::add(apci, bpdi);
            T y2r = O::sub(apcr, bpdr);
            T y2i = O::sub(apci, bpdi);
            T y1r = O::add(amcr, bmdi);
            T y1i = O::sub(amci, bmdr);
            T y3r = O::sub(amcr, bmdi);
            T y3i = O::add(amci, bmdr);
            complexMultiply<O>(y1r, y1i, w1r, w1i);
            complexMultiply<O>(y2r, y2i, w2r, w2i);
            complexMultiply<O>(y3r, y3i, w3r, w3i);
            const std::ptrdiff_t out = q + 4 * s * p;
            storeElement<O>(y, out, y0r, y0i);
            storeElement<O>(y, out + s, y1r, y1i);
            storeElement<O>(y, out + 2 * s, y2r, y2i);
            storeElement<O>(y, out + 3 * s, y3r, y3i);
        }
    }
}

// The last stage when log2(P) is odd: sequences of length 2, stride P / 2, no twiddles.
template <class O> void radix2Stage(const float* x, float* y, std::ptrdiff_t half) {
    using T = typename O::T;
    for (std::ptrdiff_t q = 0; q < half; ++q) {
        T ar, ai, br, bi;
        loadElement<O, false>(x, q, ar, ai);
        loadElement<O, false>(x, q + half, br, bi);
        storeElement<O>(y, q, O::add(ar, br), O::add(ai, bi));
        storeElement<O>(y, q + half, O::sub(ar, br), O::sub(ai, bi));
    }
}

// In-register transform of N vectors, read with stride S from r and i, written in natural order to outR and
// outI; decimation in time, unrolled at compile time.
template <class O, int N, int S>
inline void smallDft(const typename O::T* r, const typename O::T* i, typename O::T* outR,
                     typename O::T* outI) {
    using T = typename O::T;
    if constexpr (N == 1) {
        outR[0] = r[0];
        outI[0] = i[0];
    } else {
        smallDft<O, N / 2, 2 * S>(r, i, outR, outI);
        smallDft<O, N / 2, 2 * S>(r + S, i + S, outR + N / 2, outI + N / 2);
        for (int k = 0; k < N / 2; ++k) {
            const int index = k * (16 / N);
            T tr = outR[k + N / 2];
            T ti = outI[k + N / 2];
            if (index == 4) {
                // times -i
                const T swap = tr;
                tr = ti;
                ti = O::neg(swap);
            } else if (index != 0) {
                complexMultiply<O>(tr, ti, O::set1(w16Re[index]), O::set1(w16Im[index]));
            }
            outR[k + N / 2] = O::sub(outR[k], tr);
            outI[k + N / 2] = O::sub(outI[k], ti);
            outR[k] = O::add(outR[k], tr);
            outI[k] = O::add(outI[k], ti);
        }
    }
}

// Combines the lanes: Z[k1 + P k2] = sum over l of W_M^(l k1) W_L^(l k2) Y_l[k1], in blocks of L values of
// k1. Writes the spectrum, already scaled, as separate real and imaginary arrays.
template <class O>
void combineLanes(const float* x, float* outRe, float* outIm, std::ptrdiff_t p, const FftSpec* fft) {
    using T = typename O::T;
    constexpr int L = O::lanes;
    const std::ptrdiff_t blocks = p / L;
    for (std::ptrdiff_t block = 0; block < blocks; ++block) {
        T re[L];
        T im[L];
        for (int i = 0; i < L; ++i) {
            loadElement<O, false>(x, block * L + i, re[i], im[i]);
        }
        O::transpose(re);
        O::transpose(im);
        const float* w = fft->crossTwiddles + block * L * 2 * L;
        for (int l = 0; l < L; ++l) {
            complexMultiply<O>(re[l], im[l], O::load(w + 2 * L * l), O::load(w + 2 * L * l + L));
        }
        T outR[L];
        T outI[L];
        smallDft<O, L, 1>(re, im, outR, outI);
        for (int k2 = 0; k2 < L; ++k2) {
            O::store(outRe + block * L + p * k2, outR[k2]);
            O::store(outIm + block * L + p * k2, outI[k2]);
        }
    }
}

// Splits the complex spectrum Z of z[n] = x[2n] + i x[2n + 1] into the real input's spectrum:
// X[k] = E[k] + W_N^k O[k] and X[M - k] = conj(E[k] - W_N^k O[k]), with E and O the spectra of the even and
// odd samples. The factor 1/2 and the scale are already in Z. Reads Z[M - k] as a reversed unaligned load,
// which is why Z[M] must hold a copy of Z[0].
template <class O>
void splitReal(const float* zRe, const float* zIm, float* destination, std::ptrdiff_t m, const FftSpec* fft) {
    using T = typename O::T;
    constexpr int L = O::lanes;
    for (std::ptrdiff_t k = 0; k <= m / 2; k += L) {
        const T ar = O::load(zRe + k);
        const T ai = O::load(zIm + k);
        const T br = O::reverse(O::load(zRe + m - k - L + 1));
        const T bi = O::reverse(O::load(zIm + m - k - L + 1));
        const T sumR = O::add(ar, br);
        const T sumI = O::sub(ai, bi);
        T difR = O::sub(ar, br);
        T difI = O::add(ai, bi);
        complexMultiply<O>(difR, difI, O::load(fft->postCos + k), O::load(fft->postSin + k));
        O::interleave(destination + 2 * k, O::add(sumR, difI), O::sub(sumI, difR));
        const T mirrorR = O::sub(sumR, difI);
        const T mirrorI = O::neg(O::add(sumI, difR));
        O::interleave(destination + 2 * (m - k - L + 1), O::reverse(mirrorR), O::reverse(mirrorI));
    }
}

// The whole transform for lanes of type O. `work` holds N + L + 1 floats.
template <class O>
void realForward(const float* source, float* destination, const FftSpec* fft, float* work) {
    constexpr int L = O::lanes;
    const std::ptrdiff_t n = std::ptrdiff_t{1} << fft->order;
    const std::ptrdiff_t m = n / 2;
    const std::ptrdiff_t p = m / L;
    const int stages = fft->radix4Stages + fft->radix2Stage;

    // Stockham stages alternate between the destination and the work buffer, and must end in the destination
    // so that the lanes can be combined into the work buffer and split back into the destination.
    float* from = nullptr;
    float* to = (stages % 2 == 1) ? destination : work;
    const float* twiddles = fft->stageTwiddles;
    std::ptrdiff_t length = p;
    std::ptrdiff_t stride = 1;
    for (int stage = 0; stage < fft->radix4Stages; ++stage) {
        if (stage == 0) {
            radix4Stage<O, true>(source, to, length, stride, p / 4, twiddles);
        } else {
            radix4Stage<O, false>(from, to, length, stride, p / 4, twiddles);
        }
        twiddles += 6 * (length / 4);
        length /= 4;
        stride *= 4;
        from = to;
        to = (to == destination) ? work : destination;
    }
    if (fft->radix2Stage != 0) {
        radix2Stage<O>(from, to, p / 2);
        from = to;
    }

    float* zRe = work;
    float* zIm = work + m + L;
    combineLanes<O>(from, zRe, zIm, p, fft);
    zRe[m] = zRe[0];
    zIm[m] = zIm[0];
    splitReal<O>(zRe, zIm, destination, m, fft);
    destination[1] = 0.0f;
    destination[n + 1] = 0.0f;
}

// Orders up to 4: the spectrum summed directly in double from the table of N roots of unity.
inline void realForwardDirect(const float* source, float* destination, const FftSpec* fft) {
    const int n = 1 << fft->order;
    for (int k = 0; k <= n / 2; ++k) {
        double re = 0.0;
        double im = 0.0;
        for (int j = 0; j < n; ++j) {
            const int index = (k * j) & (n - 1);
            re += static_cast<double>(source[j]) * fft->postCos[index];
            im += static_cast<double>(source[j]) * fft->postSin[index];
        }
        destination[2 * k] = static_cast<float>(re * fft->forwardScale);
        destination[2 * k + 1] = static_cast<float>(im * fft->forwardScale);
    }
    destination[1] = 0.0f;
    if (n > 1) {
        destination[n + 1] = 0.0f;
    }
}

} // namespace
} // namespace sonacore::ipp::kernels
