#include "SpectrumReadiness.h"

#include <algorithm>

namespace host {

SpectrumReadiness::SpectrumReadiness(std::uint64_t levelSamples, std::size_t order, bool averaging,
                                     std::size_t window)
    : levelSamples(levelSamples), order(order), progress{averaging, 0, window} {}

bool SpectrumReadiness::levelArrived() {
    ++levels;
    if (processorRunning || !frameFull()) {
        return false;
    }
    processorRunning = true;
    return true;
}

bool SpectrumReadiness::orderChanged(std::size_t newOrder) {
    order = newOrder;
    if (!processorRunning || frameFull()) {
        return false;
    }
    processorRunning = false;
    return true;
}

void SpectrumReadiness::averagingChanged(bool on) {
    progress.on = on;
    progress.averaged = 0;
}

void SpectrumReadiness::spectrumArrived(std::size_t bins) {
    if (bins != lastBins) {
        lastBins = bins;
        progress.averaged = 0;
    }
    if (progress.on) {
        progress.averaged = std::min(progress.averaged + 1, progress.window);
    }
}

} // namespace host
