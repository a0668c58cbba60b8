#pragma once

#include "sonacore/IProcessorConfigBase.h"
#include "sonacore/SonaCoreExport.h"

#include <cstdint>
#include <string>

namespace sonacore::iprocess {

// The settings of the sine generator, which needs neither network nor buffer: its amplitude.
//
// How a host runs one: create these settings, then IProcessConfiguration::createInstance with them and a
// device key and channel of the host's choosing (they only make up the generator's unique ID,
// "DemoProcessor_<device>_<channel>"; no stream is needed), then ISonaCore::addGeneratorProcessor. The
// generator runs from that moment, about 16 deliveries a second through the metering data source of its
// handle, as with any processor.
class SONACORE_EXPORT IDemoConfig : public IProcessorConfigBase {
public:
    // Settings named name, with the given amplitude (the generator delivers amplitude · sin(phase)). Owned by
    // the library until ISonaCore::destroy(); never null, never throws. Call it on the host's thread (the
    // registry has no lock).
    static IDemoConfig* createInstance(std::string name, std::uint32_t amplitude);

    ~IDemoConfig() override;

    // Stored without a notice; a running generator reads it afresh on each pass. Any value is taken, from any
    // thread; never throws.
    virtual void setAmplitude(std::uint32_t amplitude) = 0;
    // Any thread; never throws.
    virtual std::uint32_t getAmplitude() const = 0;
};

} // namespace sonacore::iprocess
