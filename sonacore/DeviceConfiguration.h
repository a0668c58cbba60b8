#pragma once

#include "sonacore/BufferConfiguration.h"
#include "sonacore/ConfigurationData.h"
#include "sonacore/IDeviceConfiguration.h"

#include <cstdint>
#include <string>

namespace sonacore {

// The format of one streaming device's frames. Written once at creation; the buffer configuration is
// referred to, not owned.
class DeviceConfiguration : public ConfigurationData, public IDeviceConfiguration {
    Q_OBJECT

public:
    DeviceConfiguration(std::string name, BufferConfiguration* bufferConfiguration, std::uint64_t sampleSize,
                        std::uint64_t channelAmount, std::uint64_t samplesPerChannel);
    ~DeviceConfiguration() override;

    std::string getName() const override;
    std::uint64_t getSampleSize() const override;
    std::uint64_t getChannelAmount() const override;
    std::uint64_t getSamplesPerChannel() const override;
    std::string toString() const override;

    BufferConfiguration* getBufferConfiguration() const;

private:
    BufferConfiguration* bufferConfiguration;
    std::uint64_t sampleSize;
    std::uint64_t channelAmount;
    std::uint64_t samplesPerChannel;
};

} // namespace sonacore
