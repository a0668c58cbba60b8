#include "ipp/ippsfft.h"

#include "ipp/detail/Dispatch.h"

using sonacore::ipp::detail::dispatch;
using sonacore::ipp::detail::FamilyKernels;

IppStatus ippsFFTGetSize_R_32f(int order, int flag, int hint, int* specSize, int* specBufferSize,
                               int* workBufferSize) {
    return dispatch<&FamilyKernels::fftGetSize>(order, flag, hint, specSize, specBufferSize, workBufferSize);
}

IppStatus ippsFFTInit_R_32f(FftSpec** fftSpec, int order, int flag, int hint, unsigned char* specMemory,
                            unsigned char* specBuffer) {
    return dispatch<&FamilyKernels::fftInit>(fftSpec, order, flag, hint, specMemory, specBuffer);
}

IppStatus ippsFFTFwd_RToCCS_32f(const float* source, float* destination, const FftSpec* fftSpec,
                                unsigned char* workBuffer) {
    return dispatch<&FamilyKernels::fftFwd>(source, destination, fftSpec, workBuffer);
}

IppStatus ippsConjCcs_32fc_I(std::complex<float>* sourceDestination, int length) {
    return dispatch<&FamilyKernels::conjCcs32fcI>(sourceDestination, length);
}
