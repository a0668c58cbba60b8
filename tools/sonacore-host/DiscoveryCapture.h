#pragma once

#include "StreamDiscovery.h"

#include <cstdint>
#include <functional>
#include <string>

namespace host {

// Listens on one adapter for AAF frames and hands each to a StreamDiscovery. The one part of the host that
// calls libpcap itself: the library's interface has no way to list the streams on an adapter.
//
// The adapter is opened in promiscuous mode with a snapshot of the headers only, through the filter
// "ether proto 0x22f0 or (vlan and ether proto 0x22f0)", so that tagged streams are heard too, and closed
// again before `listen` returns. Needs the right to capture (root, or CAP_NET_RAW and CAP_NET_ADMIN). Runs on
// the calling thread and blocks it for the listening time.
class DiscoveryCapture {
public:
    // Listens on `adapterName` (a libpcap name such as "eth1") for `seconds`, or until `interrupted` returns
    // true (asked at least every 100 ms), and feeds every frame to `discovery`. `kernelDrops` receives the
    // frames the kernel dropped for want of room while listening, which make the measured rates low.
    //
    // Returns false with a one-sentence `error` when the adapter cannot be opened (no such adapter, no right
    // to capture), the filter cannot be set, or the capture fails; `discovery` then holds what arrived before
    // the failure.
    static bool listen(const std::string& adapterName, double seconds,
                       const std::function<bool()>& interrupted, StreamDiscovery& discovery,
                       std::uint64_t& kernelDrops, std::string& error);
};

} // namespace host
