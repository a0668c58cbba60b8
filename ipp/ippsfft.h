#pragma once

#include "ipp/ipptypes.h"

#include <complex>

#pragma GCC visibility push(hidden)

// Real-input forward FFT of N = 2^order single-precision samples.
//
// Use: ask ippsFFTGetSize_R_32f for three byte counts, provide that much memory, build the transform object
// once with ippsFFTInit_R_32f, then transform any number of frames with ippsFFTFwd_RToCCS_32f. The
// initialisation builds every table in the caller's memory, so a transform allocates nothing and only reads
// the object: one object may serve several threads at once, each with its own work buffer.
//
// Flags (exactly one):  1: forward scale 1/N, inverse 1    2: forward 1, inverse 1/N
//                       4: 1/sqrt(N) both ways             8: no scaling
// Hint: 0 none, 1 fast, 2 accurate; accepted and recorded, it changes neither the result nor the tables.
//
// CCS layout of the output, N + 2 floats, which read as the N/2 + 1 complex bins 0 .. N/2:
//   [0] Re X[0]   [1] 0   [2k] Re X[k], [2k + 1] Im X[k] for 0 < k < N/2   [N] Re X[N/2]   [N + 1] 0
// with X[k] = scale x sum over n of x[n] exp(-2 pi i k n / N). For order 0 the output is the single bin 0,
// two floats. Denormal inputs are processed as they are; the result is accurate to a few units of single
// precision relative to the spectrum's RMS at any order.

// Byte counts for `order`: the transform object (`specSize`), the scratch of the initialisation
// (`specBufferSize`, always 0 here) and the scratch of each transform (`workBufferSize`, 0 for orders up
// to 5). Treat them as opaque; they differ from one implementation to another. Checks, in order:
//   ippStsFftOrderErr (-17)  order outside 0 .. 30
//   ippStsNullPtrErr (-8)    any of the three pointers null
//   ippStsFftFlagErr (-18)   flag not 1, 2, 4 or 8
//   ippStsFftOrderErr (-17)  order 30
//   ippStsNoMemErr (-4)      order 29: its object and work buffer would pass 2^31 bytes
// The AVX2 and AVX-512 variants check order 30 before the flag, so order 30 with a bad flag gives -17 there
// and -18 on the others.
IppStatus ippsFFTGetSize_R_32f(int order, int flag, int hint, int* specSize, int* specBufferSize,
                               int* workBufferSize);

// Builds the transform object at the first 64-byte boundary of `specMemory` (specSize bytes) and stores its
// address through the first argument. `specBuffer` is not used and may be null. Checks, in order:
//   ippStsNullPtrErr (-8)    the first argument null
//   ippStsFftOrderErr (-17)  order outside the variant's range: 0 .. 28 on the AVX2 and AVX-512 variants,
//                            0 .. 29 on the others (so order 29, which the size query accepts, is refused
//                            on the newer processors)
//   ippStsNullPtrErr (-8)    specMemory null
//   ippStsFftFlagErr (-18)   flag not 1, 2, 4 or 8; nothing is written
//   ippStsNoMemErr (-4)      order 29 on the older variants, which no size query can cover
// Build the object and run the transforms under the same variant.
IppStatus ippsFFTInit_R_32f(FftSpec** spec, int order, int flag, int hint, unsigned char* specMemory,
                            unsigned char* specBuffer);

// Transforms N floats of `source` into N + 2 floats of CCS in `destination`; `source` is not changed and the
// two must not overlap. `workBuffer` holds workBufferSize bytes and may be null for orders whose
// workBufferSize is 0. Checks, in order:
//   ippStsNullPtrErr (-8)       the transform object null
//   ippStsContextMatchErr (-13) the object's identity (its first 32-bit field) isn't 7, or it was built by a
//                               variant with wider vectors than the running one
//   ippStsNullPtrErr (-8)       source or destination null, or workBuffer null where it is needed
IppStatus ippsFFTFwd_RToCCS_32f(const float* source, float* destination, const FftSpec* spec,
                                unsigned char* workBuffer);

// Completes a spectrum in place from its lower half: with h = length / 2 and e = 1 for an even length (else
// 0), element h + 1 + j becomes the conjugate of element h - e - j for j < h - e. For an even length N this
// is X[N - k] = conj(X[k]) for 0 < k < N/2, with X[0] and X[N/2] left; lengths 1 and 2 change nothing. The
// buffer holds `length` complex values, although a transform writes only the first N/2 + 1. Returns
// ippStsNullPtrErr (-8) for a null pointer, then ippStsSizeErr (-6) for a length below 1, else ippStsNoErr.
IppStatus ippsConjCcs_32fc_I(std::complex<float>* sourceDestination, int length);

#pragma GCC visibility pop
