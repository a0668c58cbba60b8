#pragma once

#include "process/SampleProcessorBase.h"
#include "process/averaging/MovingAverage.h"
#include "process/fft/IppFft.h"
#include "sonacore/ChannelData.h"

#include <QMutex>
#include <QObject>

#include <cstddef>
#include <string>
#include <vector>

namespace avb {
class AvbAudioBuffer;
} // namespace avb

namespace process {

class ProcessorConfigBase;
class SpectrumConfig;

// Turns one channel's samples into a power spectrum. On every calculation it takes one frame of N = 2^order
// samples (the configuration's sample amount), applies the Hann window, transforms it (scaled by 1/N), and
// delivers bins 0 to N/2 - 1: x is the bin number as a double, y the linear power re² + im² of the bin times
// 5.334, widened to double, or with the moving average on the mean of the latest window of such spectra. No
// decibels, no hertz, no Nyquist bin: bin k lies at k · rate / N Hz. Every record is named "DummyChannel";
// consumers tell spectra apart by their connection.
//
// A frame that is not exactly N samples long (a buffer smaller than N, or a fetch that found fewer) and a
// failed transform are skipped with the transform's warning: nothing is delivered for that calculation.
//
// Threads: built on the host's thread, where the constructor sizes everything through the configuration's
// announcement; then calculate and the order handler run on the worker thread, both under the processor's
// mutex, which is taken before the transform's own. The moving average stays on the host's thread, where its
// settings handlers run under its own lock. newProcessData is emitted on the worker thread with the
// processor's mutex held.
//
// Ownership: owns its transform and its moving average; owns neither the configuration nor the buffer.
class SpectrumProcessor : public SampleProcessorBase {
    Q_OBJECT

public:
    // The factory's definition for "SpectrumProcessor": converts the configuration (another type throws
    // exceptions::InstanceNotConvertable) and builds the processor without a parent; the constructor has
    // replayed the configuration, so its transform, vectors and clock stand when this returns. The caller
    // takes it over.
    static Processor* create(std::string name, ProcessorConfigBase& configuration,
                             avb::AvbAudioBuffer& buffer);

    // The transform is named name + "_FFT", the moving average name + "_Averager". Logs "SpectrumProcessor"
    // "Initialized" at the end.
    SpectrumProcessor(std::string name, SpectrumConfig* configuration, avb::AvbAudioBuffer* buffer,
                      QObject* parent);
    ~SpectrumProcessor() override;

    // Inspection while no calculation can run.
    std::size_t getBinCount() const;
    const averaging::MovingAverage& getMovingAverage() const;

public slots:
    // One spectrum; see the class comment. Both arguments are ignored.
    void calculate(std::string clockName, std::size_t sampleAmount) override;
    void calculate(std::string clockName);
    void calculate();
    // Replaces the base's handler: only logs "Processed amount of samples: " and the amount, since the
    // frame length follows the FFT order and the order handler sizes the vectors.
    void sampleAmountChanged(std::string changedParameter) override;
    // "FFTOrderChanged": rebuilds the transform at the configuration's order and resizes the bins. An order
    // the transform refuses (above 27) keeps the old transform and the old bins, so every later frame is
    // refused by size until a valid order comes. Other texts are ignored.
    void fftOrderChanged(std::string changedParameter);

private:
    fft::IppFft fft;
    std::vector<float> powerValues;
    std::size_t binCount;
    // Built with the default name, "DummyChannel", which every delivered record bears.
    sonacore::ChannelData channelData;
    averaging::MovingAverage movingAverage;
    SpectrumConfig* const spectrumConfiguration;
    QMutex mutex;
};

} // namespace process
