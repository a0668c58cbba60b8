#pragma once

#include "sonacore/IProcessorConfigBase.h"
#include "sonacore/SonaCoreExport.h"

#include <cstdint>
#include <string>

namespace sonacore::iprocess {

// The settings that every analyser working on one channel's samples shares: how it is clocked and how many
// samples it works on per calculation.
//
// Thread affinity: the setters are meant for the host's thread. Each change that matters to a running
// processor is announced to it, and a processor that runs takes the new value at its next calculation or
// restarts its clock; the getters may be read from any thread. None of these calls throws: a refused value
// is logged as a warning and leaves the stored one.
class SONACORE_EXPORT ISampleProcessorConfigBase : public IProcessorConfigBase {
public:
    ~ISampleProcessorConfigBase() override;

    // The period of the internal clock, in milliseconds.
    virtual std::uint64_t getRefreshRate() const = 0;
    // A new period in milliseconds. 0 is refused with the warning "Refresh rate equal to zero is not allowed!
    // Refresh rate will be ignored!" and changes nothing; the same value is ignored. Under the
    // external clock the value is only stored, and takes effect when the internal clock is chosen.
    virtual void setRefreshRate(std::uint64_t refreshRate) = 0;
    // True when the clock type is exactly "Internal clock".
    virtual bool isInternalClock() const = 0;
    // Samples per calculation.
    virtual std::uint64_t getSampleAmount() const = 0;
    // A new amount of samples per calculation; the same value is ignored, 0 is allowed.
    virtual void setSampleAmount(std::uint64_t sampleAmount) = 0;
    // "Internal clock" or "External clock".
    virtual std::string getClockType() const = 0;
    // "Internal clock" or "External clock"; the same value is ignored. Any other text is stored and reads as
    // the external clock, but no processor acts on it.
    virtual void setClockType(std::string clockType) = 0;
};

} // namespace sonacore::iprocess
