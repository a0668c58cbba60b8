#include "sonacore/BufferConfiguration.h"

#include "exceptions/SonaCoreException.h"
#include "sonacore/ConfigurationRegistry.h"
#include "sonacore/Log.h"
#include "sonacore/SonaCoreConstants.h"

#include <utility>

namespace sonacore {
namespace {

// The name of a configuration whose size is usable. A ring of 0 samples could hold nothing, so such a
// configuration is refused before anything of it is built.
std::string usableName(std::string name, std::uint64_t bufferSize) {
    if (bufferSize == 0) {
        log::raise<exceptions::InstanceNotCreateable>(
            "BufferConfiguration", "Buffer size 0 given for buffer configuration '" + name +
                                       "' holds no sample: pass the capacity of one audio buffer in float "
                                       "samples, at least 1.");
    }
    return name;
}

} // namespace

IBufferConfiguration::~IBufferConfiguration() = default;

IBufferConfiguration* IBufferConfiguration::createInstance(std::string name, unsigned long bufferSize) {
    auto* configuration = new BufferConfiguration(std::move(name), bufferSize);
    registry::bufferConfigurations.push_back(configuration);
    return configuration;
}

IBufferConfiguration* IBufferConfiguration::createInstance(std::string name, unsigned long bufferSize,
                                                           unsigned long clockSignalingSampleAmount) {
    auto* configuration = new BufferConfiguration(std::move(name), bufferSize, clockSignalingSampleAmount);
    registry::bufferConfigurations.push_back(configuration);
    return configuration;
}

BufferConfiguration::BufferConfiguration(std::string name, std::uint64_t bufferSize,
                                         std::uint64_t clockSignalingSampleAmount)
    : ConfigurationData(usableName(std::move(name), bufferSize)), bufferSize(bufferSize),
      clockSignalingSampleAmount(clockSignalingSampleAmount) {}

BufferConfiguration::~BufferConfiguration() = default;

std::uint64_t BufferConfiguration::getBufferSize() const {
    return bufferSize;
}

std::uint64_t BufferConfiguration::getClockSignalingSampleAmount() const {
    return clockSignalingSampleAmount.load(std::memory_order_relaxed);
}

void BufferConfiguration::setClockSignalingSampleAmount(std::uint64_t amount) {
    if (amount == clockSignalingSampleAmount.load()) {
        return;
    }
    clockSignalingSampleAmount.store(amount);
    emit configurationChanged(constants::signalingSampleAmountChanged);
}

bool BufferConfiguration::isClockSignalingActive() const {
    return getClockSignalingSampleAmount() != 0;
}

std::string BufferConfiguration::toString() const {
    std::string text = DataObjectBase::toString() + "\n\tBuffer size: " + std::to_string(bufferSize);
    if (isClockSignalingActive()) {
        text += "\n\tClock signaling sample amount: " + std::to_string(getClockSignalingSampleAmount());
    } else {
        text += "\n\tBuffer clock signaling deactivated!";
    }
    return text;
}

} // namespace sonacore
