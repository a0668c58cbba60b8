#include "sonacore/DeviceConfiguration.h"

#include "sonacore/ConfigurationRegistry.h"
#include "sonacore/Log.h"

#include <utility>

namespace sonacore {

IDeviceConfiguration::~IDeviceConfiguration() = default;

IDeviceConfiguration* IDeviceConfiguration::createInstance(std::string name,
                                                           IBufferConfiguration& bufferConfiguration,
                                                           unsigned long sampleSize,
                                                           unsigned long channelAmount,
                                                           unsigned long samplesPerChannel) {
    // Converted before allocating, so that a foreign object leaves the registry unchanged.
    auto& buffer = dynamic_cast<BufferConfiguration&>(bufferConfiguration);
    auto* configuration =
        new DeviceConfiguration(std::move(name), &buffer, sampleSize, channelAmount, samplesPerChannel);
    registry::deviceConfigurations.push_back(configuration);
    return configuration;
}

DeviceConfiguration::DeviceConfiguration(std::string name, BufferConfiguration* bufferConfiguration,
                                         std::uint64_t sampleSize, std::uint64_t channelAmount,
                                         std::uint64_t samplesPerChannel)
    : ConfigurationData(std::move(name)), bufferConfiguration(bufferConfiguration), sampleSize(sampleSize),
      channelAmount(channelAmount), samplesPerChannel(samplesPerChannel) {
    log::debug("DeviceConfiguration", "Initialized!");
}

DeviceConfiguration::~DeviceConfiguration() = default;

std::string DeviceConfiguration::getName() const {
    return DataObjectBase::getName();
}

std::uint64_t DeviceConfiguration::getSampleSize() const {
    return sampleSize;
}

std::uint64_t DeviceConfiguration::getChannelAmount() const {
    return channelAmount;
}

std::uint64_t DeviceConfiguration::getSamplesPerChannel() const {
    return samplesPerChannel;
}

std::string DeviceConfiguration::toString() const {
    return DataObjectBase::toString() + "\n\tDevice sample size in bytes: " + std::to_string(sampleSize) +
           "\n\tDevice amount of channels: " + std::to_string(channelAmount) +
           "\n\tDevice amount of samples send per channel: " + std::to_string(samplesPerChannel) + "\n" +
           "Buffer configuration:\n" + bufferConfiguration->toString();
}

BufferConfiguration* DeviceConfiguration::getBufferConfiguration() const {
    return bufferConfiguration;
}

} // namespace sonacore
