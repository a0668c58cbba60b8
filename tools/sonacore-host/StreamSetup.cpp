#include "StreamSetup.h"

#include "sonacore/IBufferConfiguration.h"
#include "sonacore/IDeviceConfiguration.h"
#include "sonacore/INetworkDeviceManager.h"

#include <cstdint>

namespace host {

sonacore::INetworkDeviceInfo* StreamSetup::findAdapter(const std::string& wanted) {
    sonacore::INetworkDeviceManager* manager = sonacore::INetworkDeviceManager::createInstance();
    manager->scanDevices();
    for (std::uint64_t number = 1; number <= manager->getDeviceCount(); ++number) {
        sonacore::INetworkDeviceInfo& adapter = manager->getDeviceInfo(number);
        if (adapter.getDeviceName() == wanted || std::to_string(number) == wanted) {
            return &adapter;
        }
    }
    return nullptr;
}

std::string StreamSetup::noAdapterText(const std::string& wanted) {
    return "There is no capture adapter '" + wanted +
           "': run 'sonacore-host --list' to see the adapters and their numbers.";
}

sonacore::IStreamConfiguration& StreamSetup::configure(const HostOptions& options,
                                                       sonacore::INetworkDeviceInfo& adapter) {
    const StreamFormat& format = options.stream;
    // Levels need the buffer's signal whatever the spectra run on: a timer tick carries no amount of samples,
    // and the sound level processor completes no block without one.
    auto* buffer = sonacore::IBufferConfiguration::createInstance("host buffer", options.bufferSize,
                                                                  options.signalingAmount);
    // A device that states its format has the library refuse frames of another, and say so, where one read
    // by its size alone would turn them into noise or silence.
    auto* device =
        format.sampleFormat == sonacore::SampleFormat::Unspecified
            ? sonacore::IDeviceConfiguration::createInstance("host device", *buffer, format.sampleSize,
                                                             format.channels, format.samplesPerFrame)
            : sonacore::IDeviceConfiguration::createInstance("host device", *buffer, format.sampleFormat,
                                                             format.channels, format.samplesPerFrame);
    return *sonacore::IStreamConfiguration::createInstance("host stream", options.deviceKey, adapter, *device,
                                                           format.vlanId.has_value());
}

} // namespace host
