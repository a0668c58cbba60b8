#pragma once

#include "pcapplus/PcapDeviceInfo.h"
#include "sonacore/ConfigurationData.h"
#include "sonacore/DeviceConfiguration.h"
#include "sonacore/IStreamConfiguration.h"

#include <string>

namespace sonacore {

// Ties a streaming device, keyed by its source MAC address text, to the adapter it arrives on.
class StreamConfiguration : public ConfigurationData, public IStreamConfiguration {
    Q_OBJECT

public:
    StreamConfiguration(std::string name, std::string deviceMacAddress,
                        const pcapplus::PcapDeviceInfo& networkDeviceInfo,
                        DeviceConfiguration* deviceConfiguration, bool acceptVlanTagged = false);
    ~StreamConfiguration() override;

    std::string getDeviceMacAddress() const override;
    DeviceConfiguration* getDeviceConfiguration() const override;
    std::string toString() const override;
    std::string getName() const override;
    bool getAcceptVlanTagged() const override;

    // The adapter to listen on. It is this configuration's own copy: the device manager's entries are
    // replaced by each rescan, and a stream must not depend on when the host rescans.
    const INetworkDeviceInfo* getNetworkDeviceInfo() const;

private:
    std::string deviceMacAddress;
    pcapplus::PcapDeviceInfo networkDeviceInfo;
    DeviceConfiguration* deviceConfiguration;
    bool acceptVlanTagged;
};

} // namespace sonacore
