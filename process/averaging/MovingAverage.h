#pragma once

#include <QMutex>
#include <QObject>

#include <atomic>
#include <cstddef>
#include <string>
#include <vector>

namespace sonacore {
class BufferConfiguration;
} // namespace sonacore

namespace process {
class SpectrumConfig;
} // namespace process

namespace process::averaging {

// Smooths a sequence of equally long vectors element by element: each output element is the mean of that
// element over the last windowSize input vectors. The spectrum processor passes each power spectrum through
// it.
//
// The mean is always the sum over the window divided by windowSize, never by the number of vectors seen so
// far: after a reset the history counts as zeros, so the output rises from zero to the true mean over the
// first windowSize passes. Most passes update the mean incrementally, at one subtraction, division and
// addition per element whatever the window size; every 101st pass (after 100 incremental ones) sums the
// stored vectors afresh, which wipes out the rounding the incremental passes have gathered. A steady state
// allocates only the returned copy.
//
// The window is given as a count of vectors (window size) or as a time in milliseconds (window length); the
// refresh interval, the time between two calculations, ties them: length = interval x size. The interval is
// the configuration's refresh rate under the internal clock, and the buffer configuration's signalling
// amount / 48 (samples per millisecond at 48 kHz, rounded down) under the external clock. A clock change
// keeps the length and recomputes the size, rounding down; a size below 2 is stored as 1 and switches the
// filter off, with a warning. An interval of 0 is refused with a warning and changes nothing.
//
// What resets the history (zero mean, zero rows, ring index 0): a change of window size, a change of vector
// length (an input of another length), switching the filter off. Not a stop and start of the processor, nor
// an interval change that leaves the size equal; the count of incremental passes survives every reset.
//
// Settings come from the configuration's configurationChanged notices, through six handlers connected with
// Qt::AutoConnection in this order: activity, window size, window length, clock type, refresh rate, sample
// amount. The configuration's replay of all settings sets the filter up; until then windowSize is 0 and
// the input passes through. The sample amount handler listens to the processor configuration's
// "SampleAmountChanged", not to the buffer configuration: a new signalling amount reaches the window only
// with such a notice or a clock change.
//
// Threads: the object has no parent and stays on the thread that built it (the host's thread, as the
// configuration), where the handlers run, while calculateAverage runs on the processor's worker thread.
// filterMutex (not recursive) keeps the two apart: calculateAverage, the handlers, the setters and reset
// take it; setActive and isActive use an atomic flag instead.
//
// Failures: an out-of-range access inside either averaging pass (which consistent sizes never cause) is
// caught and warned about under the pass's name, with "Ring buffer index error: " and the exception's text;
// calculateAverage then returns the mean as it stands. Nothing throws.
//
// Ownership: owns its vectors; the two configurations must outlive it and must not be null.
class MovingAverage : public QObject {
    Q_OBJECT

public:
    // Incremental passes between two full passes.
    static constexpr std::size_t optimizedPassesPerFullPass = 100;
    // Samples per millisecond at 48 kHz: the external clock's interval is the signalling amount over this.
    static constexpr std::size_t samplesPerMillisecond = 48;
    // A window of fewer vectors switches the filter off.
    static constexpr std::size_t smallestWindowSize = 2;

    // Logs "Initialized!" and connects the handlers. The window size stays 0 until the configuration
    // announces its settings.
    MovingAverage(std::string name, SpectrumConfig* configuration,
                  sonacore::BufferConfiguration* bufferConfiguration, QObject* parent = nullptr);
    ~MovingAverage() override;

    // The filter itself: takes one vector, returns the mean over the window including it. Inactive, or with
    // a window size of 0 or 1, it returns the input itself, moved and not copied, and touches no state. An
    // input of another length than the last clears the history first ("Moving window vector length set to:
    // " and the length). An empty input gives an empty result.
    std::vector<double> calculateAverage(std::vector<double> input);

    // Stores the flag without a reset and without the lock; the activity handler is the path that resets.
    void setActive(bool active);
    bool isActive() const;

    // An equal size changes nothing but the length (recomputed from the interval). Otherwise a size of 2
    // or more is stored ("Moving average window size set to: " and the size), a smaller one is stored as 1
    // with the warning "Moving average window size is too small! Filter deactivated", and the history is
    // reset. The active flag stays as it is.
    void setWindowSize(std::size_t windowSize);
    std::size_t getWindowSize() const;
    // Window length in milliseconds. An equal length changes nothing. Otherwise it is stored ("Moving window
    // length set to: ", the length, " ms") and the size becomes length / interval, rounded down, after which
    // the length is interval x size again: with 300 ms, 1000 ms gives size 3 and length 900 ms.
    void setWindowLength(std::size_t windowLength);
    std::size_t getWindowLength() const;
    // Elements per vector, as of the latest input.
    std::size_t getVectorLength() const;
    // The current refresh interval in milliseconds, from the configurations (see above); 0 when the
    // signalling amount is below 48 under the external clock.
    std::size_t getRefreshInterval() const;

    // Zeroes the mean and every stored vector and restarts the ring; sizes and the count of incremental
    // passes stay.
    void reset();

protected:
    // The two passes, for a caller that holds filterMutex and has made the sizes consistent.
    void performanceOptimizedMovingAverage(const std::vector<double>& input);
    void simpleMovingAverage(const std::vector<double>& input);
    // Where the ring stands and how many incremental passes have run since the latest full one.
    std::size_t getRingIndex() const;
    std::size_t getOptimizedPasses() const;

private slots:
    void movingAverageActivityChanged(std::string changedParameter);
    void windowSizeChanged(std::string changedParameter);
    void windowLengthChanged(std::string changedParameter);
    void clockConfigurationChanged(std::string changedParameter);
    void clockRefreshChanged(std::string changedParameter);
    void signalingSampleAmountChanged(std::string changedParameter);

private:
    // The operations below expect filterMutex to be held.
    void setVectorLength(std::size_t length);
    void resizeRingBuffer();
    void resetLocked();
    void setWindowSizeLocked(std::size_t size);
    void setWindowLengthLocked(std::size_t length);
    void updateWindowLength();
    void updateWindowSize();
    // Takes a new interval; false (with the warning) for an interval of 0. `method` names the caller in the
    // log lines.
    bool takeRefreshInterval(const char* method);

    const std::string name;
    mutable QMutex filterMutex;
    SpectrumConfig* const configuration;
    sonacore::BufferConfiguration* const bufferConfiguration;
    // Stored without the lock by setActive, read by calculateAverage under it.
    std::atomic<bool> active{true};
    std::vector<std::vector<double>> ringBuffer;
    std::vector<double> averageResult;
    std::size_t ringIndex = 0;
    std::size_t windowSize = 0;
    // Milliseconds.
    std::size_t windowLength = 0;
    // Milliseconds between two calculations.
    std::size_t refreshInterval = 500;
    std::size_t optimizedPasses = 0;
    std::size_t vectorLength = 0;
};

} // namespace process::averaging
