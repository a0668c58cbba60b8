#pragma once

#include "process/SampleProcessorBase.h"

#include <QObject>

#include <cstddef>
#include <string>

namespace avb {
class AvbAudioBuffer;
} // namespace avb

namespace process {

class ProcessorConfigBase;
class WaveformConfig;

// Delivers one channel's raw samples as a curve: x is a sample's place in the block (0.0, 1.0, 2.0, ...),
// y the sample's value as a double, exactly.
//
// The working vectors are appended to, not overwritten. Each sample amount notice (the creation replay sends
// one) resizes them to the amount, filled with 0.0, so the delivery after it carries that many (0.0, 0.0)
// points in front of its samples: with amount n and a full buffer the first delivery has 2n points, every
// later one n, until the amount changes again. After each delivery the vectors are emptied, keeping their
// capacity.
//
// Threads: calculate and, once moved, the amount notice run on the worker thread and never overlap.
class WaveformProcessor : public SampleProcessorBase {
    Q_OBJECT

public:
    // The factory's definition for "WaveformProcessor": converts the configuration (a configuration of
    // another type throws exceptions::InstanceNotConvertable), builds the processor without a parent and
    // replays the configuration, so that its vectors are sized and its clock source is linked when this
    // returns. The caller takes the processor over.
    static Processor* create(std::string name, ProcessorConfigBase& configuration,
                             avb::AvbAudioBuffer& buffer);

    WaveformProcessor(std::string name, WaveformConfig* configuration, avb::AvbAudioBuffer* buffer,
                      QObject* parent);
    ~WaveformProcessor() override;

    WaveformConfig* getWaveformConfiguration() const;
    // The base's text followed by a newline.
    std::string toString() const override;

public slots:
    // Does nothing while inactive. Otherwise fetches the configuration's amount of samples for the clock,
    // appends them and emits one ChannelData named after the processor, also when nothing was fetched. Both
    // arguments are ignored.
    void calculate(std::string clockName, std::size_t sampleAmount) override;
    void calculate(std::string clockName);
    void calculate();

private:
    WaveformConfig* const waveformConfiguration;
    // The x value of the next sample.
    double samplePosition;
};

} // namespace process
