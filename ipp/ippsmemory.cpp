#include "ipp/ippsmemory.h"

#include "ipp/detail/Dispatch.h"
#include "ipp/detail/Memory.h"
#include "ipp/ippcore.h"

#include <cstdint>

namespace sonacore::ipp::detail {

namespace {

// Sizes are worked out in 64 bits, so that a length whose byte count overflows an int is refused rather
// than wrapped into a small block.
void* allocateElements(int length, std::int64_t elementBytes) {
    if (length < 1) {
        return nullptr;
    }
    const std::int64_t bytes = std::int64_t{length} * elementBytes;
    if (bytes >= std::int64_t{0x80000000}) {
        return nullptr;
    }
    return ippMalloc(static_cast<int>(bytes));
}

} // namespace

void* allocateBytes(int length) {
    return allocateElements(length, 1);
}

void* allocateFloats(int length) {
    return allocateElements(length, 4);
}

void* allocateComplexFloats(int length) {
    return allocateElements(length, 8);
}

void release(void* pointer) {
    ippFree(pointer);
}

} // namespace sonacore::ipp::detail

using sonacore::ipp::detail::dispatch;
using sonacore::ipp::detail::FamilyKernels;

unsigned char* ippsMalloc_8u(int length) {
    return static_cast<unsigned char*>(dispatch<&FamilyKernels::malloc8u>(length));
}

float* ippsMalloc_32f(int length) {
    return static_cast<float*>(dispatch<&FamilyKernels::malloc32f>(length));
}

std::complex<float>* ippsMalloc_32fc(int length) {
    return static_cast<std::complex<float>*>(dispatch<&FamilyKernels::malloc32fc>(length));
}

void ippsFree(void* pointer) {
    dispatch<&FamilyKernels::free>(pointer);
}
