#include "ipp/ippswindow.h"

#include "ipp/detail/Dispatch.h"

IppStatus ippsWinHann_32f_I(float* sourceDestination, int length) {
    using sonacore::ipp::detail::FamilyKernels;
    return sonacore::ipp::detail::dispatch<&FamilyKernels::winHann32fI>(sourceDestination, length);
}
