#include "process/averaging/MovingAverage.h"

#include "process/SpectrumConfig.h"
#include "sonacore/BufferConfiguration.h"
#include "sonacore/Log.h"
#include "sonacore/SonaCoreConstants.h"

#include <QMutexLocker>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace process::averaging {

MovingAverage::MovingAverage(std::string name, SpectrumConfig* configuration,
                             sonacore::BufferConfiguration* bufferConfiguration, QObject* parent)
    : QObject(parent), name(std::move(name)), configuration(configuration),
      bufferConfiguration(bufferConfiguration) {
    connect(configuration, &SpectrumConfig::configurationChanged, this,
            &MovingAverage::movingAverageActivityChanged, Qt::AutoConnection);
    connect(configuration, &SpectrumConfig::configurationChanged, this, &MovingAverage::windowSizeChanged,
            Qt::AutoConnection);
    connect(configuration, &SpectrumConfig::configurationChanged, this, &MovingAverage::windowLengthChanged,
            Qt::AutoConnection);
    connect(configuration, &SpectrumConfig::configurationChanged, this,
            &MovingAverage::clockConfigurationChanged, Qt::AutoConnection);
    connect(configuration, &SpectrumConfig::configurationChanged, this, &MovingAverage::clockRefreshChanged,
            Qt::AutoConnection);
    connect(configuration, &SpectrumConfig::configurationChanged, this,
            &MovingAverage::signalingSampleAmountChanged, Qt::AutoConnection);
    sonacore::log::debug("MovingAverage", sonacore::log::name(this->name), "Initialized!");
}

MovingAverage::~MovingAverage() = default;

std::vector<double> MovingAverage::calculateAverage(std::vector<double> input) {
    QMutexLocker locker(&filterMutex);
    if (!active.load() || windowSize < smallestWindowSize) {
        return input;
    }
    // The ring wraps at the start of a pass, not at the end of the one before: after a pass the index may
    // stand one past the last row.
    if (ringIndex >= windowSize) {
        ringIndex = 0;
    }
    if (input.size() != vectorLength) {
        setVectorLength(input.size());
    }
    if (optimizedPasses < optimizedPassesPerFullPass) {
        performanceOptimizedMovingAverage(input);
        ++optimizedPasses;
    } else {
        simpleMovingAverage(input);
        optimizedPasses = 0;
    }
    return averageResult;
}

// new mean = old mean + (newest - oldest) / size. The quotient is formed first and then added, so each pass
// adds one rounding of the quotient and one of the sum; the full pass clears what has gathered.
void MovingAverage::performanceOptimizedMovingAverage(const std::vector<double>& input) {
    try {
        const std::vector<double>& oldest = ringBuffer.at(ringIndex);
        const double divisor = static_cast<double>(windowSize);
        const std::size_t length = input.size();
        if (oldest.size() < length || averageResult.size() < length) {
            // Some access would leave a row: the checked loop updates what it can reach and then reports.
            for (std::size_t k = 0; k < length; ++k) {
                averageResult.at(k) = (input.at(k) - oldest.at(k)) / divisor + averageResult.at(k);
            }
        } else if ((windowSize & (windowSize - 1)) == 0) {
            // Dividing by a power of two and multiplying by its reciprocal give the same double, and the
            // product lets the loop run a lane per element.
            const double reciprocal = 1.0 / divisor;
            const double* newest = input.data();
            const double* old = oldest.data();
            double* mean = averageResult.data();
            for (std::size_t k = 0; k < length; ++k) {
                mean[k] = (newest[k] - old[k]) * reciprocal + mean[k];
            }
        } else {
            const double* newest = input.data();
            const double* old = oldest.data();
            double* mean = averageResult.data();
            for (std::size_t k = 0; k < length; ++k) {
                mean[k] = (newest[k] - old[k]) / divisor + mean[k];
            }
        }
        // Assigning to the row reuses its storage, since it has the input's length already.
        ringBuffer.at(ringIndex) = input;
        ++ringIndex;
    } catch (const std::out_of_range& exception) {
        sonacore::log::warning("performanceOptimizedMovingAverage", sonacore::log::name(name),
                               "Ring buffer index error: ", exception.what());
    }
}

