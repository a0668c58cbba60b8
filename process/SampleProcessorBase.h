#pragma once

#include "process/InternalClock.h"
#include "process/Processor.h"

#include <QMetaObject>
#include <QObject>

#include <cstddef>
#include <string>
#include <vector>

namespace avb {
class AvbAudioBuffer;
} // namespace avb

namespace process {

class SampleProcessorConfigBase;

// Base of every analyser that works on one channel's audio buffer. It decides what makes a calculation
// happen: its own timer (internal clock; a calculation on the newest samples at each tick) or the buffer's
// signal that its signalling amount of new samples has arrived (external clock; a calculation on the block
// that ends at the signal). An analyser supplies only calculate(std::string, std::size_t).
//
// Clock wiring: one connection at a time, clockConnection, links the current source to calculate. Nothing
// is linked at construction; the creation function's call of the configuration's notifyAllParameters() sizes
// the vectors and links the clock through the ordinary change handlers, on the building thread, before the
// processor is handed to its socket. Later notices arrive queued on the worker thread.
//
// Threads: construction and the replay on the building thread; progress(), every calculate and the change
// handlers (once moved) on the worker thread; start() and stop() on the caller's thread (a handle calls them
// directly). The clock stays on the building thread (see InternalClock). calculate calls are queued to the
// worker thread and never overlap; a worker that falls behind lets them pile up, none is skipped.
//
// Ownership: owns its clock; owns neither the configuration nor the buffer, which must outlive it.
class SampleProcessorBase : public Processor {
    Q_OBJECT

public:
    // Makes the five fixed connections (start and stop of the clock; the three change handlers) and links no
    // clock source.
    SampleProcessorBase(std::string name, SampleProcessorConfigBase* configuration,
                        avb::AvbAudioBuffer* buffer, QObject* parent);
    // Runs on the worker thread when its thread finishes: stops the clock if active, clears the flag.
    ~SampleProcessorBase() override;

    // The processor's text, "\n", the configuration's text, "\n", the clock's text.
    std::string toString() const override;

    // Inspection while no calculation can run (before the processor is started, or from the worker thread).
    const std::vector<double>& getXValues() const;
    const std::vector<double>& getYValues() const;
    const InternalClock& getInternalClock() const;
    SampleProcessorConfigBase* getConfiguration() const;
    avb::AvbAudioBuffer* getBuffer() const;

signals:
    // Ask the clock to start with a period in milliseconds, or to stop. Emitted on the thread of start() and
    // stop() (the host's, or the worker thread during a clock change), under no lock; they reach the clock
    // directly on its own thread and queued from any other.
    void startInternalClock(int msec);
    void stopInternalClock();

public slots:
    // Under the internal clock, and only when not yet active, starts the timer with the configuration's
    // period cut to its low 32 bits; then sets the active flag. Under the external clock the buffer signals
    // by itself and only the flag gates the calculation.
    void start() override;
    // When active, stops the timer (in either clock mode; stopping a timer that does not run is harmless);
    // then clears the flag.
    void stop() override;
    // Logs "Processor active! To start the calculation please start the processor!" and returns at once: a
    // sample processor is not a loop, its thread then waits in its event loop for queued calculations.
    void progress() override;
    // One calculation. The external clock arrives here with the buffer's name and signalling amount; the
    // amount of samples that counts is the configuration's, through fetchSamplesForClock(). An analyser tests
    // isActive() first and returns when it is false.
    virtual void calculate(std::string clockName, std::size_t sampleAmount) = 0;
    // Forwards with sampleAmount 0.
    void calculate(std::string clockName);
    // The internal clock arrives here; forwards with "InternalClock" and 0.
    void calculate();
    // "Internal clock" and "External clock" swap the clock source; other texts are ignored.
    virtual void clockConfigurationChanged(std::string changedParameter);
    // "ClockRefreshRateChanged": restarts an active processor so that the timer takes the new period; other
    // texts are ignored.
    virtual void clockRefreshChanged(std::string changedParameter);
    // "SampleAmountChanged": resizes xValues and yValues to the configuration's amount (growth fills with
    // 0.0); other texts are ignored. No restart.
    virtual void sampleAmountChanged(std::string changedParameter);

protected:
    // Internal clock: the newest samples at this moment. External clock: the samples that end at the
    // buffer's latest signal. Either way the configuration's amount, or fewer when the buffer is smaller (the
    // buffer warns; the result is then shorter, never padded).
    std::vector<float> fetchSamplesForClock();
    // The block of this calculation. Internal clock: the newest samples, always. External clock: the block of
    // the next signal this processor has not taken yet, so that a processor that falls some signals behind
    // the writer still takes every block once and in order; false when every signal since the start has been
    // taken (a calculation queued before the start), and then nothing is to be delivered.
    bool fetchBlockForClock(std::vector<float>& samples);

    avb::AvbAudioBuffer* const buffer;
    InternalClock internalClock;
    // The serial of the latest signal whose block this processor took. Each start sets it to the buffer's
    // latest signal, so a started processor takes the blocks of the signals that follow, every one of them.
    // Written by start() on the caller's thread and by calculations on the worker's.
    std::atomic<std::uint64_t> signalCursor{0};
    // The working vectors of a result; touched only on the thread that runs the calculations.
    std::vector<double> xValues;
    std::vector<double> yValues;
    SampleProcessorConfigBase* const configuration;
    QMetaObject::Connection clockConnection;

private:
    void setInternalClock();
    void setExternalClock();
    void restartForClockChange(bool wasActive);
};

} // namespace process
