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
    // As above, and with acceptVlanTagged true the device's frames are also received with an IEEE 802.1Q tag
    // (TPID 0x8100) or an 802.1ad tag (TPID 0x88a8) of any VLAN ID and priority in front of the EtherType,
    // or with an 0x88a8 tag stacked on an 0x8100 one: the tags are passed over, and the frame is judged as an
    // untagged one. Untagged frames are received as well. While a stream on an adapter accepts tagged frames,
    // the adapter captures with the filter "ether proto 0x22f0 or (vlan and ether proto 0x22f0)", so that
    // tagged frames pass wherever the operating system leaves the tag in the frame. With false, as above:
    // a tagged frame is not received. Throws as above.
    static IStreamConfiguration* createInstance(std::string name, std::string deviceMacAddress,
                                                INetworkDeviceInfo& networkDeviceInfo,
                                                IDeviceConfiguration& deviceConfiguration,
                                                bool acceptVlanTagged);

    virtual ~IStreamConfiguration();

    virtual std::string getDeviceMacAddress() const = 0;
    // The configuration given at creation; never null.
    virtual IDeviceConfiguration* getDeviceConfiguration() const = 0;
    virtual std::string toString() const = 0;
    virtual std::string getName() const = 0;
    // Whether the device's VLAN-tagged frames are received; false for a configuration made without the
    // choice. Not pure, so that a host's own implementation of this interface still compiles; that default
    // answers false.
    virtual bool getAcceptVlanTagged() const;
};

} // namespace sonacore
