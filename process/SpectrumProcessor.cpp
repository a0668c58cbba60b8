#include "process/SpectrumProcessor.h"

#include "avb/AvbAudioBuffer.h"
#include "process/SpectrumConfig.h"
#include "sonacore/Log.h"
#include "sonacore/SonaCoreConstants.h"

#include <QMutexLocker>

#include <utility>

namespace process {

namespace {
constexpr const char* internalClockName = "InternalClock";
} // namespace

Processor* SpectrumProcessor::create(std::string name, ProcessorConfigBase& configuration,
                                     avb::AvbAudioBuffer& buffer) {
    SpectrumConfig& spectrumConfig = SpectrumConfig::fromBase(configuration);
    // The constructor announces the configuration itself, so the processor stands complete here.
    return new SpectrumProcessor(std::move(name), &spectrumConfig, &buffer, nullptr);
}

SpectrumProcessor::SpectrumProcessor(std::string name, SpectrumConfig* configuration,
                                     avb::AvbAudioBuffer* buffer, QObject* parent)
    : SampleProcessorBase(name, configuration, buffer, parent), fft(name + "_FFT"), binCount(0),
      movingAverage(name + "_Averager", configuration, buffer->getBufferConfiguration(), nullptr),
      spectrumConfiguration(configuration) {
    connect(configuration, &sonacore::ConfigurationData::configurationChanged, this,
            &SpectrumProcessor::fftOrderChanged, Qt::AutoConnection);
    fft.setWindowing(true);
    // Still on the building thread: the handlers run directly, so the transform, the bins, the moving
    // average's window and the clock stand before the socket moves the processor away.
    configuration->notifyAllParameters();
    sonacore::log::debug("SpectrumProcessor", "Initialized");
}

SpectrumProcessor::~SpectrumProcessor() = default;

std::size_t SpectrumProcessor::getBinCount() const {
    return binCount;
}

const averaging::MovingAverage& SpectrumProcessor::getMovingAverage() const {
    return movingAverage;
}

void SpectrumProcessor::calculate(std::string clockName) {
    calculate(std::move(clockName), 0);
}

void SpectrumProcessor::calculate() {
    calculate(internalClockName, 0);
}

void SpectrumProcessor::sampleAmountChanged(std::string changedParameter) {
    if (changedParameter != sonacore::constants::sampleAmountChanged) {
        return;
    }
    sonacore::log::debug("sampleAmountChanged", sonacore::log::name(getWorkerName()),
                         "Processed amount of samples: ", spectrumConfiguration->getSampleAmount());
}

void SpectrumProcessor::fftOrderChanged(std::string changedParameter) {
    if (changedParameter != sonacore::constants::fftOrderChanged) {
        return;
    }
    QMutexLocker locker(&mutex);
    const std::size_t size = spectrumConfiguration->getFftSize();
    if (size == 0) {
        return;
    }
    // The transform warns about an order it cannot build and keeps its old one. The bins keep their size
    // then too: sizing them for an order of 2^40 samples would exhaust memory on this thread, and the old
    // transform refuses every frame of the new length anyway.
    if (!fft.setFftOrder(spectrumConfiguration->getFftOrder()) &&
        spectrumConfiguration->getFftOrder() > fft::IppFft::maximumFftOrder) {
        return;
    }
    binCount = size >> 1;
    xValues.resize(binCount);
    yValues.resize(binCount);
    powerValues.resize(binCount);
    for (std::size_t bin = 0; bin < binCount; ++bin) {
        xValues[bin] = static_cast<double>(bin);
    }
    channelData.getVectorData().setX(xValues);
}

void SpectrumProcessor::calculate(std::string clockName, std::size_t sampleAmount) {
    static_cast<void>(clockName);
    static_cast<void>(sampleAmount);
    QMutexLocker locker(&mutex);
    if (!isActive()) {
        return;
    }
    std::vector<float> samples;
    if (!fetchBlockForClock(samples)) {
        return;
    }
    if (!fft.calculate(samples)) {
        return;
    }
    const float factor = spectrumConfiguration->getPowerSpectrumFactor();
    if (!fft.getFftResultsPowerSpectrum(powerValues, binCount, factor)) {
        return;
    }
    if (yValues.size() < powerValues.size()) {
        return;
    }
    for (std::size_t bin = 0; bin < powerValues.size(); ++bin) {
        yValues[bin] = static_cast<double>(powerValues[bin]);
    }
    if (movingAverage.isActive()) {
        yValues = movingAverage.calculateAverage(std::move(yValues));
    }
    channelData.getVectorData().setY(yValues);
    emit newProcessData(channelData);
}

} // namespace process
