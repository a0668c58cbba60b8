#pragma once

#include "ipp/ipptypes.h"

#include <complex>

#pragma GCC visibility push(hidden)

// Typed allocators over ippMalloc: 64-byte aligned, not cleared, counted in elements. Each returns null when
// `length` is below 1, when the size in bytes (length x element size) reaches 0x80000000, or when the system
// has no memory left. Release with ippsFree.
unsigned char* ippsMalloc_8u(int length);         // 1 byte per element
float* ippsMalloc_32f(int length);                // 4 bytes per element
std::complex<float>* ippsMalloc_32fc(int length); // 8 bytes per element: real part, then imaginary part

// Releases a block of the allocators above or of ippMalloc. Null is a no-op.
void ippsFree(void* pointer);

#pragma GCC visibility pop
