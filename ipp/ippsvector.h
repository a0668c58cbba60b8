#pragma once

#include "ipp/ipptypes.h"

#include <complex>

#pragma GCC visibility push(hidden)

// Element-wise primitives. Each checks its pointers first (ippStsNullPtrErr, -8) and then its length
// (ippStsSizeErr, -6, for a length below 1), and returns ippStsNoErr otherwise. None inspects the values:
// NaN and infinity pass through as the arithmetic makes them, with status 0, and denormals are processed as
// they are (no flush to zero). Complex values are two adjacent floats, real part first. Results may differ
// between processor variants by rounding only.

// destination[i] = value. Fills above 2 MiB bypass the caches on the AVX variants; the result is the same.
IppStatus ippsSet_32f(float value, float* destination, int length);

// sourceDestination[i] = sourceDestination[i] x source[i]. The two arrays may be the same (squaring in
// place) but must not otherwise overlap.
IppStatus ippsMul_32f_I(const float* source, float* sourceDestination, int length);

// destination[i] = source[i] x source[i]. In place (source == destination) is allowed.
IppStatus ippsSqr_64f(const double* source, double* destination, int length);

// destination[i] = sqrt(re x re + im x im), `length` complex values in, `length` floats out. The arrays
// must not overlap.
IppStatus ippsMagnitude_32fc(const std::complex<float>* source, float* destination, int length);

// destination[i] = re x re + im x im, `length` complex values in, `length` floats out. The arrays must not
// overlap.
IppStatus ippsPowerSpectr_32fc(const std::complex<float>* source, float* destination, int length);

#pragma GCC visibility pop
