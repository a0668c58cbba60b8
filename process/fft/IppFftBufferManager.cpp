#include "process/fft/IppFftBufferManager.h"

#include "ipp/ippcore.h"
#include "ipp/ippsmemory.h"
#include "sonacore/Log.h"

#include <cstdint>
#include <exception>
#include <sstream>
#include <utility>

namespace process::fft {

IppFftBufferManager::IppFftBufferManager(std::string name) : name(std::move(name)) {
    sonacore::log::debug("IppFftBufferManager", sonacore::log::name(this->name), "Initialized");
}

IppFftBufferManager::~IppFftBufferManager() {
    sonacore::log::debug("~IppFftBufferManager", sonacore::log::name(name),
                         "Try to release the managed buffers...");
    freeBuffers();
}

bool IppFftBufferManager::addToIppBuffers(void** slot) {
    if (slot == nullptr || *slot == nullptr) {
        sonacore::log::warning("addToIppBuffers", sonacore::log::name(name),
                               "The address of the buffer is not initialized and won't be managed:",
                               static_cast<const void*>(slot));
        return false;
    }
    try {
        managedBuffers.push_back(slot);
    } catch (const std::exception& exception) {
        sonacore::log::warning("addToIppBuffers", sonacore::log::name(name), "Cannot add buffer",
                               " to managed buffer vector! ", "Error message: ", exception.what());
        return false;
    }
    return true;
}

bool IppFftBufferManager::manageExternalAllocatedBuffer(void** slot) {
    if (slot == nullptr || *slot == nullptr) {
        sonacore::log::warning("manageExternalAllocatedBuffer", sonacore::log::name(name),
                               "Given external buffer not initialized and won't be managed!");
        return false;
    }
    return addToIppBuffers(slot);
}

void IppFftBufferManager::freeBuffers() {
    std::size_t released = 0;
    for (void** slot : managedBuffers) {
        if (*slot != nullptr) {
            ippFree(*slot);
            *slot = nullptr;
            ++released;
        }
    }
    const std::size_t available = managedBuffers.size();
    managedBuffers.clear();
    sonacore::log::debug("freeBuffers", sonacore::log::name(name), "Available amount of buffers: ", available,
                         ". Buffers released: ", released);
}

bool IppFftBufferManager::allocateBytes(void** slot, int size) {
    if (slot != nullptr && *slot != nullptr) {
        addBufferDeniedMessageToLog(slot);
        return false;
    }
    return storeAllocation(slot, slot != nullptr ? ippsMalloc_8u(size) : nullptr);
}

bool IppFftBufferManager::allocateFloats(void** slot, int length) {
    if (slot != nullptr && *slot != nullptr) {
        addBufferDeniedMessageToLog(slot);
        return false;
    }
    return storeAllocation(slot, slot != nullptr ? ippsMalloc_32f(length) : nullptr);
}

bool IppFftBufferManager::allocateComplex(void** slot, int length) {
    if (slot != nullptr && *slot != nullptr) {
        addBufferDeniedMessageToLog(slot);
        return false;
    }
    return storeAllocation(slot, slot != nullptr ? ippsMalloc_32fc(length) : nullptr);
}

// A slot address of null has nowhere to keep a buffer, so nothing is allocated for it and addToIppBuffers
// reports it like a slot that holds null. A block that cannot be managed is given back at once: nothing
// would ever free it, and it would block its slot for good.
bool IppFftBufferManager::storeAllocation(void** slot, void* allocation) {
    if (slot == nullptr) {
        return addToIppBuffers(slot);
    }
    *slot = allocation;
    const bool managed = addToIppBuffers(slot);
    if (!managed && *slot != nullptr) {
        ippFree(*slot);
        *slot = nullptr;
    }
    return managed && *slot != nullptr;
}

void IppFftBufferManager::addBufferDeniedMessageToLog(void** slot) {
    std::ostringstream address;
    address << std::hex << reinterpret_cast<std::uintptr_t>(slot);
    sonacore::log::warning("addBufferDeniedMessageToLog", sonacore::log::name(name),
                           "The address of the buffer is already initialized and won't be managed: 0x",
                           address.str());
}

std::size_t IppFftBufferManager::getManagedBufferAmount() const {
    return managedBuffers.size();
}

std::string IppFftBufferManager::toString() const {
    return "IppFftBufferManager: " + name + "\n" +
           "\tAmount of managed buffers: " + std::to_string(managedBuffers.size());
}

} // namespace process::fft
