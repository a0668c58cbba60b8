#pragma once

#include "ipp/ippcore.h"
#include "ipp/ipptypes.h"

#include <complex>

#pragma GCC visibility push(hidden)

namespace sonacore::ipp::detail {

// The kernels of one processor variant. Every variant fills the whole table; variants differ only in speed
// and in the rounding of their results.
struct FamilyKernels {
    void* (*malloc8u)(int length);
    void* (*malloc32f)(int length);
    void* (*malloc32fc)(int length);
    void (*free)(void* pointer);
    IppStatus (*set32f)(float value, float* destination, int length);
    IppStatus (*mul32fI)(const float* source, float* sourceDestination, int length);
    IppStatus (*sqr64f)(const double* source, double* destination, int length);
    IppStatus (*magnitude32fc)(const std::complex<float>* source, float* destination, int length);
    IppStatus (*powerSpectr32fc)(const std::complex<float>* source, float* destination, int length);
    IppStatus (*winHann32fI)(float* sourceDestination, int length);
    IppStatus (*conjCcs32fcI)(std::complex<float>* sourceDestination, int length);
    IppStatus (*fftGetSize)(int order, int flag, int hint, int* specSize, int* specBufferSize,
                            int* workBufferSize);
    IppStatus (*fftInit)(FftSpec** fftSpec, int order, int flag, int hint, unsigned char* specMemory,
                         unsigned char* specBuffer);
    IppStatus (*fftFwd)(const float* source, float* destination, const FftSpec* fftSpec,
                        unsigned char* workBuffer);
    IppStatus (*iirGetStateSize)(int numBq, int* size);
    IppStatus (*iirInit)(IirState** state, const double* taps, int numBq, const double* delayLine,
                         unsigned char* buffer);
    IppStatus (*iir64f)(const double* source, double* destination, int length, IirState* state);
};

extern const FamilyKernels familyY8Kernels;
extern const FamilyKernels familyE9Kernels;
extern const FamilyKernels familyL9Kernels;
extern const FamilyKernels familyK0Kernels;

// The kernels of a variant by its number in the jump index, 0 to 3.
const FamilyKernels& familyKernels(int family);

// The entry of a dispatched primitive: one indirect call through the chosen variant's table. While no variant
// has been chosen (index -1) it takes the stub's way first: ippSafeInit chooses one, and the entry runs on.
template <auto Member, typename... Arguments> decltype(auto) dispatch(Arguments... arguments) {
    int family = ippJumpIndexForMergedLibs.load(std::memory_order_relaxed);
    if (family < 0) {
        ippSafeInit();
        family = ippJumpIndexForMergedLibs.load(std::memory_order_relaxed);
    }
    return (familyKernels(family).*Member)(arguments...);
}

} // namespace sonacore::ipp::detail

#pragma GCC visibility pop
