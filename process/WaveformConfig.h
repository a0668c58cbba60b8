#pragma once

#include "process/SampleProcessorConfigBase.h"
#include "sonacore/IWaveformConfig.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace process {

// The settings of a waveform processor; processor type "WaveformProcessor". Adds nothing to the sample
// processor settings but its printable text. Every operation of the public interface forwards to the base.
class WaveformConfig : public SampleProcessorConfigBase, public sonacore::iprocess::IWaveformConfig {
    Q_OBJECT

public:
    // External clock.
    WaveformConfig(std::string name, std::size_t sampleAmount);
    // Internal clock with a period in milliseconds (0: warned about, external clock).
    WaveformConfig(std::string name, std::size_t sampleAmount, std::size_t refreshRate);
    ~WaveformConfig() override;

    // The same object as a WaveformConfig. A configuration of another processor type is warned about and
    // throws exceptions::InstanceNotConvertable; one that claims the type but is of another class throws
    // std::bad_cast.
    static WaveformConfig& fromBase(ProcessorConfigBase& configuration);

    std::string getProcessorType() const override;
    std::uint64_t getRefreshRate() const override;
    void setRefreshRate(std::uint64_t refreshRate) override;
    bool isInternalClock() const override;
    std::uint64_t getSampleAmount() const override;
    void setSampleAmount(std::uint64_t sampleAmount) override;
    std::string getClockType() const override;
    void setClockType(std::string clockType) override;
    // "WaveformProcessor: <name>\n" followed by the base's text.
    std::string toString() const override;
};

} // namespace process
