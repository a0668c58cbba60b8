#pragma once

#include "process/SampleProcessorConfigBase.h"
#include "sonacore/ISoundLevelValueConfig.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace process {

// The settings of a sound level processor; processor type "SoundLevelValueProcessor". Adds nothing to the
// sample processor settings but its printable text. Every operation of the public interface forwards to the
// base.
//
// Thread affinity and ownership: those of SampleProcessorConfigBase.
class SoundLevelValueConfig : public SampleProcessorConfigBase,
                              public sonacore::iprocess::ISoundLevelValueConfig {
    Q_OBJECT

public:
    // External clock.
    SoundLevelValueConfig(std::string name, std::size_t sampleAmount);
    // Internal clock with a period in milliseconds (0: warned about, external clock).
    SoundLevelValueConfig(std::string name, std::size_t sampleAmount, std::size_t refreshRate);
    ~SoundLevelValueConfig() override;

    // The same object as a SoundLevelValueConfig. A configuration of another processor type is warned about
    // and throws exceptions::InstanceNotConvertable; one that claims the type but is of another class throws
    // std::bad_cast.
    static SoundLevelValueConfig& fromBase(ProcessorConfigBase& configuration);

    std::string getProcessorType() const override;
    std::uint64_t getRefreshRate() const override;
    void setRefreshRate(std::uint64_t refreshRate) override;
    bool isInternalClock() const override;
    std::uint64_t getSampleAmount() const override;
    void setSampleAmount(std::uint64_t sampleAmount) override;
    std::string getClockType() const override;
    void setClockType(std::string clockType) override;
    // The base's text, "\n\tThe following sound level value types are being generated:", then per value type
    // in the order of its short name "\n\t\t<index>: <long name>" (indices 0, 1, 2, 3, 6, 4, 5); no line
    // break at the end.
    std::string toString() const override;
};

} // namespace process