// Sums element k of every row in row order, which is not the order of arrival once the ring has wrapped.
void MovingAverage::simpleMovingAverage(const std::vector<double>& input) {
    try {
        ringBuffer.at(ringIndex) = input;
        ++ringIndex;
        const double divisor = static_cast<double>(windowSize);
        for (std::size_t k = 0; k < input.size(); ++k) {
            averageResult.at(k) = 0.0;
            double sum = 0.0;
            for (std::size_t row = 0; row < windowSize; ++row) {
                sum += ringBuffer.at(row).at(k);
            }
            averageResult.at(k) = sum / divisor;
        }
    } catch (const std::out_of_range& exception) {
        sonacore::log::warning("simpleMovingAverage", sonacore::log::name(name),
                               "Ring buffer index error: ", exception.what());
    }
}

void MovingAverage::setVectorLength(std::size_t length) {
    if (length == vectorLength) {
        return;
    }
    vectorLength = length;
    sonacore::log::debug("setVectorLength", sonacore::log::name(name),
                         "Moving window vector length set to: ", length);
    resizeRingBuffer();
    averageResult.resize(vectorLength);
}

void MovingAverage::resizeRingBuffer() {
    ringBuffer.resize(windowSize);
    for (std::vector<double>& row : ringBuffer) {
        row.resize(vectorLength);
    }
    resetLocked();
}

void MovingAverage::resetLocked() {
    std::fill(averageResult.begin(), averageResult.end(), 0.0);
    for (std::vector<double>& row : ringBuffer) {
        std::fill(row.begin(), row.end(), 0.0);
    }
    ringIndex = 0;
}

void MovingAverage::reset() {
    QMutexLocker locker(&filterMutex);
    resetLocked();
}

void MovingAverage::setActive(bool isActive) {
    active.store(isActive);
}

bool MovingAverage::isActive() const {
    return active.load();
}

void MovingAverage::setWindowSize(std::size_t size) {
    QMutexLocker locker(&filterMutex);
    setWindowSizeLocked(size);
}

void MovingAverage::setWindowSizeLocked(std::size_t size) {
    if (size != windowSize) {
        if (size >= smallestWindowSize) {
            windowSize = size;
            sonacore::log::debug("setWindowSize", sonacore::log::name(name),
                                 "Moving average window size set to: ", size);
        } else {
            // Stored as 1, not as given: calculateAverage passes its input through below a size of 2, and the
            // length computed from it stays one interval long.
            windowSize = 1;
            sonacore::log::warning("setWindowSize", sonacore::log::name(name),
                                   "Moving average window size is too small! Filter deactivated");
        }
        resizeRingBuffer();
    }
    updateWindowLength();
}

std::size_t MovingAverage::getWindowSize() const {
    QMutexLocker locker(&filterMutex);
    return windowSize;
}

void MovingAverage::setWindowLength(std::size_t length) {
    QMutexLocker locker(&filterMutex);
    setWindowLengthLocked(length);
}

void MovingAverage::setWindowLengthLocked(std::size_t length) {
    if (length == windowLength) {
        return;
    }
    windowLength = length;
    sonacore::log::debug("setWindowLength", sonacore::log::name(name),
                         "Moving window length set to: ", length, " ms");
    updateWindowSize();
}

std::size_t MovingAverage::getWindowLength() const {
    QMutexLocker locker(&filterMutex);
    return windowLength;
}

std::size_t MovingAverage::getVectorLength() const {
    QMutexLocker locker(&filterMutex);
    return vectorLength;
}

std::size_t MovingAverage::getRingIndex() const {
    QMutexLocker locker(&filterMutex);
    return ringIndex;
}

std::size_t MovingAverage::getOptimizedPasses() const {
    QMutexLocker locker(&filterMutex);
    return optimizedPasses;
}

