#pragma once

#include "AveragingProgress.h"

#include <cstddef>
#include <cstdint>

namespace host {

// When one channel's spectra show the stream, and how far their moving average has filled.
//
// A spectrum processor on its own timer transforms the newest 2^order samples of the buffer whatever the
// buffer holds: before the stream has delivered that many, zeros stand in front of them, and the spectrum
// shows the step from silence to sound instead of the stream. The host learns how many samples arrived from
// the channel's levels: the sound level processor delivers one level for every `levelSamples` samples the
// buffer signalled, so n levels mean at least n * levelSamples samples in the buffer, which only grows. The
// spectrum processor is therefore started once the levels count a full frame of the asked order, and stopped
// again when a higher order asks for more than has arrived; every frame it transforms is then full, and so
// is every spectrum that its moving average takes in.
//
// The moving average's history starts as zeros at the start, when it is switched on and when a new order
// changes the length of the spectra, so its first results climb towards the stream's power: it settles once
// `window` spectra have been averaged since.
//
// No library calls here: the channel's analyser set acts on the answers. Thread affinity: the host's thread.
class SpectrumReadiness {
public:
    SpectrumReadiness(std::uint64_t levelSamples, std::size_t order, bool averaging, std::size_t window);

    // One more level arrived. True when the frame has just become full and the spectrum processor, not
    // running, is to start.
    bool levelArrived();
    // A new FFT order. True when the processor runs and the new frame is not full yet: it is to stop until
    // levelArrived says to start it again.
    bool orderChanged(std::size_t order);
    // The moving average switched on or off; switching it on clears its history.
    void averagingChanged(bool on);
    // A spectrum of `bins` bins arrived. A length other than the last one's means a new order, with which
    // the library clears the average's history.
    void spectrumArrived(std::size_t bins);

    // Whether the buffer holds a full frame of the asked order.
    bool frameFull() const { return samplesHeard() >= frameLength(); }
    // Whether the spectrum processor is to run.
    bool running() const { return processorRunning; }
    std::uint64_t levelsHeard() const { return levels; }
    // The samples the levels account for: no more than the buffer received.
    std::uint64_t samplesHeard() const { return levels * levelSamples; }
    std::uint64_t frameLength() const { return std::uint64_t{1} << order; }
    AveragingProgress averaging() const { return progress; }

private:
    std::uint64_t levelSamples;
    std::size_t order;
    std::uint64_t levels = 0;
    bool processorRunning = false;
    std::size_t lastBins = 0;
    AveragingProgress progress;
};

} // namespace host
