#include "ipp/ippsiir.h"

#include "ipp/detail/Dispatch.h"

using sonacore::ipp::detail::dispatch;
using sonacore::ipp::detail::FamilyKernels;

IppStatus ippsIIRGetStateSize_BiQuad_64f(int numBq, int* size) {
    return dispatch<&FamilyKernels::iirGetStateSize>(numBq, size);
}

IppStatus ippsIIRInit_BiQuad_64f(IirState** state, const double* taps, int numBq, const double* delayLine,
                                 unsigned char* buffer) {
    return dispatch<&FamilyKernels::iirInit>(state, taps, numBq, delayLine, buffer);
}

IppStatus ippsIIR_64f(const double* source, double* destination, int length, IirState* state) {
    return dispatch<&FamilyKernels::iir64f>(source, destination, length, state);
}
