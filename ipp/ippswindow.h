#pragma once

#include "ipp/ipptypes.h"

#pragma GCC visibility push(hidden)

// Multiplies `length` floats in place by the symmetric Hann window
//   w[n] = 0.5 - 0.5 cos(2 pi n / (N - 1)),  n = 0 .. N - 1,  N = length,
// so that both end points become exactly 0. The weights are worked out in double, rounded to float, and then
// multiply the data; element k and element N - 1 - k get the same weight, and with an odd N the centre
// element (weight 1) is left as it is. For N = 3 elements 0 and 2 are set to 0 and element 1 is left.
// Returns:
//   ippStsNullPtrErr (-8)  sourceDestination is null (checked first)
//   ippStsSizeErr (-6)     length below 3; the array is not touched
//   ippStsNoErr            otherwise; values are not inspected, so NaN stays NaN
IppStatus ippsWinHann_32f_I(float* sourceDestination, int length);

#pragma GCC visibility pop
