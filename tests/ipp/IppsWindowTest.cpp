#include "IppTestSupport.h"

#include "ipp/ippswindow.h"
#include "support/Tolerances.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace sonacore::ipp::test {
namespace {

class IppsWinHann : public FamilyTest {};

TEST_P(IppsWinHann, RefusesLengthTwoAndChangesNothing) {
    float data[2] = {1.0f, 2.0f};
    EXPECT_EQ(ippsWinHann_32f_I(data, 2), ippStsSizeErr);
    EXPECT_EQ(data[0], 1.0f);
    EXPECT_EQ(data[1], 2.0f);
}

TEST_P(IppsWinHann, RefusesLengthsBelowThree) {
    float data[1] = {1.0f};
    for (int length : {1, 0, -5}) {
        EXPECT_EQ(ippsWinHann_32f_I(data, length), ippStsSizeErr);
    }
    EXPECT_EQ(data[0], 1.0f);
}

TEST_P(IppsWinHann, NullPointerTakesPrecedenceOverLength) {
    EXPECT_EQ(ippsWinHann_32f_I(nullptr, 0), ippStsNullPtrErr);
    EXPECT_EQ(ippsWinHann_32f_I(nullptr, 16), ippStsNullPtrErr);
}

TEST_P(IppsWinHann, LengthThreeZeroesTheEndsAndKeepsTheCentre) {
    float data[3] = {2.0f, 7.0f, 3.0f};
    EXPECT_EQ(ippsWinHann_32f_I(data, 3), ippStsNoErr);
    EXPECT_EQ(data[0], 0.0f);
    EXPECT_EQ(data[1], 7.0f);
    EXPECT_EQ(data[2], 0.0f);
}

TEST_P(IppsWinHann, LengthFourOnOnes) {
    std::vector<float> data(4, 1.0f);
    EXPECT_EQ(ippsWinHann_32f_I(data.data(), 4), ippStsNoErr);
    EXPECT_EQ(data, (std::vector<float>{0.0f, 0.75f, 0.75f, 0.0f}));
}

TEST_P(IppsWinHann, LengthFiveOnOnes) {
    std::vector<float> data(5, 1.0f);
    EXPECT_EQ(ippsWinHann_32f_I(data.data(), 5), ippStsNoErr);
    EXPECT_EQ(data, (std::vector<float>{0.0f, 0.5f, 1.0f, 0.5f, 0.0f}));
}

TEST_P(IppsWinHann, OddLengthLeavesTheCentreAsItIs) {
    std::vector<float> data(101, 3.0f);
    data[50] = -9.5f;
    EXPECT_EQ(ippsWinHann_32f_I(data.data(), 101), ippStsNoErr);
    EXPECT_EQ(data[50], -9.5f);
}

// Against the formula in long double, on random data, at lengths up to far beyond one restart of the
// recurrence: every product must be the float weight times the data, to single precision.
TEST_P(IppsWinHann, MatchesTheFormulaToSinglePrecision) {
    for (int length : {4, 6, 7, 9, 16, 17, 100, 1023, 1024, 4097, 65536, 1048577}) {
        const std::vector<float> input = randomFloats(length, 21u + length);
        std::vector<float> data = input;
        ASSERT_EQ(ippsWinHann_32f_I(data.data(), length), ippStsNoErr);
        const long double pi = 3.14159265358979323846264338327950288L;
        for (int n = 0; n < length; ++n) {
            const long double w = 0.5L - 0.5L * std::cos(2.0L * pi * n / (length - 1));
            const long double expected = static_cast<long double>(input[n]) * w;
            if (length % 2 == 1 && n == length / 2) {
                ASSERT_EQ(data[n], input[n]);
                continue;
            }
            ASSERT_NEAR(static_cast<double>(data[n]), static_cast<double>(expected),
                        testsupport::tolerance::floatWindowRelative *
                            std::fabs(static_cast<double>(input[n])))
                << length << " " << n;
        }
        EXPECT_EQ(data[0], 0.0f);
        EXPECT_EQ(data[length - 1], 0.0f);
    }
}

TEST_P(IppsWinHann, IsSymmetric) {
    std::vector<float> data(1000, 1.0f);
    ASSERT_EQ(ippsWinHann_32f_I(data.data(), 1000), ippStsNoErr);
    for (int n = 0; n < 500; ++n) {
        ASSERT_EQ(data[n], data[999 - n]) << n;
    }
}

INSTANTIATE_TEST_SUITE_P(Variants, IppsWinHann, testing::ValuesIn(supportedFamilies()), familyName);

} // namespace
} // namespace sonacore::ipp::test
