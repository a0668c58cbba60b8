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
    // A configuration that states its format; its sample size follows from the format, which must not be
    // Unspecified (the factory refuses that before it gets here).
    DeviceConfiguration(std::string name, BufferConfiguration* bufferConfiguration, SampleFormat sampleFormat,
                        std::uint64_t channelAmount, std::uint64_t samplesPerChannel);
    ~DeviceConfiguration() override;

    std::string getName() const override;
    std::uint64_t getSampleSize() const override;
    std::uint64_t getChannelAmount() const override;
    std::uint64_t getSamplesPerChannel() const override;
    std::string toString() const override;
    SampleFormat getSampleFormat() const override;

    BufferConfiguration* getBufferConfiguration() const;
    // True when the host stated the format: only then is a frame refused for its format field, and only then
    // are samples other than 16-bit ones converted.
    bool isSampleFormatStated() const { return sampleFormatStated; }

    // Bytes of one sample in the format: 2, 3, 4 and 4; 0 for Unspecified.
    static std::uint64_t sampleSizeOf(SampleFormat format);
    // The enumerator's name, such as "Int32"; "Unspecified" for any value outside the enumeration.
    static std::string sampleFormatName(SampleFormat format);

private:
    BufferConfiguration* bufferConfiguration;
    std::uint64_t sampleSize;
    std::uint64_t channelAmount;
    std::uint64_t samplesPerChannel;
    SampleFormat sampleFormat;
    bool sampleFormatStated;
};

} // namespace sonacore
