#include "process/SampleProcessorBase.h"

#include "avb/AvbAudioBuffer.h"
#include "process/SampleProcessorConfigBase.h"
#include "sonacore/Log.h"
#include "sonacore/SonaCoreConstants.h"

#include <cstdint>
#include <utility>

namespace process {

namespace {
// The clock name the internal clock's forwarder passes on.
constexpr const char* internalClockName = "InternalClock";
} // namespace

// The clock gets the processor's name and no parent, so that moving the processor leaves it behind on the
// building thread, where its timer can tick while the worker thread computes.
SampleProcessorBase::SampleProcessorBase(std::string name, SampleProcessorConfigBase* configuration,
                                         avb::AvbAudioBuffer* buffer, QObject* parent)
    : Processor(name, parent), buffer(buffer), internalClock(name, nullptr), configuration(configuration) {
    connect(this, SIGNAL(startInternalClock(int)), &internalClock, SLOT(start(int)), Qt::AutoConnection);
    connect(this, SIGNAL(stopInternalClock()), &internalClock, SLOT(stop()), Qt::AutoConnection);
    // Every notice reaches all three handlers; each one picks out its own texts.
    connect(configuration, SIGNAL(configurationChanged(std::string)), this,
            SLOT(clockConfigurationChanged(std::string)), Qt::AutoConnection);
    connect(configuration, SIGNAL(configurationChanged(std::string)), this,
            SLOT(clockRefreshChanged(std::string)), Qt::AutoConnection);
    connect(configuration, SIGNAL(configurationChanged(std::string)), this,
            SLOT(sampleAmountChanged(std::string)), Qt::AutoConnection);
}

SampleProcessorBase::~SampleProcessorBase() {
    if (isActive()) {
        emit stopInternalClock();
    }
    Processor::stop();
}

std::string SampleProcessorBase::toString() const {
    return Processor::toString() + "\n" + configuration->toString() + "\n" + internalClock.toString();
}

const std::vector<double>& SampleProcessorBase::getXValues() const {
    return xValues;
}

const std::vector<double>& SampleProcessorBase::getYValues() const {
    return yValues;
}

const InternalClock& SampleProcessorBase::getInternalClock() const {
    return internalClock;
}

SampleProcessorConfigBase* SampleProcessorBase::getConfiguration() const {
    return configuration;
}

avb::AvbAudioBuffer* SampleProcessorBase::getBuffer() const {
    return buffer;
}

void SampleProcessorBase::start() {
    if (!isActive()) {
        signalCursor.store(buffer->getSignalSerial());
    }
    if (configuration->isInternalClock() && !isActive()) {
        // A period beyond the range of int keeps its low 32 bits, as the timer takes an int.
        emit startInternalClock(
            static_cast<int>(static_cast<std::uint32_t>(configuration->getRefreshRate())));
    }
    Processor::start();
}

void SampleProcessorBase::stop() {
    if (isActive()) {
        emit stopInternalClock();
    }
    Processor::stop();
}

void SampleProcessorBase::progress() {
    sonacore::log::debug("progress", sonacore::log::name(getWorkerName()),
                         "Processor active! To start the calculation please start the processor!");
}

void SampleProcessorBase::calculate(std::string clockName) {
    calculate(std::move(clockName), 0);
}

void SampleProcessorBase::calculate() {
    calculate(internalClockName, 0);
}

std::vector<float> SampleProcessorBase::fetchSamplesForClock() {
    const bool internal = configuration->isInternalClock();
    const std::uint64_t amount = configuration->getSampleAmount();
    // A late queued call under the external clock still gets the block that ends at the signal, not the
    // newest samples.
    return internal ? buffer->fetchSamples(amount) : buffer->fetchSignaledSamples(amount);
}

bool SampleProcessorBase::fetchBlockForClock(std::vector<float>& samples) {
    const std::uint64_t amount = configuration->getSampleAmount();
    if (configuration->isInternalClock()) {
        samples = buffer->fetchSamples(amount);
        return true;
    }
    const std::uint64_t latest = buffer->getSignalSerial();
    std::uint64_t taken = signalCursor.load();
    if (taken >= latest) {
        return false;
    }
    // Behind by more than the buffer remembers, the blocks in between are gone; go on from the latest.
    std::uint64_t next = taken + 1;
    if (latest - next >= avb::AvbAudioBuffer::signalHistory) {
        next = latest;
    }
    samples = buffer->fetchSignaledSamples(amount, next);
    // A start in the meantime has set the cursor anew, and its value stands.
    signalCursor.compare_exchange_strong(taken, next);
    return true;
}

void SampleProcessorBase::clockConfigurationChanged(std::string changedParameter) {
    if (changedParameter == sonacore::constants::internalClock) {
        setInternalClock();
    } else if (changedParameter == sonacore::constants::externalClock) {
        setExternalClock();
    }
}

void SampleProcessorBase::clockRefreshChanged(std::string changedParameter) {
    if (changedParameter != sonacore::constants::clockRefreshRateChanged) {
        return;
    }
    // A running QTimer keeps its period; only a restart gives it the new one.
    if (isActive()) {
        sonacore::log::debug("clockRefreshChanged", sonacore::log::name(getWorkerName()),
                             "Processor active: Restarting processor to refresh clock rate change");
        stop();
        start();
    }
    sonacore::log::debug("clockRefreshChanged", sonacore::log::name(getWorkerName()),
                         "Clock refresh rate set to: ", configuration->getRefreshRate(), "ms");
}

void SampleProcessorBase::sampleAmountChanged(std::string changedParameter) {
    if (changedParameter != sonacore::constants::sampleAmountChanged) {
        return;
    }
    const std::uint64_t amount = configuration->getSampleAmount();
    xValues.resize(amount, 0.0);
    yValues.resize(amount, 0.0);
    sonacore::log::debug("sampleAmountChanged", sonacore::log::name(getWorkerName()),
                         "Processed amount of samples: ", amount);
}

// The processor is stopped before the link is swapped, so that no calculation runs half on the old source;
// it starts again afterwards only if it was running.
void SampleProcessorBase::setInternalClock() {
    const bool wasActive = isActive();
    stop();
    disconnect(clockConnection);
    clockConnection = connect(&internalClock, SIGNAL(clock()), this, SLOT(calculate()), Qt::AutoConnection);
    restartForClockChange(wasActive);
    sonacore::log::debug("setInternalClock", sonacore::log::name(getWorkerName()),
                         "Internal clock active! Refresh rate: ", configuration->getRefreshRate(), "ms");
}

// The buffer emits on its writer's thread with its lock held. The writer (the capture thread) is never the
// thread the processor lives on, so the automatic link is queued at emission and the slot's fetch never
// meets the held lock.
void SampleProcessorBase::setExternalClock() {
    const bool wasActive = isActive();
    stop();
    disconnect(clockConnection);
    clockConnection = connect(buffer, SIGNAL(bufferAmountAvailable(std::string, std::size_t)), this,
                              SLOT(calculate(std::string, std::size_t)), Qt::AutoConnection);
    restartForClockChange(wasActive);
    sonacore::log::debug("setExternalClock", sonacore::log::name(getWorkerName()), "External clock active!");
}

void SampleProcessorBase::restartForClockChange(bool wasActive) {
    if (!wasActive) {
        return;
    }
    sonacore::log::warning("restartForClockChange", sonacore::log::name(getWorkerName()),
                           "Processor will be restarted for clock change to take affect!");
    start();
}

} // namespace process
