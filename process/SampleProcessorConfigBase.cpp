#include "process/SampleProcessorConfigBase.h"

#include "sonacore/Log.h"
#include "sonacore/SonaCoreConstants.h"

#include <utility>

namespace sonacore::iprocess {
ISampleProcessorConfigBase::~ISampleProcessorConfigBase() = default;
} // namespace sonacore::iprocess

namespace process {

namespace {
constexpr const char* externalClockCreated = "Configuration created. External clock active";
constexpr const char* internalClockCreated = "Configuration created. Internal clock active";
} // namespace

SampleProcessorConfigBase::SampleProcessorConfigBase(std::string name, std::string processorType,
                                                     std::size_t sampleAmount)
    : ProcessorConfigBase(std::move(name), std::move(processorType)), refreshRate(defaultRefreshRate),
      clockType(sonacore::constants::externalClock), sampleAmount(sampleAmount) {
    sonacore::log::debug("SampleProcessorConfigBase", externalClockCreated);
}

// The presence of a period chooses the internal clock; a period of 0 cannot drive a timer, so it falls back
// to the form without one.
SampleProcessorConfigBase::SampleProcessorConfigBase(std::string name, std::string processorType,
                                                     std::size_t sampleAmount, std::size_t refreshRate)
    : ProcessorConfigBase(std::move(name), std::move(processorType)), refreshRate(refreshRate),
      clockType(sonacore::constants::internalClock), sampleAmount(sampleAmount) {
    if (refreshRate == 0) {
        sonacore::log::warning("SampleProcessorConfigBase",
                               "The given refresh rate is invalid! External clock will be activated!");
        this->refreshRate.store(defaultRefreshRate);
        clockType = sonacore::constants::externalClock;
        sonacore::log::debug("SampleProcessorConfigBase", externalClockCreated);
        return;
    }
    sonacore::log::debug("SampleProcessorConfigBase", internalClockCreated);
}

SampleProcessorConfigBase::~SampleProcessorConfigBase() = default;

std::string SampleProcessorConfigBase::getProcessorType() const {
    return ProcessorConfigBase::getProcessorType();
}

std::uint64_t SampleProcessorConfigBase::getRefreshRate() const {
    return refreshRate.load();
}

void SampleProcessorConfigBase::setRefreshRate(std::uint64_t rate) {
    if (rate == 0) {
        sonacore::log::warning("setRefreshRate",
                               "Refresh rate equal to zero is not allowed! Refresh rate will be ignored!");
        return;
    }
    if (rate == refreshRate.load()) {
        return;
    }
    refreshRate.store(rate);
    // Under the external clock no timer runs, so the period waits silently until the clock type changes.
    if (isInternalClock()) {
        emit configurationChanged(sonacore::constants::clockRefreshRateChanged);
    }
}

bool SampleProcessorConfigBase::isInternalClock() const {
    return getClockType() == sonacore::constants::internalClock;
}

std::uint64_t SampleProcessorConfigBase::getSampleAmount() const {
    return sampleAmount.load();
}

void SampleProcessorConfigBase::setSampleAmount(std::uint64_t amount) {
    if (amount == sampleAmount.load()) {
        return;
    }
    sampleAmount.store(amount);
    emit configurationChanged(sonacore::constants::sampleAmountChanged);
}

std::string SampleProcessorConfigBase::getClockType() const {
    std::lock_guard<std::mutex> lock(clockTypeMutex);
    return clockType;
}

void SampleProcessorConfigBase::setClockType(std::string type) {
    {
        std::lock_guard<std::mutex> lock(clockTypeMutex);
        if (type == clockType) {
            return;
        }
        clockType = type;
    }
    // The lock is released before the notice: a listener on this thread is called directly and reads the
    // clock type again.
    emit configurationChanged(type);
}

void SampleProcessorConfigBase::notifyAllParameters() {
    emit configurationChanged(sonacore::constants::sampleAmountChanged);
    emit configurationChanged(sonacore::constants::clockRefreshRateChanged);
    emit configurationChanged(getClockType());
}

std::string SampleProcessorConfigBase::toString() const {
    return "\tProcessor type: " + getProcessorType() +
           "\n\tRefresh rate: " + std::to_string(getRefreshRate()) +
           "\n\tSample amount: " + std::to_string(getSampleAmount()) + "\n\tClock type: " + getClockType();
}

} // namespace process
