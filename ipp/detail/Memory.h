#pragma once

#pragma GCC visibility push(hidden)

namespace sonacore::ipp::detail {

// The typed allocators and the release behind the dispatched memory entry points; every variant shares
// them. Each returns null when `length` is below 1 or the size in bytes reaches 0x80000000.
void* allocateBytes(int length);
void* allocateFloats(int length);
void* allocateComplexFloats(int length);
void release(void* pointer);

} // namespace sonacore::ipp::detail

#pragma GCC visibility pop
