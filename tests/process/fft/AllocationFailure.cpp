#include "AllocationFailure.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace ffttest {
namespace {
// Per thread, so that an allocation on another thread (a logger, the event loop) never takes the failure.
thread_local bool failNext = false;

void* allocate(std::size_t size) {
    if (failNext) {
        failNext = false;
        throw std::bad_alloc();
    }
    void* block = std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void* allocateNoThrow(std::size_t size) noexcept {
    try {
        return allocate(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
} // namespace

void failNextAllocation() {
    failNext = true;
}

void allowAllocations() {
    failNext = false;
}

} // namespace ffttest

// Every form that can hand out or take back memory without an alignment request, so that a block is always
// released by the family that allocated it (the sanitizers check that).
void* operator new(std::size_t size) {
    return ffttest::allocate(size);
}
void* operator new[](std::size_t size) {
    return ffttest::allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return ffttest::allocateNoThrow(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return ffttest::allocateNoThrow(size);
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete[](void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}
