#pragma once

#include "sonacore/IBufferConfiguration.h"
#include "sonacore/SampleFormat.h"
#include "sonacore/SonaCoreExport.h"

#include <cstdint>
#include <string>

namespace sonacore {

// The format of a streaming device's frames.
//
// The values are not checked here. A stream with a configuration that no frame could bring a sample to, or
// that asks for more channels than a frame can state, is refused when it is added
// (ISonaCore::addRemoteStreamReceiver throws exceptions::InstanceNotCreateable): a channel amount of 0 or
// above 1023, a sample size of 0, 0 samples per channel.
//
// Thread affinity: create it on the host's thread (the registry has no lock). Its values never change, so
// the getters may be read from any thread, and none of them throws.
class SONACORE_EXPORT IDeviceConfiguration {
public:
    // A new configuration that refers to bufferConfiguration (not a copy). Throws std::bad_cast when
    // bufferConfiguration was not made by this library; nothing is created and no registry changes then.
    // Owned by the library until ISonaCore::destroy(); never null.
    static IDeviceConfiguration* createInstance(std::string name, IBufferConfiguration& bufferConfiguration,
                                                unsigned long sampleSize, unsigned long channelAmount,
                                                unsigned long samplesPerChannel);
    // A configuration that states its sample format: the sample size follows from it (Int16 2 bytes, Int24 3,
    // Int32 and Float32 4), and a frame whose AAF format field states another format is refused, with a
    // "WARNING" status message once per change of the stated format (see getSampleFormat). Throws
    // exceptions::InstanceNotCreateable for SampleFormat::Unspecified or a value outside the enumeration, and
    // std::bad_cast when bufferConfiguration was not made by this library; nothing is created and no
    // registry changes then. Owned by the library until ISonaCore::destroy(); never null.
    static IDeviceConfiguration* createInstance(std::string name, IBufferConfiguration& bufferConfiguration,
                                                SampleFormat sampleFormat, unsigned long channelAmount,
                                                unsigned long samplesPerChannel);

    virtual ~IDeviceConfiguration();

    virtual std::string getName() const = 0;
    // Bytes per sample in the frame.
    virtual std::uint64_t getSampleSize() const = 0;
    // Audio channels the device sends.
    virtual std::uint64_t getChannelAmount() const = 0;
    // Samples of one channel in one frame.
    virtual std::uint64_t getSamplesPerChannel() const = 0;
    virtual std::string toString() const = 0;
    // The format the device's samples are read in. A configuration made with a sample size in bytes reports
    // Int16 for size 2 and Unspecified for any other size; it never refuses a frame for its format field, and
    // a device of another size delivers silence (0.0 for every sample, with a warning each). A configuration
    // made with a format reports that format. Not pure, so that a host's own implementation of this interface
    // still compiles; that default answers from getSampleSize as a configuration without a format does.
    virtual SampleFormat getSampleFormat() const;
};

} // namespace sonacore
