#pragma once

#include "sonacore/IDeviceConfiguration.h"
#include "sonacore/INetworkDeviceInfo.h"
#include "sonacore/SonaCoreExport.h"

#include <string>

namespace sonacore {

// Ties a streaming device, known by its source MAC address, to the adapter it is received on.
//
// Thread affinity: create it on the host's thread (the registry has no lock). Its values never change, so
// the getters may be read from any thread, and none of them throws.
class SONACORE_EXPORT IStreamConfiguration {
public:
    // deviceMacAddress is the device's source address as 12 hexadecimal characters, such as "00a0c9112233";
    // it is the device's key. Throws std::bad_cast when networkDeviceInfo or deviceConfiguration was not
    // made by this library; nothing is created and no registry changes then. The address is not checked
    // here. Owned by the library until ISonaCore::destroy(); never null.
    static IStreamConfiguration* createInstance(std::string name, std::string deviceMacAddress,
                                                INetworkDeviceInfo& networkDeviceInfo,
                                                IDeviceConfiguration& deviceConfiguration);

    virtual ~IStreamConfiguration();

    virtual std::string getDeviceMacAddress() const = 0;
    // The configuration given at creation; never null.
    virtual IDeviceConfiguration* getDeviceConfiguration() const = 0;
    virtual std::string toString() const = 0;
    virtual std::string getName() const = 0;
};

} // namespace sonacore
