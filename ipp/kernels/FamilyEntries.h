#pragma once

// The dispatched primitives of one processor variant: argument checks in their fixed order, then the
// kernels. Included once by each variant's file, which is compiled with that variant's instruction set and
// names its traits:
//   maxLanes            the widest float vector the variant uses
//   fftOrderFirst       whether the size query checks the order limit before the flag
//   fftMaxInitOrder     the largest order the initialisation accepts

#include "ipp/detail/Dispatch.h"
#include "ipp/detail/FftLayout.h"
#include "ipp/detail/IirLayout.h"
#include "ipp/detail/Memory.h"
#include "ipp/kernels/FftKernels.h"
#include "ipp/kernels/IirKernels.h"
#include "ipp/kernels/VectorKernels.h"
#include "ipp/kernels/WindowKernels.h"

#include <complex>
#include <cstdint>
#include <cstring>

namespace sonacore::ipp::kernels {
namespace {

constexpr int fftStackFloats = 64;

template <class Traits> struct Entries {
    static IppStatus set32f(float value, float* destination, int length) {
        if (destination == nullptr) {
            return ippStsNullPtrErr;
        }
        if (length < 1) {
            return ippStsSizeErr;
        }
        setFloats(value, destination, length);
        return ippStsNoErr;
    }

    static IppStatus mul32fI(const float* source, float* sourceDestination, int length) {
        if (source == nullptr || sourceDestination == nullptr) {
            return ippStsNullPtrErr;
        }
        if (length < 1) {
            return ippStsSizeErr;
        }
        if (source == sourceDestination) {
            // Squaring in place: the restrict-qualified kernel must not see the two as one.
            for (int i = 0; i < length; ++i) {
                sourceDestination[i] *= sourceDestination[i];
            }
            return ippStsNoErr;
        }
        multiplyInPlace(source, sourceDestination, length);
        return ippStsNoErr;
    }

    static IppStatus sqr64f(const double* source, double* destination, int length) {
        if (source == nullptr || destination == nullptr) {
            return ippStsNullPtrErr;
        }
        if (length < 1) {
            return ippStsSizeErr;
        }
        square(source, destination, length);
        return ippStsNoErr;
    }

    static IppStatus magnitude32fc(const std::complex<float>* source, float* destination, int length) {
        if (source == nullptr || destination == nullptr) {
            return ippStsNullPtrErr;
        }
        if (length < 1) {
            return ippStsSizeErr;
        }
        magnitude(reinterpret_cast<const float*>(source), destination, length);
        return ippStsNoErr;
    }

    static IppStatus powerSpectr32fc(const std::complex<float>* source, float* destination, int length) {
        if (source == nullptr || destination == nullptr) {
            return ippStsNullPtrErr;
        }
        if (length < 1) {
            return ippStsSizeErr;
        }
        powerSpectrum(reinterpret_cast<const float*>(source), destination, length);
        return ippStsNoErr;
    }

    static IppStatus winHann32fI(float* sourceDestination, int length) {
        if (sourceDestination == nullptr) {
            return ippStsNullPtrErr;
        }
        if (length < 3) {
            return ippStsSizeErr;
        }
        if (length == 3) {
            // The centre weight is exactly 1.
            sourceDestination[0] = 0.0f;
            sourceDestination[2] = 0.0f;
            return ippStsNoErr;
        }
        hannInPlace(sourceDestination, length);
        return ippStsNoErr;
    }

    static IppStatus conjCcs32fcI(std::complex<float>* sourceDestination, int length) {
        if (sourceDestination == nullptr) {
            return ippStsNullPtrErr;
        }
        if (length < 1) {
            return ippStsSizeErr;
        }
        conjugateSymmetric(reinterpret_cast<float*>(sourceDestination), length);
        return ippStsNoErr;
    }

    static bool validFftFlag(int flag) { return flag == 1 || flag == 2 || flag == 4 || flag == 8; }

    static IppStatus fftGetSize(int order, int flag, int hint, int* specSize, int* specBufferSize,
                                int* workBufferSize) {
        static_cast<void>(hint);
        if (order < 0 || order > 30) {
            return ippStsFftOrderErr;
        }
        if (specSize == nullptr || specBufferSize == nullptr || workBufferSize == nullptr) {
            return ippStsNullPtrErr;
        }
        if (Traits::fftOrderFirst && order > detail::fftMaxOrder) {
            return ippStsFftOrderErr;
        }
        if (!validFftFlag(flag)) {
            return ippStsFftFlagErr;
        }
        if (order > detail::fftMaxOrder) {
            return ippStsFftOrderErr;
        }
        if (order > detail::fftMaxBuildableOrder) {
            return ippStsNoMemErr;
        }
        const detail::FftSizes sizes = detail::fftSizes(order);
        *specSize = sizes.specSize;
        *specBufferSize = sizes.specBufferSize;
        *workBufferSize = sizes.workBufferSize;
        return ippStsNoErr;
    }

    static IppStatus fftInit(FftSpec** fftSpec, int order, int flag, int hint, unsigned char* specMemory,
                             unsigned char* specBuffer) {
        static_cast<void>(specBuffer);
        if (fftSpec == nullptr) {
            return ippStsNullPtrErr;
        }
        if (order < 0 || order > Traits::fftMaxInitOrder) {
            return ippStsFftOrderErr;
        }
        if (specMemory == nullptr) {
            return ippStsNullPtrErr;
        }
        if (!validFftFlag(flag)) {
            return ippStsFftFlagErr;
        }
        if (order > detail::fftMaxBuildableOrder) {
            return ippStsNoMemErr;
        }
        const std::uintptr_t aligned =
            (reinterpret_cast<std::uintptr_t>(specMemory) + 63) & ~std::uintptr_t{63};
        *fftSpec = detail::buildFftSpec(reinterpret_cast<unsigned char*>(aligned), order, flag, hint,
                                        Traits::maxLanes);
        return ippStsNoErr;
    }

    static IppStatus fftFwd(const float* source, float* destination, const FftSpec* fftSpec,
                            unsigned char* workBuffer) {
        if (fftSpec == nullptr) {
            return ippStsNullPtrErr;
        }
        std::int32_t identity = 0;
        std::memcpy(&identity, fftSpec, sizeof identity);
        if (identity != detail::fftSpecIdentity) {
            return ippStsContextMatchErr;
        }
        if (source == nullptr || destination == nullptr) {
            return ippStsNullPtrErr;
        }
        const FftSpec* fft = fftSpec;
        if (fft->lanes == 0) {
            realForwardDirect(source, destination, fft);
            return ippStsNoErr;
        }
        float stackWork[fftStackFloats];
        float* work = stackWork;
        if (fft->order > 5) {
            if (workBuffer == nullptr) {
                return ippStsNullPtrErr;
            }
            const std::uintptr_t aligned =
                (reinterpret_cast<std::uintptr_t>(workBuffer) + 3) & ~std::uintptr_t{3};
            work = reinterpret_cast<float*>(aligned);
        }
        switch (fft->lanes) {
        case detail::lanesSse:
            realForward<F4>(source, destination, fft, work);
            return ippStsNoErr;
#if defined(__AVX__)
        case detail::lanesAvx:
            realForward<F8>(source, destination, fft, work);
            return ippStsNoErr;
#endif
#if defined(__AVX512F__)
        case detail::lanesAvx512:
            realForward<F16>(source, destination, fft, work);
            return ippStsNoErr;
#endif
        default:
            // Built by a variant with wider vectors than this one.
            return ippStsContextMatchErr;
        }
    }

    static IppStatus iirGetStateSize(int numBq, int* size) {
        if (size == nullptr) {
            return ippStsNullPtrErr;
        }
        if (numBq < 1) {
            return ippStsIIROrderErr;
        }
        const std::int64_t sections = numBq;
        const std::int64_t bytes =
            16 * ((40 * sections + 15) / 16 + sections) + (32 * sections + detail::iirChunkLength) * 8 + 960;
        if (bytes > INT32_MAX) {
            return ippStsIIROrderErr;
        }
        *size = static_cast<int>(bytes);
        return ippStsNoErr;
    }

    static IppStatus iirInit(IirState** state, const double* taps, int numBq, const double* delayLine,
                             unsigned char* buffer) {
        if (taps == nullptr || state == nullptr || buffer == nullptr) {
            return ippStsNullPtrErr;
        }
        if (numBq < 1) {
            return ippStsIIROrderErr;
        }
        const std::uintptr_t aligned = (reinterpret_cast<std::uintptr_t>(buffer) + 31) & ~std::uintptr_t{31};
        auto* iir = reinterpret_cast<IirState*>(aligned);
        auto* arrays = reinterpret_cast<double*>(aligned + 64);
        iir->taps = arrays;
        iir->delay = arrays + ((detail::iirTapsPerSection * numBq + 3) & ~3);
        iir->scratch = iir->delay + ((2 * numBq + 3) & ~3);
        iir->numBq = numBq;
        // The identity is written last, so a refused set of taps leaves nothing that the filter would take.
        iir->identity = 0;
        for (int s = 0; s < numBq; ++s) {
            const double* t = taps + 6 * s;
            const double a0 = t[3];
            // Exact comparisons: a NaN passes, as the filter does not inspect values.
            if (a0 == 0.0 || t[0] == 0.0) {
                return ippStsDivByZeroErr;
            }
            double* normalised = iir->taps + detail::iirTapsPerSection * s;
            normalised[0] = t[0] / a0;
            normalised[1] = t[1] / a0;
            normalised[2] = t[2] / a0;
            normalised[3] = -t[4] / a0;
            normalised[4] = -t[5] / a0;
        }
        for (int i = 0; i < 2 * numBq; ++i) {
            iir->delay[i] = delayLine != nullptr ? delayLine[i] : 0.0;
        }
        iir->identity = detail::iirBiquadIdentity;
        *state = iir;
        return ippStsNoErr;
    }

    static IppStatus iir64f(const double* source, double* destination, int length, IirState* state) {
        if (state == nullptr || source == nullptr || destination == nullptr) {
            return ippStsNullPtrErr;
        }
        if (length < 1) {
            return ippStsSizeErr;
        }
        std::int32_t identity = 0;
        std::memcpy(&identity, state, sizeof identity);
        if (identity != detail::iirBiquadIdentity && identity != detail::iirDirectFormIdentity) {
            return ippStsContextMatchErr;
        }
        for (int done = 0; done < length; done += detail::iirChunkLength) {
            const int chunk =
                (length - done < detail::iirChunkLength) ? length - done : detail::iirChunkLength;
            iirChunk(source + done, destination + done, chunk, state);
        }
        return ippStsNoErr;
    }

    static constexpr detail::FamilyKernels table() {
        return detail::FamilyKernels{
            detail::allocateBytes,
            detail::allocateFloats,
            detail::allocateComplexFloats,
            detail::release,
            set32f,
            mul32fI,
            sqr64f,
            magnitude32fc,
            powerSpectr32fc,
            winHann32fI,
            conjCcs32fcI,
            fftGetSize,
            fftInit,
            fftFwd,
            iirGetStateSize,
            iirInit,
            iir64f,
        };
    }
};

} // namespace
} // namespace sonacore::ipp::kernels
