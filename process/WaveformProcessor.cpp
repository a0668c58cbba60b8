#include "process/WaveformProcessor.h"

#include "avb/AvbAudioBuffer.h"
#include "process/WaveformConfig.h"
#include "sonacore/ChannelData.h"
#include "sonacore/VectorData.h"

#include <utility>
#include <vector>

namespace process {

namespace {
constexpr const char* internalClockName = "InternalClock";
} // namespace

Processor* WaveformProcessor::create(std::string name, ProcessorConfigBase& configuration,
                                     avb::AvbAudioBuffer& buffer) {
    WaveformConfig& waveformConfig = WaveformConfig::fromBase(configuration);
    auto* processor = new WaveformProcessor(std::move(name), &waveformConfig, &buffer, nullptr);
    // Still on the building thread, so the handlers run directly and the processor stands complete before
    // its socket moves it away.
    waveformConfig.notifyAllParameters();
    return processor;
}

WaveformProcessor::WaveformProcessor(std::string name, WaveformConfig* configuration,
                                     avb::AvbAudioBuffer* buffer, QObject* parent)
    : SampleProcessorBase(std::move(name), configuration, buffer, parent),
      waveformConfiguration(configuration), samplePosition(0.0) {}

WaveformProcessor::~WaveformProcessor() = default;

WaveformConfig* WaveformProcessor::getWaveformConfiguration() const {
    return waveformConfiguration;
}

std::string WaveformProcessor::toString() const {
    return SampleProcessorBase::toString() + "\n";
}

void WaveformProcessor::calculate(std::string clockName) {
    calculate(std::move(clockName), 0);
}

void WaveformProcessor::calculate() {
    calculate(internalClockName, 0);
}

// Appending after an amount notice is what puts the notice's zero points in front of the next delivery; it
// is kept so.
void WaveformProcessor::calculate(std::string clockName, std::size_t sampleAmount) {
    static_cast<void>(clockName);
    static_cast<void>(sampleAmount);
    if (!isActive()) {
        return;
    }
    std::vector<float> samples;
    if (!fetchBlockForClock(samples)) {
        return;
    }
    for (const float sample : samples) {
        xValues.push_back(samplePosition);
        yValues.push_back(static_cast<double>(sample));
        samplePosition += 1.0;
    }
    emit newProcessData(sonacore::ChannelData(getWorkerName(), sonacore::VectorData(xValues, yValues)));
    samplePosition = 0.0;
    xValues.clear();
    yValues.clear();
}

} // namespace process
