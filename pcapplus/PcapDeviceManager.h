#pragma once

#include "pcapplus/PcapDeviceInfo.h"
#include "sonacore/INetworkDeviceManager.h"
#include "sonacore/StringOverloadBase.h"

#include <cstdint>
#include <string>
#include <vector>

namespace pcapplus {

// Lists the machine's capture interfaces through libpcap and numbers them from 1, in libpcap's order,
// with no filter: loopback and non-Ethernet interfaces get numbers too. Used from the caller's thread only.
class PcapDeviceManager : public StringOverloadBase, public sonacore::INetworkDeviceManager {
public:
    // Logs its creation and scans once.
    PcapDeviceManager();
    ~PcapDeviceManager() override;

    std::string toString() const override;
    // Replaces the list. True after a scan that found interfaces; false when libpcap failed (logged as a
    // warning) or found none.
    bool scanDevices() override;
    std::uint64_t getDeviceCount() const override;
    // Throws exceptions::ResourceNotAvailable when the number is 0 or above the count.
    PcapDeviceInfo& getDeviceInfo(std::uint64_t number) override;

    // The name this object writes in its log lines.
    static constexpr const char* objectName = "PcapDeviceManager";

private:
    std::vector<PcapDeviceInfo> devices;
};

} // namespace pcapplus
