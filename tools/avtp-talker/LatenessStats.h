#pragma once

#include <cstdint>
#include <vector>

namespace avtptalker {

// Distribution of how late sends were against their deadlines.
//
// Keeps a histogram in 1 microsecond bins up to 100 ms plus an overflow bin, so that adding a value never
// allocates and an hour of frames costs no more memory than a second; the mean and maximum are exact,
// the percentile is exact to the bin. Not thread-safe.
class LatenessStats {
public:
    LatenessStats();

    // Adds one lateness in nanoseconds; a send before its deadline counts as 0.
    void add(std::int64_t latenessNs);

    std::uint64_t count() const { return sampleCount; }

    // Mean lateness in nanoseconds; 0 without values.
    double meanNs() const;

    // Upper edge of the bin holding the `fraction` quantile (0 to 1), in nanoseconds; 0 without values.
    // Values past the last bin report the maximum.
    std::int64_t quantileNs(double fraction) const;

    // Largest lateness in nanoseconds; 0 without values.
    std::int64_t maximumNs() const { return largestNs; }

private:
    static constexpr std::int64_t binNs = 1000;
    static constexpr std::size_t binCount = 100'000;

    std::vector<std::uint64_t> bins;
    std::uint64_t sampleCount = 0;
    long double sumNs = 0;
    std::int64_t largestNs = 0;
};

} // namespace avtptalker
