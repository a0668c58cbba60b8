#pragma once

#include "AveragingProgress.h"
#include "DeliverySink.h"
#include "SpectrumReadiness.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class ISonaCore;

namespace sonacore::iprocess {
class ISpectrumConfig;
} // namespace sonacore::iprocess

namespace sonacore::ihandles {
class IProcessorHandle;
} // namespace sonacore::ihandles

namespace host {

// The library's analysers of one channel of the monitored stream, with their configurations and handles: a
// sound level processor, whose seven levels go to the sink as they come, and a spectrum processor, whose
// spectra go to the sink only from frames the stream has filled (see SpectrumReadiness.h).
//
// The spectrum processor is started by the channel's own levels, once they count a full frame, and not by
// start(). The moving average spans `averagingMs`; its window is set both as a time and as a number of
// spectra, so that the library's processor keeps the same window whatever order its notices arrive in.
//
// The configurations and handles are the library's, valid until ISonaCore::destroy(). The callbacks bound
// here hold this object, which must outlive every delivery: keep it until after ISonaCore::destroy().
// Thread affinity: the host's thread, the one the library was created on. Not copyable.
class ChannelAnalysers {
public:
    struct Settings {
        // The stream's source address as the library keys it.
        std::string deviceKey;
        // The samples of one level: the level processor's sample amount, a whole number of buffer signals.
        std::uint64_t levelSamples = 2880;
        // Milliseconds between two spectra on the processor's own timer; 0 for one on every buffer signal.
        std::uint64_t clockPeriodMs = 200;
        // Samples between two buffer signals, which clock the spectra when clockPeriodMs is 0.
        std::uint64_t signalingAmount = 480;
        // log2 of the spectrum's frame length at the start.
        std::size_t order = 14;
        bool averaging = false;
        // The moving average's span in milliseconds.
        std::uint64_t averagingMs = 2000;
    };

    // Adds both processors to `core` for `channel` of the stream; nothing runs until start(). Throws what
    // ISonaCore::addProcessor throws.
    ChannelAnalysers(ISonaCore& core, unsigned channel, const Settings& settings, DeliverySink& sink);
    ChannelAnalysers(const ChannelAnalysers&) = delete;
    ChannelAnalysers& operator=(const ChannelAnalysers&) = delete;

    // Starts the level processor; the spectrum processor follows once the levels count a full frame.
    void start();
    // The spectrum's new FFT order, which the running processor takes before its next calculation; while
    // the stream has not yet filled a frame of that length, the processor waits for it.
    void setFftOrder(std::size_t order);
    void setAveraging(bool on);

    unsigned channel() const { return channelNumber; }
    // The levels delivered so far: the stream's samples in units of Settings::levelSamples.
    std::uint64_t levelsHeard() const { return readiness.levelsHeard(); }
    AveragingProgress averaging() const { return readiness.averaging(); }

    // The spectra a moving average of `averagingMs` spans, as the library's processor counts them: the span
    // divided by the time between two spectra, rounded down, and at least 2, below which the library turns
    // the average off.
    static std::size_t averagingWindow(std::uint64_t averagingMs, std::uint64_t clockPeriodMs,
                                       std::uint64_t signalingAmount);

private:
    void addLevelProcessor(ISonaCore& core, const Settings& settings);
    void addSpectrumProcessor(ISonaCore& core, const Settings& settings);
    void levelArrived(const std::vector<double>& levels);
    void spectrumArrived(const std::vector<double>& power);

    unsigned channelNumber;
    DeliverySink& sink;
    SpectrumReadiness readiness;
    sonacore::iprocess::ISpectrumConfig* spectrum = nullptr;
    sonacore::ihandles::IProcessorHandle* levelHandle = nullptr;
    sonacore::ihandles::IProcessorHandle* spectrumHandle = nullptr;
};

} // namespace host
