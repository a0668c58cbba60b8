#include "AdapterList.h"

#include "sonacore/INetworkDeviceInfo.h"

#include <cstdint>
#include <fstream>

namespace host {
namespace {

// ARPHRD_ETHER of <net/if_arp.h>.
constexpr int etherType = 1;

} // namespace

bool AdapterList::isEthernet(const std::string& name, const std::string& classFolder) {
    if (name.empty() || name.find('/') != std::string::npos || name == "." || name == "..") {
        return false;
    }
    std::ifstream typeFile(classFolder + "/" + name + "/type");
    int type = -1;
    return static_cast<bool>(typeFile >> type) && type == etherType;
}

void AdapterList::print(sonacore::INetworkDeviceManager& manager, bool all, std::ostream& out) {
    out << (all ? "Capture adapters:\n" : "Ethernet capture adapters:\n");
    std::uint64_t hidden = 0;
    for (std::uint64_t number = 1; number <= manager.getDeviceCount(); ++number) {
        const sonacore::INetworkDeviceInfo& adapter = manager.getDeviceInfo(number);
        if (!all && !isEthernet(adapter.getDeviceName())) {
            ++hidden;
            continue;
        }
        out << "  " << number << ". " << adapter.getDeviceName();
        if (!adapter.isDescriptionMissing()) {
            out << " (" << adapter.getDeviceDescription() << ")";
        }
        out << "\n";
    }
    if (hidden > 0) {
        out << "Not shown: " << hidden << (hidden == 1 ? " adapter" : " adapters")
            << " without Ethernet frames (loopback and others); 'sonacore-host --list --all' lists every "
               "adapter.\n";
    }
}

} // namespace host
