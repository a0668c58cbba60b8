#pragma once

#include "process/Processor.h"

#include <QObject>

#include <cstdint>
#include <string>
#include <vector>

namespace sonacore::iprocess {
class IDemoConfig;
} // namespace sonacore::iprocess

namespace process {

class DemoConfig;
class ProcessorConfigBase;

// A sine generator that needs neither network nor buffer: a stand-in source for hosts and demonstrations.
// Unlike the sample processors, its progress() is a real loop on the worker thread. Each pass takes the sine
// of the phase, scales it by the configuration's amplitude (read afresh on every pass), advances the phase by
// 0.1 rad, delivers one ChannelData and pauses 60 ms: about 16 deliveries a second, one full sine every
// 62.8 passes (about 3.77 s).
//
// What a host receives for amplitude A, in a record named "DemoProcessor (SinGen) - <name>": the first
// delivery has x = (100.0, 0.1) and y = (100.0, 0.0), the vectors' initial element standing in front; the
// n-th (n >= 2) has the single point x = n · 0.1, y = A · sin((n - 1) · 0.1). The x values accumulate by
// repeated addition of 0.1 and carry its rounding. The phase is never wrapped.
//
// Lifecycle: progress() is entered once, when the thread opens. It loops only while the active flag is set at
// that moment, so the flag must be set before the processor is handed to its thread (the engine's generator
// path does so). stop() ends the loop for good, at most one pass and one pause later; a later start() sets
// the flag but nothing enters the loop again.
//
// Threads: built on the host's thread, then runs on its own worker thread; the amplitude and the active flag
// are read there without a lock (both are atomics).
class DemoProcessor : public Processor {
    Q_OBJECT

public:
    // The phase step per pass in radians, and the pause after each delivery.
    static constexpr double phaseStep = 0.1;
    static constexpr std::int64_t pauseNanoseconds = 60'000'000;

    // The factory's definition for "DemoProcessor": converts the configuration (another type throws
    // exceptions::InstanceNotConvertable) and builds the generator without a parent. The caller takes it
    // over, and must set it active before its thread opens for it to run.
    static Processor* create(std::string name, ProcessorConfigBase& configuration);

    // The object name is "DemoProcessor (SinGen) - " followed by name.
    DemoProcessor(std::string name, DemoConfig* configuration, QObject* parent);
    ~DemoProcessor() override;

    // The processor's text, "\n", the configuration's text.
    std::string toString() const override;
    // The phase in radians after the last pass; read it only while the loop does not run.
    double getPhase() const;

public slots:
    // Logs " Processor ACTIVE", runs passes while active, logs "Processor FINISHED" and emits finished().
    void progress() override;

protected:
    // One pass: one point, one delivery, one pause.
    void runPass();
    // The pause after a delivery: 60 ms of sleep on the worker thread.
    virtual void pauseAfterDelivery();

private:
    sonacore::iprocess::IDemoConfig* const demoConfiguration;
    std::vector<double> xValues;
    std::vector<double> yValues;
    double phase;
    double currentValue;
    std::uint32_t passCounter;
};

} // namespace process
