#include "process/fft/IppFftBuffers.h"

#include "sonacore/Log.h"

#include <algorithm>
#include <climits>
#include <utility>

namespace process::fft {

IppFftBuffers::IppFftBuffers(std::string name) : IppFftBufferManager(std::move(name)) {
    sonacore::log::debug("IppFftBuffers", sonacore::log::name(this->name), "Initialized");
}

IppFftBuffers::~IppFftBuffers() = default;

bool IppFftBuffers::allocateAllIppBuffersFromSameSize(std::size_t size) {
    // A size beyond int saturates; the allocators refuse INT_MAX elements of 4 or 8 bytes as too large.
    const int length = static_cast<int>(std::min<std::size_t>(size, INT_MAX));
    const bool allocated =
        allocateFloats(slotOf(magnitudeBuffer), length) && allocateFloats(slotOf(powerBuffer), length) &&
        allocateFloats(slotOf(windowBuffer), length) && allocateComplex(slotOf(complexBuffer), length);
    if (!allocated) {
        sonacore::log::warning("allocateAllIppBuffersFromSameSize", sonacore::log::name(name),
                               "Cannot set the IPP buffers to size: ", size, "! Allocation failed!");
        return false;
    }
    sonacore::log::debug("allocateAllIppBuffersFromSameSize", sonacore::log::name(name),
                         "FFT Buffers allocated by size: ", size, " samples");
    return true;
}

std::string IppFftBuffers::toString() const {
    return "IppFftBuffers: " + name + "\n" + IppFftBufferManager::toString();
}

} // namespace process::fft
