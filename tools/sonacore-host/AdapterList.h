#pragma once

#include "sonacore/INetworkDeviceManager.h"

#include <ostream>
#include <string>

namespace host {

// The capture adapters as --list shows them. libpcap also offers adapters that carry no Ethernet frames
// (the loopback, "any", "dbus-session", "bluetooth-monitor", "nflog", "usbmon1", ...), where no AVTP
// stream can ever be heard: --list leaves them out, --list --all shows them too.
//
// An adapter is Ethernet-like when the kernel gives it the hardware type ARPHRD_ETHER (1) in
// /sys/class/net/<name>/type: wired adapters, Wi-Fi, bridges, veth pairs, VLANs and bonds. The loopback's
// type is 772, and libpcap's own pseudo-adapters have no such file.
//
// Either way every adapter keeps the number the library gives it (from 1), so that a number read from
// --list names the same adapter in --adapter and in --list --all.
class AdapterList {
public:
    // True when the adapter of this libpcap name is Ethernet-like; `classFolder` is where the kernel lists
    // its network interfaces.
    static bool isEthernet(const std::string& name, const std::string& classFolder = "/sys/class/net");

    // Writes the adapters, one line each ("  3. eth1 (description)"), with a closing line on how many were
    // left out and how to see them.
    static void print(sonacore::INetworkDeviceManager& manager, bool all, std::ostream& out);
};

} // namespace host