// Reads the configurations only, never this object's fields, so it needs no lock and may be called with
// filterMutex held.
std::size_t MovingAverage::getRefreshInterval() const {
    const std::size_t signalingAmount =
        static_cast<std::size_t>(bufferConfiguration->getClockSignalingSampleAmount());
    if (configuration->isInternalClock()) {
        return static_cast<std::size_t>(configuration->getRefreshRate());
    }
    return signalingAmount / samplesPerMillisecond;
}

bool MovingAverage::takeRefreshInterval(const char* method) {
    const std::size_t interval = getRefreshInterval();
    if (interval == 0) {
        sonacore::log::warning(method, sonacore::log::name(name),
                               "Moving window refresh interval of zero not allowed!");
        return false;
    }
    if (interval != refreshInterval) {
        refreshInterval = interval;
        sonacore::log::debug(method, sonacore::log::name(name),
                             "Moving window refresh interval set to: ", interval, " ms");
    }
    return true;
}

void MovingAverage::updateWindowLength() {
    if (!takeRefreshInterval("updateWindowLength")) {
        return;
    }
    windowLength = refreshInterval * windowSize;
}

// The length in time is what a clock change keeps; the size follows, rounded down, and setWindowSize then
// rounds the length down to a whole number of intervals.
void MovingAverage::updateWindowSize() {
    if (!takeRefreshInterval("updateWindowSize")) {
        return;
    }
    setWindowSizeLocked(windowLength / refreshInterval);
}

void MovingAverage::movingAverageActivityChanged(std::string changedParameter) {
    if (changedParameter != sonacore::constants::movingAverageActivityChanged) {
        return;
    }
    QMutexLocker locker(&filterMutex);
    active.store(configuration->getMovingAverageActivity());
    sonacore::log::debug("movingAverageActivityChanged", sonacore::log::name(name), "Moving Average ",
                         active.load() ? "activated" : "deactivated");
    // Switching on needs no reset: switching off has cleared the history already.
    if (!active.load()) {
        resetLocked();
    }
}

void MovingAverage::windowSizeChanged(std::string changedParameter) {
    if (changedParameter != sonacore::constants::movingAverageWindowSizeChanged) {
        return;
    }
    QMutexLocker locker(&filterMutex);
    setWindowSizeLocked(configuration->getMovingAverageWindowSize());
}

void MovingAverage::windowLengthChanged(std::string changedParameter) {
    if (changedParameter != sonacore::constants::movingAverageWindowLengthChanged) {
        return;
    }
    QMutexLocker locker(&filterMutex);
    setWindowLengthLocked(configuration->getMovingAverageWindowLength());
}

void MovingAverage::clockConfigurationChanged(std::string changedParameter) {
    if (changedParameter != sonacore::constants::internalClock &&
        changedParameter != sonacore::constants::externalClock) {
        return;
    }
    QMutexLocker locker(&filterMutex);
    sonacore::log::debug("clockConfigurationChanged", sonacore::log::name(name), "Audio clock changed");
    updateWindowSize();
}

void MovingAverage::clockRefreshChanged(std::string changedParameter) {
    if (changedParameter != sonacore::constants::clockRefreshRateChanged ||
        !configuration->isInternalClock()) {
        return;
    }
    QMutexLocker locker(&filterMutex);
    sonacore::log::debug("clockRefreshChanged", sonacore::log::name(name),
                         "Internal audio clock refresh rate changed");
    updateWindowSize();
}

// Listens to the processor configuration's notice on purpose, not to the buffer configuration's: a new
// signalling amount takes effect with the next such notice or clock change.
void MovingAverage::signalingSampleAmountChanged(std::string changedParameter) {
    if (changedParameter != sonacore::constants::sampleAmountChanged || configuration->isInternalClock()) {
        return;
    }
    QMutexLocker locker(&filterMutex);
    sonacore::log::debug("signalingSampleAmountChanged", sonacore::log::name(name),
                         "External audio clock signaling sample amount changed");
    updateWindowSize();
}

} // namespace process::averaging
