#include "sonacore/StreamConfiguration.h"

#include "sonacore/ConfigurationRegistry.h"
#include <utility>

namespace sonacore {

IStreamConfiguration::~IStreamConfiguration() = default;

bool IStreamConfiguration::getAcceptVlanTagged() const {
    return false;
}

IStreamConfiguration* IStreamConfiguration::createInstance(std::string name, std::string deviceMacAddress,
                                                           INetworkDeviceInfo& networkDeviceInfo,
                                                           IDeviceConfiguration& deviceConfiguration) {
    // Both references are converted before allocating, so that a foreign object leaves the registry
    // unchanged.
    auto& adapter = dynamic_cast<pcapplus::PcapDeviceInfo&>(networkDeviceInfo);
    auto& device = dynamic_cast<DeviceConfiguration&>(deviceConfiguration);
    auto* configuration =
        new StreamConfiguration(std::move(name), std::move(deviceMacAddress), adapter, &device);
    registry::streamConfigurations.push_back(configuration);
    return configuration;
}

IStreamConfiguration* IStreamConfiguration::createInstance(std::string name, std::string deviceMacAddress,
                                                           INetworkDeviceInfo& networkDeviceInfo,
                                                           IDeviceConfiguration& deviceConfiguration,
                                                           bool acceptVlanTagged) {
    auto& adapter = dynamic_cast<pcapplus::PcapDeviceInfo&>(networkDeviceInfo);
    auto& device = dynamic_cast<DeviceConfiguration&>(deviceConfiguration);
    auto* configuration = new StreamConfiguration(std::move(name), std::move(deviceMacAddress), adapter,
                                                  &device, acceptVlanTagged);
    registry::streamConfigurations.push_back(configuration);
    return configuration;
}

StreamConfiguration::StreamConfiguration(std::string name, std::string deviceMacAddress,
                                         const pcapplus::PcapDeviceInfo& networkDeviceInfo,
                                         DeviceConfiguration* deviceConfiguration, bool acceptVlanTagged)
    : ConfigurationData(std::move(name)), deviceMacAddress(std::move(deviceMacAddress)),
      networkDeviceInfo(networkDeviceInfo), deviceConfiguration(deviceConfiguration),
      acceptVlanTagged(acceptVlanTagged) {}

StreamConfiguration::~StreamConfiguration() = default;

std::string StreamConfiguration::getDeviceMacAddress() const {
    return deviceMacAddress;
}

DeviceConfiguration* StreamConfiguration::getDeviceConfiguration() const {
    return deviceConfiguration;
}

std::string StreamConfiguration::toString() const {
    return DataObjectBase::toString() + " Device MAC address: " + deviceMacAddress + "\n" +
           " Detailed device configuration:\n" + deviceConfiguration->toString() + "\n" +
           " Detailed network device informations: \n" + networkDeviceInfo.toString();
}

std::string StreamConfiguration::getName() const {
    return DataObjectBase::getName();
}

bool StreamConfiguration::getAcceptVlanTagged() const {
    return acceptVlanTagged;
}

const INetworkDeviceInfo* StreamConfiguration::getNetworkDeviceInfo() const {
    return &networkDeviceInfo;
}

} // namespace sonacore
