#pragma once

#include "SignalGenerator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace e2etest {

// What the talker sends on `channel` for `signal`, from sample `first` on, as the float the library delivers.
inline std::vector<double> talkerSamples(const std::string& signal, unsigned channel, std::uint64_t first,
                                         std::uint64_t count) {
    avtptalker::SignalGenerator generator = avtptalker::SignalGenerator::silence();
    std::string error;
    EXPECT_TRUE(avtptalker::SignalGenerator::parse(signal, channel, generator, error)) << error;
    std::vector<double> samples;
    for (std::uint64_t index = first; index < first + count; ++index) {
        samples.push_back(static_cast<double>(static_cast<float>(generator.sampleAt(index)) / 32768.0f));
    }
    return samples;
}

// Equal sequences, or where and how they first differ.
inline ::testing::AssertionResult sameSamples(const std::vector<double>& actual,
                                              const std::vector<double>& expected) {
    const std::size_t common = std::min(actual.size(), expected.size());
    for (std::size_t index = 0; index < common; ++index) {
        if (actual[index] != expected[index]) {
            return ::testing::AssertionFailure()
                   << "first difference at sample " << index << " of " << actual.size() << " delivered ("
                   << expected.size() << " sent): " << actual[index] << " instead of " << expected[index];
        }
    }
    if (actual.size() != expected.size()) {
        return ::testing::AssertionFailure()
               << actual.size() << " samples delivered, " << expected.size() << " sent";
    }
    return ::testing::AssertionSuccess();
}

// Every y value a waveform processor of `sampleAmount` samples delivered, in order, without the zero points
// that its first delivery carries ahead of the first samples.
inline std::vector<double> deliveredSamples(const std::vector<std::vector<double>>& ys,
                                            std::uint64_t sampleAmount) {
    std::vector<double> samples;
    for (std::size_t index = 0; index < ys.size(); ++index) {
        const std::size_t skip = index == 0 && ys[0].size() >= 2 * sampleAmount ? sampleAmount : 0;
        samples.insert(samples.end(), ys[index].begin() + static_cast<std::ptrdiff_t>(skip), ys[index].end());
    }
    return samples;
}

} // namespace e2etest
