#pragma once

#include "process/ProcessorConfigBase.h"
#include "sonacore/ISampleProcessorConfigBase.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>

namespace process {

// The settings of every analyser that works on one channel's samples: the clock (internal timer or the audio
// buffer's signal), the timer's period and the samples per calculation.
//
// Change notices: each setter compares first; only a change is stored and then announced through
// configurationChanged, on the setter's thread, with "SampleAmountChanged", "ClockRefreshRateChanged" (only
// while the internal clock is chosen) or the new clock type as the text. A processor on its worker thread
// receives the notice queued, after the new value is in place.
//
// Thread affinity: the object lives on the host's thread and its setters are called there. The getters are
// also read by processors on their worker threads while a setter may run, so the numbers are atomic and the
// clock type is read and written under a lock of its own.
//
// Ownership: never owned by a processor; the registry of its kind owns it until ISonaCore::destroy().
class SampleProcessorConfigBase : public ProcessorConfigBase,
                                  public sonacore::iprocess::ISampleProcessorConfigBase {
    Q_OBJECT

public:
    // The period the timer gets when none is given, in milliseconds.
    static constexpr std::uint64_t defaultRefreshRate = 500;

    // External clock, period 500 ms. Logs "SampleProcessorConfigBase" "Configuration created. External
    // clock active".
    SampleProcessorConfigBase(std::string name, std::string processorType, std::size_t sampleAmount);
    // Internal clock with the given period in milliseconds. A period of 0 is warned about ("The given refresh
    // rate is invalid! External clock will be activated!") and gives the external clock with period 500 ms.
    SampleProcessorConfigBase(std::string name, std::string processorType, std::size_t sampleAmount,
                              std::size_t refreshRate);
    ~SampleProcessorConfigBase() override;

    std::string getProcessorType() const override;
    std::uint64_t getRefreshRate() const override;
    // 0 is refused with the warning "Refresh rate equal to zero is not allowed! Refresh rate will be
    // ignored!".
    void setRefreshRate(std::uint64_t refreshRate) override;
    bool isInternalClock() const override;
    std::uint64_t getSampleAmount() const override;
    void setSampleAmount(std::uint64_t sampleAmount) override;
    std::string getClockType() const override;
    void setClockType(std::string clockType) override;
    // Announces, unconditionally and in this order, "SampleAmountChanged", "ClockRefreshRateChanged" and the
    // current clock type. A processor's creation function calls it once so that the processor's ordinary
    // change handlers size its vectors and link its clock source.
    virtual void notifyAllParameters();
    // "\tProcessor type: <type>\n\tRefresh rate: <ms>\n\tSample amount: <n>\n\tClock type: <clock>".
    std::string toString() const override;

private:
    std::atomic<std::uint64_t> refreshRate;
    std::string clockType;
    std::atomic<std::uint64_t> sampleAmount;
    // Guards clockType only.
    mutable std::mutex clockTypeMutex;
};

} // namespace process
