#pragma once

#include "ipp/detail/CpuFeatures.h"
#include "ipp/ippcore.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace sonacore::ipp::test {

// Every variant that this processor and its operating system can run: the chosen one and all older ones.
inline std::vector<int> supportedFamilies() {
    const detail::CpuFeatures features = detail::readCpuFeatures();
    const int best = detail::chooseFamily(detail::validateFeatures(features.mask).mask);
    std::vector<int> families;
    for (int family = 0; family <= best; ++family) {
        families.push_back(family);
    }
    return families;
}

inline std::string familyName(const testing::TestParamInfo<int>& info) {
    static const char* const names[] = {"y8", "e9", "l9", "k0"};
    return names[info.param];
}

// Runs each test once per supported variant by setting the jump index, and restores it afterwards.
class FamilyTest : public testing::TestWithParam<int> {
protected:
    void SetUp() override {
        savedJumpIndex = ippJumpIndexForMergedLibs.load();
        ippJumpIndexForMergedLibs.store(GetParam());
    }
    void TearDown() override { ippJumpIndexForMergedLibs.store(savedJumpIndex); }

private:
    std::int32_t savedJumpIndex = -1;
};

inline std::vector<float> randomFloats(std::size_t count, std::uint32_t seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<float> distribution(-1.0f, 1.0f);
    std::vector<float> values(count);
    for (float& value : values) {
        value = distribution(generator);
    }
    return values;
}

inline std::vector<double> randomDoubles(std::size_t count, std::uint32_t seed) {
    std::mt19937_64 generator(seed);
    std::uniform_real_distribution<double> distribution(-1.0, 1.0);
    std::vector<double> values(count);
    for (double& value : values) {
        value = distribution(generator);
    }
    return values;
}

template <typename T> std::vector<T> nanFilled(std::size_t count) {
    return std::vector<T>(count, std::numeric_limits<T>::quiet_NaN());
}

} // namespace sonacore::ipp::test
