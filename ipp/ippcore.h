#pragma once

#include "ipp/ipptypes.h"

#include <atomic>
#include <cstdint>

#pragma GCC visibility push(hidden)

// Text of a status code: the name of the code, a colon, a blank and a description, for example
// "ippStsNullPtrErr: Null pointer error". A code without a text of its own gives the text of
// ippStsUnknownStatusCodeErr (-216). Never returns null; the texts are static.
const char* ippGetStatusString(IppStatus status);

// Address of the constant identity record. Independent of the processor variant, never null.
const LibraryVersion* ippGetLibVersion();

// Memory aligned to 64 bytes, for the widest vector registers. Returns null when `size` is below 1, when
// `size` + 72 does not fit a signed 32-bit integer, or when the system has no memory left. The memory is not
// cleared. Release it with ippFree (or ippsFree), never with free.
void* ippMalloc(int size);

// Releases a block of ippMalloc. Null is a no-op.
void ippFree(void* pointer);

// Number of the processor variant that the dispatched primitives run: 0 (SSE2), 1 (AVX), 2 (AVX2) or
// 3 (AVX-512). It starts at -1, which means that no variant has been chosen yet; the first call of any
// dispatched primitive then calls ippInit by itself. Stores are not locked: two threads that choose at once
// both store the same value.
extern std::atomic<std::int32_t> ippJumpIndexForMergedLibs;

// Reads the processor's features with cpuid, including whether the operating system saves the AVX and
// AVX-512 register state, validates them and stores the chosen variant in ippJumpIndexForMergedLibs.
// Returns:
//   ippStsNonIntelCpu (20)          the vendor text isn't "GenuineIntel"; the variant is chosen all the same
//   ippStsNotSupportedCpu (36)      the processor lacks SSE2
//   ippStsFeatureNotSupported (49)  AVX or AVX-512 present without the operating system's register state
//   ippStsUnknownFeature (50)       a feature bit outside the known set
//   ippStsFeaturesCombination (51)  a family's leading feature without all the features below it
//   ippStsNoErr                     otherwise
IppStatus ippInit();

// The form of ippInit that the dispatch calls on the first use of a primitive: it chooses the variant and
// ignores the status, so that a processor of another vendor simply runs the variant it was given.
void ippSafeInit();

#pragma GCC visibility pop
