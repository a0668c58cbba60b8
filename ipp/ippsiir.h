#pragma once

#include "ipp/ipptypes.h"

#pragma GCC visibility push(hidden)

// A cascade of `numBq` biquad sections in double precision.
//
// Taps: 6 x numBq doubles, section after section, each b0, b1, b2, a0, a1, a2. Section 1 runs first and
// each section's output is the next one's input. Every section runs the transposed direct form II on the
// taps divided by a0:
//   y = b0 x + d0,   d0 = b1 x - a1 y + d1 (the old d1),   d1 = b2 x - a2 y.
// The delay line is 2 x numBq doubles, d0 then d1 per section. It carries from one call to the next, so
// successive calls on one state give the output of one long stream, whatever the split, up to rounding.
// Long calls are worked through in chunks of 1024 samples; within a chunk longer than 4 x numBq samples the
// recursion runs in an equivalent form that is faster and agrees up to rounding. Denormals are processed
// as they are.

// Bytes that the state of `numBq` sections needs. Returns ippStsNullPtrErr (-8) for a null `size`, then
// ippStsIIROrderErr (-25) for numBq below 1 (or so large that the size would not fit an int).
IppStatus ippsIIRGetStateSize_BiQuad_64f(int numBq, int* size);

// Builds the state at the first 32-byte boundary of `buffer` and stores its address in `*state`. A null
// `delayLine` starts from zeros, otherwise 2 x numBq doubles are copied. The taps are copied and normalised
// here and never read again. Checks, in order:
//   ippStsNullPtrErr (-8)     taps, state or buffer null (delayLine may be null)
//   ippStsIIROrderErr (-25)   numBq below 1
//   ippStsDivByZeroErr (-10)  a section with a0 == 0 or b0 == 0 (exact comparisons, a NaN passes); the
//                             state is then left unusable and *state is not written
IppStatus ippsIIRInit_BiQuad_64f(IirState** state, const double* taps, int numBq, const double* delayLine,
                                 unsigned char* buffer);

// Filters `length` samples of `source` into `destination`, which may be the same array (but must not
// otherwise overlap), and updates the delay line. A state belongs to one thread at a time. Checks, in order:
//   ippStsNullPtrErr (-8)       state, source or destination null
//   ippStsSizeErr (-6)          length below 1
//   ippStsContextMatchErr (-13) the state's identity is neither the biquad's (0x49493134) nor the direct
//                               form's (0x49493133)
IppStatus ippsIIR_64f(const double* source, double* destination, int length, IirState* state);

#pragma GCC visibility pop
