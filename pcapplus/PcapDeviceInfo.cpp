#include "pcapplus/PcapDeviceInfo.h"

#include <utility>

namespace sonacore {
INetworkDeviceInfo::~INetworkDeviceInfo() = default;
} // namespace sonacore

namespace pcapplus {

PcapDeviceInfo::PcapDeviceInfo(std::int32_t deviceNumber, std::string deviceName,
                               std::string deviceDescription)
    : deviceNumber(deviceNumber), deviceName(std::move(deviceName)),
      deviceDescription(std::move(deviceDescription)) {}

PcapDeviceInfo::PcapDeviceInfo(const sonacore::INetworkDeviceInfo& other)
    : PcapDeviceInfo(other.getDeviceNumber(), other.getDeviceName(), other.getDeviceDescription()) {}

PcapDeviceInfo::~PcapDeviceInfo() = default;

std::string PcapDeviceInfo::toString() const {
    return "System device number: " + std::to_string(deviceNumber) + "\n" +
           "\tSystem device name: " + deviceName + "\n" +
           "\tSystem device description: " + deviceDescription + "\n";
}

int PcapDeviceInfo::getDeviceNumber() const {
    return deviceNumber;
}

std::string PcapDeviceInfo::getDeviceName() const {
    return deviceName;
}

std::string PcapDeviceInfo::getDeviceDescription() const {
    return deviceDescription;
}

bool PcapDeviceInfo::isValid() const {
    return deviceNumber >= 0;
}

bool PcapDeviceInfo::isDescriptionMissing() const {
    return deviceDescription == descriptionNotAvailable;
}

} // namespace pcapplus
