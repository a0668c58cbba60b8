#pragma once

#include "process/SampleProcessorConfigBase.h"
#include "sonacore/ISpectrumConfig.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace process {

// The settings of a spectrum processor; processor type "SpectrumProcessor". The FFT order decides the
// samples per calculation: every change of the order sets the base's sample amount to the frame length, and
// the host's setSampleAmount is ignored ("internal sample amount auto detection").
//
// Change notices, each only on a change and after the new value is in place: "FFTOrderChanged",
// "MovingAverageActivityChanged", "MovingAverageWindowSizeChanged", "MovingAverageWindowLengthChanged", and
// the base's "SampleAmountChanged" when the order moved the frame length.
//
// Thread affinity: lives on the host's thread and is set there. The processor reads the order and size on
// its worker thread, and the moving average reads its settings, so every field is atomic.
//
// Ownership: never owned by a processor; the spectrum registry owns it until ISonaCore::destroy().
class SpectrumConfig : public SampleProcessorConfigBase, public sonacore::iprocess::ISpectrumConfig {
    Q_OBJECT

public:
    static constexpr std::size_t defaultFftOrder = 14;
    static constexpr float defaultPowerSpectrumFactor = 5.334f;
    static constexpr std::size_t defaultMovingAverageWindowSize = 16;
    static constexpr std::size_t defaultMovingAverageWindowLength = 10000;

    // External clock. The sample amount is replaced by the frame length of order 14.
    SpectrumConfig(std::string name, std::size_t sampleAmount);
    // Internal clock with a period in milliseconds (0: warned about, external clock). The sample amount is
    // replaced by the frame length of order 14.
    SpectrumConfig(std::string name, std::size_t sampleAmount, std::size_t refreshRate);
    ~SpectrumConfig() override;

    // The same object as a SpectrumConfig. A configuration of another processor type is warned about and
    // throws exceptions::InstanceNotConvertable; one that claims the type but is of another class throws
    // std::bad_cast.
    static SpectrumConfig& fromBase(ProcessorConfigBase& configuration);

    std::string getProcessorType() const override;
    std::uint64_t getRefreshRate() const override;
    void setRefreshRate(std::uint64_t refreshRate) override;
    bool isInternalClock() const override;
    std::uint64_t getSampleAmount() const override;
    // Stores nothing: logs the warning "Sample amount ignored by internal sample amount auto detection!".
    void setSampleAmount(std::uint64_t sampleAmount) override;
    std::string getClockType() const override;
    void setClockType(std::string clockType) override;

    std::size_t getFftOrder() const override;
    void setFftOrder(std::size_t order) override;
    std::size_t getFftSize() const override;
    void setFftSize(std::size_t size) override;
    float getPowerSpectrumFactor() const override;
    void setMovingAverageActivity(bool active) override;
    bool getMovingAverageActivity() const override;
    void setMovingAverageWindowSize(std::size_t size) override;
    std::size_t getMovingAverageWindowSize() const override;
    void setMovingAverageWindowLength(std::size_t length) override;
    std::size_t getMovingAverageWindowLength() const override;

    // Announces, unconditionally and in this order, "FFTOrderChanged", "MovingAverageWindowLengthChanged",
    // "MovingAverageWindowSizeChanged", "MovingAverageActivityChanged", then what the base announces.
    void notifyAllParameters() override;
    // "SpectrumProcessor: <name>\n" and the base's text, then "\n\tFFT order: <order>".
    std::string toString() const override;

private:
    // True when exactly one bit is set; otherwise warns "Value is no power of two: <value>".
    bool isValuePowerOfTwo(std::size_t value) const;

    // 0 until the constructor's setFftOrder(14), so that the constructor's order is always applied and the
    // frame length replaces the sample amount given at creation.
    std::atomic<std::size_t> fftOrder{0};
    std::atomic<std::size_t> fftSize{0};
    const float powerSpectrumFactor;
    std::atomic<bool> movingAverageActivity;
    std::atomic<std::size_t> movingAverageWindowSize;
    std::atomic<std::size_t> movingAverageWindowLength;
};

} // namespace process
