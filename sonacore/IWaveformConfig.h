#pragma once

#include "sonacore/ISampleProcessorConfigBase.h"
#include "sonacore/SonaCoreExport.h"

#include <string>

namespace sonacore::iprocess {

// The settings of a waveform processor, which delivers one channel's raw samples: x is a sample's place in
// the block (0, 1, 2, ...), y its value.
//
// Thread affinity: create it and call the setters on the host's thread (the registry has no lock); the
// getters may be read from any thread. None of the calls throws.
class SONACORE_EXPORT IWaveformConfig : public ISampleProcessorConfigBase {
public:
    // Clocked by the audio buffer's signal: a calculation each time the buffer's signalling amount of new
    // samples has arrived, on the sampleAmount samples that end there. Owned by the library until
    // ISonaCore::destroy(); never null.
    static IWaveformConfig* createInstance(std::string name, unsigned long sampleAmount);
    // Clocked by a timer of refreshRate milliseconds, on the newest sampleAmount samples at each tick. A rate
    // of 0 is refused with the warning "The given refresh rate is invalid! External clock will be
    // activated!", and the buffer's signal clocks instead. Owned by the library until ISonaCore::destroy();
    // never null.
    static IWaveformConfig* createInstance(std::string name, unsigned long sampleAmount,
                                           unsigned long refreshRate);

    ~IWaveformConfig() override;
};

} // namespace sonacore::iprocess
