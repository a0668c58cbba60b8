#include "avb/AvbAudioBuffer.h"

#include "sonacore/Log.h"
#include "sonacore/SonaCoreConstants.h"

#include <algorithm>
#include <utility>

namespace avb {

AvbAudioBuffer::AvbAudioBuffer(std::string bufferName, sonacore::BufferConfiguration* bufferConfiguration)
    : QObject(nullptr), bufferName(std::move(bufferName)), bufferConfiguration(bufferConfiguration),
      samples(bufferConfiguration != nullptr ? bufferConfiguration->getBufferSize() : 0, 0.0f) {
    if (bufferConfiguration != nullptr) {
        connect(bufferConfiguration, &sonacore::ConfigurationData::configurationChanged, this,
                &AvbAudioBuffer::sampleAmountConfigChanged, Qt::AutoConnection);
    }
    sonacore::log::debug("AvbAudioBuffer", sonacore::log::name(this->bufferName), "Initialized");
}

AvbAudioBuffer::~AvbAudioBuffer() {
    sonacore::log::debug("~AvbAudioBuffer", sonacore::log::name(bufferName), "CLEARED");
}

void AvbAudioBuffer::writeSample(const float* sample) {
    std::lock_guard<std::mutex> lock(bufferMutex);
    // A ring without elements has no place for a sample; the position stays 0 and nothing is counted.
    if (samples.empty() || sample == nullptr) {
        return;
    }
    // The step back to the start happens here, at the next write, so that a full ring reads as position
    // equal to the size.
    if (writePosition == samples.size()) {
        writePosition = 0;
    }
    samples[writePosition] = *sample;
    ++writePosition;
    ++samplesSinceSignal;

    const std::uint64_t amount = bufferConfiguration->getClockSignalingSampleAmount();
    if (amount != 0 && samplesSinceSignal == amount) {
        signaledPosition = writePosition;
        ++signalSerial;
        signalPositions[signalSerial % signalHistory] = writePosition;
        emit bufferAmountAvailable(bufferName, static_cast<std::size_t>(amount));
        samplesSinceSignal = 0;
    }
}

void AvbAudioBuffer::writeSamples(const std::vector<float>& values) {
    for (const float& value : values) {
        writeSample(&value);
    }
}

// The position is read under the same lock as the copy, so that a reader never sees a half-moved ring.
std::vector<float> AvbAudioBuffer::fetchSamples(std::uint64_t amount) {
    std::lock_guard<std::mutex> lock(bufferMutex);
    return fetchLocked(amount, writePosition);
}

std::vector<float> AvbAudioBuffer::fetchSignaledSamples(std::uint64_t amount) {
    std::lock_guard<std::mutex> lock(bufferMutex);
    return fetchLocked(amount, signaledPosition);
}

std::vector<float> AvbAudioBuffer::fetchSamples(std::uint64_t amount, std::uint64_t position) {
    std::lock_guard<std::mutex> lock(bufferMutex);
    return fetchLocked(amount, position);
}

std::uint64_t AvbAudioBuffer::getSignalSerial() const {
    std::lock_guard<std::mutex> lock(bufferMutex);
    return signalSerial;
}

std::vector<float> AvbAudioBuffer::fetchSignaledSamples(std::uint64_t amount, std::uint64_t serial) {
    std::lock_guard<std::mutex> lock(bufferMutex);
    const bool kept = serial != 0 && serial <= signalSerial && signalSerial - serial < signalHistory;
    return fetchLocked(amount, kept ? signalPositions[serial % signalHistory] : signaledPosition);
}

std::vector<float> AvbAudioBuffer::fetchLocked(std::uint64_t amount, std::uint64_t position) {
    const std::uint64_t size = samples.size();
    if (amount > size) {
        sonacore::log::warning("fetchSamples", sonacore::log::name(bufferName),
                               "More samples requested than available by the buffer. ",
                               "Only maximum available amount will be returned: ", size, " instead of ",
                               amount);
        amount = size;
    }
    // A position beyond the ring cannot come from this buffer; it is held to the ring so that no copy can
    // leave it.
    position = std::min(position, size);

    std::vector<float> result(amount);
    const auto begin = samples.begin();
    if (position == 0) {
        std::copy(begin, begin + static_cast<std::ptrdiff_t>(amount), result.begin());
        fetchWrapped = false;
    } else if (amount <= position) {
        std::copy(begin + static_cast<std::ptrdiff_t>(position - amount),
                  begin + static_cast<std::ptrdiff_t>(position), result.begin());
        fetchWrapped = false;
    } else {
        const std::uint64_t start = size + position - amount;
        fetchWrapped = true;
        const auto tail =
            std::copy(begin + static_cast<std::ptrdiff_t>(start), samples.end(), result.begin());
        std::copy(begin, begin + static_cast<std::ptrdiff_t>(position), tail);
    }
    return result;
}

sonacore::BufferConfiguration* AvbAudioBuffer::getBufferConfiguration() const {
    return bufferConfiguration;
}

std::uint64_t AvbAudioBuffer::getWritePosition() const {
    std::lock_guard<std::mutex> lock(bufferMutex);
    return writePosition;
}

bool AvbAudioBuffer::hasFetchWrapped() const {
    std::lock_guard<std::mutex> lock(bufferMutex);
    return fetchWrapped;
}

void AvbAudioBuffer::sampleAmountConfigChanged(std::string changedParameter) {
    if (changedParameter != sonacore::constants::signalingSampleAmountChanged ||
        bufferConfiguration == nullptr) {
        return;
    }
    {
        std::lock_guard<std::mutex> lock(bufferMutex);
        samplesSinceSignal = 0;
    }
    const std::uint64_t amount = bufferConfiguration->getClockSignalingSampleAmount();
    if (amount == 0) {
        sonacore::log::debug("sampleAmountConfigChanged", sonacore::log::name(bufferName),
                             "Signaling sample amount deactivated (external clock OFF)");
    } else {
        sonacore::log::debug("sampleAmountConfigChanged", sonacore::log::name(bufferName),
                             "Signaling sample amount changed to: ", amount, " samples");
    }
}

} // namespace avb
