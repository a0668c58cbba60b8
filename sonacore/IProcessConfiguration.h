#pragma once

#include "sonacore/IProcessorConfigBase.h"
#include "sonacore/SonaCoreExport.h"

#include <cstdint>
#include <string>

namespace sonacore {

// Ties an analyser's settings to one channel of one streaming device. Nothing is checked here: an unknown
// device or channel is refused by ISonaCore::addProcessor.
//
// Thread affinity: create it on the host's thread (the registry has no lock). Its values never change, so
// the getters may be read from any thread, and none of them throws.
class SONACORE_EXPORT IProcessConfiguration {
public:
    // streamDevice is the streaming device's key (its MAC address text), audioChannel counts from 0.
    // Throws std::bad_cast when processorConfiguration was not made by this library; nothing is created and
    // no registry changes then. Owned by the library until ISonaCore::destroy(); never null.
    static IProcessConfiguration* createInstance(std::string name,
                                                 iprocess::IProcessorConfigBase& processorConfiguration,
                                                 std::string streamDevice, unsigned char audioChannel);

    virtual ~IProcessConfiguration();

    virtual std::string getName() const = 0;
    // The settings given at creation; never null.
    virtual iprocess::IProcessorConfigBase* getProcessorConfig() const = 0;
    virtual std::string getStreamDevice() const = 0;
    virtual std::uint8_t getAudioChannel() const = 0;
    virtual std::string toString() const = 0;
};

} // namespace sonacore
