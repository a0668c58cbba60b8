#pragma once

#include "sonacore/StringOverloadBase.h"

#include <cstddef>
#include <string>
#include <vector>

namespace process::fft {

// Remembers every buffer of the primitive layer's aligned memory that it was given and frees them all
// together, at the latest when it is destroyed.
//
// It keeps the address of the owner's pointer (the slot), not the pointer's value, so that freeing sets the
// owner's pointer to null: a slot that was freed can be allocated again, and a pointer that was freed can
// never be used by mistake. The slots must therefore outlive the manager or be freed first; the derived
// IppFftBuffers holds them as its own members.
//
// A slot that already holds a buffer is never overwritten: the allocators refuse it with a warning, so a
// buffer cannot leak by being allocated twice. The memory comes from ippsMalloc_* (64-byte aligned, not
// cleared) and goes back through ippFree.
//
// Log lines name the method and the manager's name, quoted. Nothing throws: every failure is a false result
// and a warning.
//
// Threads: no lock. The owner calls it from one thread at a time (IppFft does so under its own lock).
class IppFftBufferManager : public StringOverloadBase {
public:
    // Logs "Initialized" at debug level.
    explicit IppFftBufferManager(std::string name);
    // Logs "Try to release the managed buffers..." at debug level and frees every managed buffer.
    ~IppFftBufferManager() override;
    IppFftBufferManager(const IppFftBufferManager&) = delete;
    IppFftBufferManager& operator=(const IppFftBufferManager&) = delete;

    // Adds a slot that holds a buffer to the managed ones. A slot that holds null is refused with the warning
    // "The address of the buffer is not initialized and won't be managed:" and the slot's address. If the
    // list cannot grow, warns "Cannot add buffer", " to managed buffer vector! ", "Error message: " and the
    // exception's text. True when the slot was added.
    bool addToIppBuffers(void** slot);
    // The same for a buffer that was allocated elsewhere with the primitive layer's allocators; a slot that
    // holds null is refused with the warning "Given external buffer not initialized and won't be managed!".
    bool manageExternalAllocatedBuffer(void** slot);
    // Frees the buffer of every managed slot that does not hold null and sets the slot to null, then forgets
    // all slots. Logs at debug level "Available amount of buffers: ", the number of slots,
    // ". Buffers released: " and the number freed.
    void freeBuffers();

    // Allocate `size` bytes, `length` floats or `length` complex floats into the slot and manage it. A slot
    // that is not null is left as it is and refused through addBufferDeniedMessageToLog. A length below 1 or
    // a block of 2 GiB or more gives null, and addToIppBuffers then warns about the null slot; a block that
    // cannot be added to the managed ones is freed again and the slot left null. True only when the slot
    // holds a managed buffer.
    bool allocateBytes(void** slot, int size);
    bool allocateFloats(void** slot, int length);
    bool allocateComplex(void** slot, int length);

    // Warns "The address of the buffer is already initialized and won't be managed: 0x" followed by the
    // slot's address in hexadecimal digits.
    void addBufferDeniedMessageToLog(void** slot);

    // How many slots are managed.
    std::size_t getManagedBufferAmount() const;
    // "IppFftBufferManager: <name>\n\tAmount of managed buffers: <count>".
    std::string toString() const override;

protected:
    const std::string name;

private:
    // The common end of the three allocators: `allocation` is what the layer's allocator returned.
    bool storeAllocation(void** slot, void* allocation);

    std::vector<void**> managedBuffers;
};

// The slot of a typed buffer pointer, as the manager takes it. Every object pointer has the representation
// of void* here, and the compilers this library supports let void* alias any object pointer.
template <typename T> void** slotOf(T*& pointer) {
    return reinterpret_cast<void**>(&pointer);
}

} // namespace process::fft
