#pragma once

#include "sonacore/SonaCoreExport.h"

#include <string>

namespace sonacore {

// One capture adapter of the machine, as libpcap lists it. Numbers count from 1. Its values never change, so
// the calls below may run on any thread, and none throws; the object itself ends at the next
// INetworkDeviceManager::scanDevices(), so keep that call on the thread that uses the adapter.
class SONACORE_EXPORT INetworkDeviceInfo {
public:
    virtual ~INetworkDeviceInfo();

    // Position in the adapter list, from 1; negative for an invalid object.
    virtual int getDeviceNumber() const = 0;
    // The libpcap name, as opened for capture.
    virtual std::string getDeviceName() const = 0;
    // libpcap's description, or "Not available" when it gives none.
    virtual std::string getDeviceDescription() const = 0;
    // True when the number is 0 or greater.
    virtual bool isValid() const = 0;
    // True when the description is "Not available".
    virtual bool isDescriptionMissing() const = 0;
    virtual std::string toString() const = 0;
};

} // namespace sonacore
