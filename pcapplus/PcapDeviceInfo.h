#pragma once

#include "sonacore/INetworkDeviceInfo.h"
#include "sonacore/StringOverloadBase.h"

#include <cstdint>
#include <string>

namespace pcapplus {

// One capture interface of the machine: its number in the list, from 1, its libpcap name and description.
class PcapDeviceInfo : public StringOverloadBase, public sonacore::INetworkDeviceInfo {
public:
    PcapDeviceInfo(std::int32_t deviceNumber, std::string deviceName, std::string deviceDescription);
    explicit PcapDeviceInfo(const sonacore::INetworkDeviceInfo& other);
    ~PcapDeviceInfo() override;

    std::string toString() const override;
    int getDeviceNumber() const override;
    std::string getDeviceName() const override;
    std::string getDeviceDescription() const override;
    bool isValid() const override;
    bool isDescriptionMissing() const override;

    // Stands for a description that libpcap does not give.
    static constexpr const char* descriptionNotAvailable = "Not available";

private:
    std::int32_t deviceNumber;
    std::string deviceName;
    std::string deviceDescription;
};

} // namespace pcapplus
