#pragma once

#include <cstddef>

namespace host {

// How far a channel's moving average over its spectra has filled, for the live view's spectrum title.
struct AveragingProgress {
    // Whether the moving average is on.
    bool on = false;
    // Spectra averaged since the average's history was last cleared, up to `window`.
    std::size_t averaged = 0;
    // The spectra the average spans.
    std::size_t window = 0;

    // True while the average still holds fewer spectra than its window: its history starts as zeros, so the
    // averaged power then lies below the stream's.
    bool settling() const { return on && averaged < window; }
};

} // namespace host
