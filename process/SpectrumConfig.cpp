#include "process/SpectrumConfig.h"

#include "sonacore/ConfigurationRegistry.h"
#include "sonacore/Log.h"
#include "sonacore/SonaCoreConstants.h"

#include <cmath>
#include <limits>
#include <utility>

namespace sonacore::iprocess {

ISpectrumConfig::~ISpectrumConfig() = default;

ISpectrumConfig* ISpectrumConfig::createInstance(std::string name, unsigned long sampleAmount) {
    auto* configuration = new process::SpectrumConfig(std::move(name), sampleAmount);
    registry::spectrumConfigurations.push_back(configuration);
    return configuration;
}

ISpectrumConfig* ISpectrumConfig::createInstance(std::string name, unsigned long sampleAmount,
                                                 unsigned long refreshRate) {
    auto* configuration = new process::SpectrumConfig(std::move(name), sampleAmount, refreshRate);
    registry::spectrumConfigurations.push_back(configuration);
    return configuration;
}

} // namespace sonacore::iprocess

namespace process {

namespace {

// 2^order as a frame length. An order whose frame length has no std::size_t is given length 0, which no
// processor builds a transform for, instead of an out-of-range conversion.
std::size_t frameLengthOfOrder(std::size_t order) {
    if (order >= static_cast<std::size_t>(std::numeric_limits<std::size_t>::digits)) {
        return 0;
    }
    return static_cast<std::size_t>(std::exp2(static_cast<double>(order)));
}

} // namespace

SpectrumConfig::SpectrumConfig(std::string name, std::size_t sampleAmount)
    : SampleProcessorConfigBase(std::move(name), sonacore::constants::spectrumProcessor, sampleAmount),
      powerSpectrumFactor(defaultPowerSpectrumFactor), movingAverageActivity(false),
      movingAverageWindowSize(defaultMovingAverageWindowSize),
      movingAverageWindowLength(defaultMovingAverageWindowLength) {
    setFftOrder(defaultFftOrder);
}

SpectrumConfig::SpectrumConfig(std::string name, std::size_t sampleAmount, std::size_t refreshRate)
    : SampleProcessorConfigBase(std::move(name), sonacore::constants::spectrumProcessor, sampleAmount,
                                refreshRate),
      powerSpectrumFactor(defaultPowerSpectrumFactor), movingAverageActivity(false),
      movingAverageWindowSize(defaultMovingAverageWindowSize),
      movingAverageWindowLength(defaultMovingAverageWindowLength) {
    setFftOrder(defaultFftOrder);
}

SpectrumConfig::~SpectrumConfig() = default;

SpectrumConfig& SpectrumConfig::fromBase(ProcessorConfigBase& configuration) {
    checkProcessorType(configuration, sonacore::constants::spectrumProcessor);
    return dynamic_cast<SpectrumConfig&>(configuration);
}

std::string SpectrumConfig::getProcessorType() const {
    return SampleProcessorConfigBase::getProcessorType();
}

std::uint64_t SpectrumConfig::getRefreshRate() const {
    return SampleProcessorConfigBase::getRefreshRate();
}

void SpectrumConfig::setRefreshRate(std::uint64_t refreshRate) {
    SampleProcessorConfigBase::setRefreshRate(refreshRate);
}

bool SpectrumConfig::isInternalClock() const {
    return SampleProcessorConfigBase::isInternalClock();
}

std::uint64_t SpectrumConfig::getSampleAmount() const {
    return SampleProcessorConfigBase::getSampleAmount();
}

// The frame length follows the FFT order alone; a host's amount would only make the frames mismatch the
// transform.
void SpectrumConfig::setSampleAmount(std::uint64_t sampleAmount) {
    static_cast<void>(sampleAmount);
    sonacore::log::warning("setSampleAmount", sonacore::log::name(getName()),
                           "Sample amount ignored by internal sample amount auto detection!");
}

std::string SpectrumConfig::getClockType() const {
    return SampleProcessorConfigBase::getClockType();
}

void SpectrumConfig::setClockType(std::string clockType) {
    SampleProcessorConfigBase::setClockType(std::move(clockType));
}

std::size_t SpectrumConfig::getFftOrder() const {
    return fftOrder.load();
}

// No upper bound here: the transform refuses what it cannot build, and says so.
void SpectrumConfig::setFftOrder(std::size_t order) {
    if (order == fftOrder.load()) {
        return;
    }
    if (order == 0) {
        sonacore::log::warning("setFftOrder", sonacore::log::name(getName()),
                               "FFT order zero not supported! Please pass a valid order value");
        return;
    }
    fftOrder.store(order);
    sonacore::log::debug("setFftOrder", sonacore::log::name(getName()), "FFT order is set to: ", order);
    fftSize.store(frameLengthOfOrder(order));
    sonacore::log::debug("setFftOrder", sonacore::log::name(getName()),
                         "FFT size is set to: ", fftSize.load());
    // The base's own setter, not the override that ignores hosts' amounts; it announces a change itself.
    SampleProcessorConfigBase::setSampleAmount(fftSize.load());
    emit configurationChanged(sonacore::constants::fftOrderChanged);
}

std::size_t SpectrumConfig::getFftSize() const {
    return fftSize.load();
}

void SpectrumConfig::setFftSize(std::size_t size) {
    if (!isValuePowerOfTwo(size)) {
        sonacore::log::warning("setFftSize", sonacore::log::name(getName()),
                               "Invalid FFT size set! Size ignored: ", size);
        return;
    }
    setFftOrder(static_cast<std::size_t>(std::log2(static_cast<double>(size))));
}

float SpectrumConfig::getPowerSpectrumFactor() const {
    return powerSpectrumFactor;
}

void SpectrumConfig::setMovingAverageActivity(bool active) {
    if (active == movingAverageActivity.load()) {
        return;
    }
    movingAverageActivity.store(active);
    emit configurationChanged(sonacore::constants::movingAverageActivityChanged);
}

bool SpectrumConfig::getMovingAverageActivity() const {
    return movingAverageActivity.load();
}

void SpectrumConfig::setMovingAverageWindowSize(std::size_t size) {
    if (size == movingAverageWindowSize.load()) {
        return;
    }
    movingAverageWindowSize.store(size);
    sonacore::log::debug("setMovingAverageWindowSize", sonacore::log::name(getName()),
                         "Moving average window Size changed to: ", size);
    emit configurationChanged(sonacore::constants::movingAverageWindowSizeChanged);
}

std::size_t SpectrumConfig::getMovingAverageWindowSize() const {
    return movingAverageWindowSize.load();
}

// The text says "Size" although this is the length in milliseconds; hosts may already match on it.
void SpectrumConfig::setMovingAverageWindowLength(std::size_t length) {
    if (length == movingAverageWindowLength.load()) {
        return;
    }
    movingAverageWindowLength.store(length);
    sonacore::log::debug("setMovingAverageWindowLength", sonacore::log::name(getName()),
                         "Window Size changed to: ", length);
    emit configurationChanged(sonacore::constants::movingAverageWindowLengthChanged);
}

std::size_t SpectrumConfig::getMovingAverageWindowLength() const {
    return movingAverageWindowLength.load();
}

void SpectrumConfig::notifyAllParameters() {
    emit configurationChanged(sonacore::constants::fftOrderChanged);
    emit configurationChanged(sonacore::constants::movingAverageWindowLengthChanged);
    emit configurationChanged(sonacore::constants::movingAverageWindowSizeChanged);
    emit configurationChanged(sonacore::constants::movingAverageActivityChanged);
    SampleProcessorConfigBase::notifyAllParameters();
}

std::string SpectrumConfig::toString() const {
    return getProcessorType() + ": " + getName() + "\n" + SampleProcessorConfigBase::toString() +
           "\n\tFFT order: " + std::to_string(getFftOrder());
}

bool SpectrumConfig::isValuePowerOfTwo(std::size_t value) const {
    if (value != 0 && (value & (value - 1)) == 0) {
        return true;
    }
    sonacore::log::warning("isValuePowerOfTwo", sonacore::log::name(getName()),
                           "Value is no power of two: ", value);
    return false;
}

} // namespace process
