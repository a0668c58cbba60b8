#pragma once

#include "sonacore/IProcessorConfigBase.h"
#include "sonacore/SonaCoreExport.h"

#include <cstdint>

namespace sonacore::iprocess {

// The settings of the sine generator, which needs neither network nor buffer: its amplitude.
class SONACORE_EXPORT IDemoConfig : public IProcessorConfigBase {
public:
    ~IDemoConfig() override;

    // Stored without a notice; a running generator reads it afresh on each pass.
    virtual void setAmplitude(std::uint32_t amplitude) = 0;
    virtual std::uint32_t getAmplitude() const = 0;
};

} // namespace sonacore::iprocess
