#pragma once

#include "sonacore/SonaCoreExport.h"

#include <string>

namespace sonacore::iprocess {

// The settings of one analyser. The concrete kinds are made by their own createInstance functions. The
// calls below read values fixed at creation: any thread, and none throws.
class SONACORE_EXPORT IProcessorConfigBase {
public:
    virtual ~IProcessorConfigBase();

    // "WaveformProcessor", "SpectrumProcessor", "SoundLevelValueProcessor" or "DemoProcessor".
    virtual std::string getProcessorType() const = 0;
    virtual std::string toString() const = 0;
};

} // namespace sonacore::iprocess
