#include "LatenessStats.h"

#include <algorithm>
#include <cmath>

namespace avtptalker {

LatenessStats::LatenessStats() : bins(binCount + 1, 0) {}

void LatenessStats::add(std::int64_t latenessNs) {
    const std::int64_t value = std::max<std::int64_t>(latenessNs, 0);
    const auto bin = static_cast<std::size_t>(std::min<std::int64_t>(value / binNs, binCount));
    ++bins[bin];
    ++sampleCount;
    sumNs += value;
    largestNs = std::max(largestNs, value);
}

double LatenessStats::meanNs() const {
    return sampleCount == 0 ? 0.0 : static_cast<double>(sumNs / sampleCount);
}

std::int64_t LatenessStats::quantileNs(double fraction) const {
    if (sampleCount == 0) {
        return 0;
    }
    // The rank is rounded up so that p99 of 100 values is the 99th smallest, never an interpolation.
    const auto rank = static_cast<std::uint64_t>(std::ceil(std::clamp(fraction, 0.0, 1.0) * sampleCount));
    std::uint64_t seen = 0;
    for (std::size_t bin = 0; bin < binCount; ++bin) {
        seen += bins[bin];
        if (seen >= std::max<std::uint64_t>(rank, 1)) {
            return std::min<std::int64_t>((static_cast<std::int64_t>(bin) + 1) * binNs, largestNs);
        }
    }
    return largestNs;
}

} // namespace avtptalker
