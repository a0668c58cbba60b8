#include "ipp/ippsvector.h"

#include "ipp/detail/Dispatch.h"

using sonacore::ipp::detail::dispatch;
using sonacore::ipp::detail::FamilyKernels;

IppStatus ippsSet_32f(float value, float* destination, int length) {
    return dispatch<&FamilyKernels::set32f>(value, destination, length);
}

IppStatus ippsMul_32f_I(const float* source, float* sourceDestination, int length) {
    return dispatch<&FamilyKernels::mul32fI>(source, sourceDestination, length);
}

IppStatus ippsSqr_64f(const double* source, double* destination, int length) {
    return dispatch<&FamilyKernels::sqr64f>(source, destination, length);
}

IppStatus ippsMagnitude_32fc(const std::complex<float>* source, float* destination, int length) {
    return dispatch<&FamilyKernels::magnitude32fc>(source, destination, length);
}

IppStatus ippsPowerSpectr_32fc(const std::complex<float>* source, float* destination, int length) {
    return dispatch<&FamilyKernels::powerSpectr32fc>(source, destination, length);
}
