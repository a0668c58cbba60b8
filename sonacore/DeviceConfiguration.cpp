#include "sonacore/DeviceConfiguration.h"

#include "exceptions/SonaCoreException.h"
#include "sonacore/ConfigurationRegistry.h"
#include "sonacore/Log.h"

#include <utility>

namespace sonacore {

IDeviceConfiguration::~IDeviceConfiguration() = default;

SampleFormat IDeviceConfiguration::getSampleFormat() const {
    return getSampleSize() == 2 ? SampleFormat::Int16 : SampleFormat::Unspecified;
}

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

IDeviceConfiguration* IDeviceConfiguration::createInstance(std::string name,
                                                           IBufferConfiguration& bufferConfiguration,
                                                           SampleFormat sampleFormat,
                                                           unsigned long channelAmount,
                                                           unsigned long samplesPerChannel) {
    auto& buffer = dynamic_cast<BufferConfiguration&>(bufferConfiguration);
    // A format without a size could never be read from a frame: refused before anything is allocated.
    if (DeviceConfiguration::sampleSizeOf(sampleFormat) == 0) {
        log::raise<exceptions::InstanceNotCreateable>(
            "createInstance", "The device configuration '" + name +
                                  "' cannot be created with an unspecified sample format: give Int16, Int24, "
                                  "Int32 or Float32, the format the device's talker sends.");
    }
    auto* configuration =
        new DeviceConfiguration(std::move(name), &buffer, sampleFormat, channelAmount, samplesPerChannel);
    registry::deviceConfigurations.push_back(configuration);
    return configuration;
}

DeviceConfiguration::DeviceConfiguration(std::string name, BufferConfiguration* bufferConfiguration,
                                         std::uint64_t sampleSize, std::uint64_t channelAmount,
                                         std::uint64_t samplesPerChannel)
    : ConfigurationData(std::move(name)), bufferConfiguration(bufferConfiguration), sampleSize(sampleSize),
      channelAmount(channelAmount), samplesPerChannel(samplesPerChannel),
      sampleFormat(sampleSize == 2 ? SampleFormat::Int16 : SampleFormat::Unspecified),
      sampleFormatStated(false) {
    log::debug("DeviceConfiguration", "Initialized!");
}

DeviceConfiguration::DeviceConfiguration(std::string name, BufferConfiguration* bufferConfiguration,
                                         SampleFormat sampleFormat, std::uint64_t channelAmount,
                                         std::uint64_t samplesPerChannel)
    : ConfigurationData(std::move(name)), bufferConfiguration(bufferConfiguration),
      sampleSize(sampleSizeOf(sampleFormat)), channelAmount(channelAmount),
      samplesPerChannel(samplesPerChannel), sampleFormat(sampleFormat), sampleFormatStated(true) {
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

SampleFormat DeviceConfiguration::getSampleFormat() const {
    return sampleFormat;
}

std::uint64_t DeviceConfiguration::sampleSizeOf(SampleFormat format) {
    switch (format) {
    case SampleFormat::Int16:
        return 2;
    case SampleFormat::Int24:
        return 3;
    case SampleFormat::Int32:
    case SampleFormat::Float32:
        return 4;
    case SampleFormat::Unspecified:
        break;
    }
    return 0;
}

std::string DeviceConfiguration::sampleFormatName(SampleFormat format) {
    switch (format) {
    case SampleFormat::Int16:
        return "Int16";
    case SampleFormat::Int24:
        return "Int24";
    case SampleFormat::Int32:
        return "Int32";
    case SampleFormat::Float32:
        return "Float32";
    case SampleFormat::Unspecified:
        break;
    }
    return "Unspecified";
}

std::string DeviceConfiguration::toString() const {
    // Only a configuration that states its format says so, so that the text of the others stays as it was.
    const std::string format =
        sampleFormatStated ? "\n\tDevice sample format: " + sampleFormatName(sampleFormat) : std::string();
    return DataObjectBase::toString() + format +
           "\n\tDevice sample size in bytes: " + std::to_string(sampleSize) +
           "\n\tDevice amount of channels: " + std::to_string(channelAmount) +
           "\n\tDevice amount of samples send per channel: " + std::to_string(samplesPerChannel) + "\n" +
           "Buffer configuration:\n" + bufferConfiguration->toString();
}

BufferConfiguration* DeviceConfiguration::getBufferConfiguration() const {
    return bufferConfiguration;
}

} // namespace sonacore
