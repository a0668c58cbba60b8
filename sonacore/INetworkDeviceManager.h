#pragma once

#include "sonacore/INetworkDeviceInfo.h"
#include "sonacore/SonaCoreExport.h"

#include <cstdint>
#include <string>

namespace sonacore {

// The machine's capture adapters, numbered from 1 in libpcap's order at the time of the latest scan. Use it
// from the host's thread; it has no lock.
class SONACORE_EXPORT INetworkDeviceManager {
public:
    // The library's one device manager; the same object on every call, never null, never throws. It has
    // scanned once at load.
    static INetworkDeviceManager* createInstance();

    virtual ~INetworkDeviceManager();

    // "DeviceManager: " and one line per adapter.
    virtual std::string toString() const = 0;
    // Replaces the list; never throws. False, with the list then empty, when libpcap could not list the
    // adapters (logged as a warning, "Device scan cannot be performed: " and libpcap's text) or listed none.
    // References returned earlier by getDeviceInfo do not survive a scan.
    virtual bool scanDevices() = 0;
    virtual std::uint64_t getDeviceCount() const = 0;
    // The adapter with this number, from 1; valid until the next scan. Throws, after a warning of the same
    // text, exceptions::ResourceNotAvailable ("Requested index number is not available: <number>. ...") for
    // 0 and for any number above getDeviceCount(); the list stays as it was.
    virtual INetworkDeviceInfo& getDeviceInfo(std::uint64_t number) = 0;
};

} // namespace sonacore
