#include "IppTestSupport.h"

#include "ipp/ippsmemory.h"
#include "ipp/ippsvector.h"
#include "support/Tolerances.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <vector>

namespace sonacore::ipp::test {
namespace {

class VectorPrimitives : public FamilyTest {};

// Lengths around every vector width and its remainders.
const int lengths[] = {1, 2, 3, 7, 8, 15, 16, 17, 31, 33, 64, 1000, 4099};

TEST_P(VectorPrimitives, SetFillsEveryElement) {
    for (int length : lengths) {
        std::vector<float> data = nanFilled<float>(length + 1);
        ASSERT_EQ(ippsSet_32f(-3.25f, data.data(), length), ippStsNoErr);
        for (int i = 0; i < length; ++i) {
            ASSERT_EQ(data[i], -3.25f) << length << " " << i;
        }
        EXPECT_TRUE(std::isnan(data[length])) << "wrote past the end";
    }
}

TEST_P(VectorPrimitives, SetFillsLargeUnalignedArraysToo) {
    // Above 2 MiB the AVX variants bypass the caches; the result must be the same.
    const int length = 600001;
    std::vector<float> data = nanFilled<float>(length + 2);
    ASSERT_EQ(ippsSet_32f(1.5f, data.data() + 1, length), ippStsNoErr);
    EXPECT_TRUE(std::isnan(data[0]));
    for (int i = 1; i <= length; ++i) {
        ASSERT_EQ(data[i], 1.5f) << i;
    }
    EXPECT_TRUE(std::isnan(data[length + 1]));
}

TEST_P(VectorPrimitives, MulMultipliesInPlace) {
    for (int length : lengths) {
        const std::vector<float> a = randomFloats(length, 11u + length);
        const std::vector<float> b = randomFloats(length, 12u + length);
        std::vector<float> result = b;
        ASSERT_EQ(ippsMul_32f_I(a.data(), result.data(), length), ippStsNoErr);
        for (int i = 0; i < length; ++i) {
            ASSERT_EQ(result[i], b[i] * a[i]) << length << " " << i;
        }
    }
}

TEST_P(VectorPrimitives, MulSquaresWhenBothArraysAreOne) {
    std::vector<float> data = {1.5f, -2.0f, 3.0f};
    ASSERT_EQ(ippsMul_32f_I(data.data(), data.data(), 3), ippStsNoErr);
    EXPECT_EQ(data, (std::vector<float>{2.25f, 4.0f, 9.0f}));
}

TEST_P(VectorPrimitives, SqrSquaresDoubles) {
    for (int length : lengths) {
        const std::vector<double> source = randomDoubles(length, 13u + length);
        std::vector<double> destination = nanFilled<double>(length);
        ASSERT_EQ(ippsSqr_64f(source.data(), destination.data(), length), ippStsNoErr);
        for (int i = 0; i < length; ++i) {
            ASSERT_EQ(destination[i], source[i] * source[i]);
        }
    }
}

TEST_P(VectorPrimitives, SqrOfNaNIsNaNWithStatusZero) {
    const double source[2] = {std::numeric_limits<double>::quiet_NaN(), 2.0};
    double destination[2] = {0.0, 0.0};
    EXPECT_EQ(ippsSqr_64f(source, destination, 2), ippStsNoErr);
    EXPECT_TRUE(std::isnan(destination[0]));
    EXPECT_EQ(destination[1], 4.0);
}

TEST_P(VectorPrimitives, PowerSpectrumOfThreeFourIsTwentyFive) {
    const std::complex<float> source[1] = {{3.0f, 4.0f}};
    float destination[1] = {0.0f};
    EXPECT_EQ(ippsPowerSpectr_32fc(source, destination, 1), ippStsNoErr);
    EXPECT_EQ(destination[0], 25.0f);
}

TEST_P(VectorPrimitives, MagnitudeOfThreeFourIsFive) {
    const std::complex<float> source[1] = {{3.0f, 4.0f}};
    float destination[1] = {0.0f};
    EXPECT_EQ(ippsMagnitude_32fc(source, destination, 1), ippStsNoErr);
    EXPECT_EQ(destination[0], 5.0f);
}

TEST_P(VectorPrimitives, PowerSpectrumAndMagnitudeMatchTheFormulaOnRandomInput) {
    for (int length : lengths) {
        const std::vector<float> values = randomFloats(2 * length, 14u + length);
        const auto* source = reinterpret_cast<const std::complex<float>*>(values.data());
        std::vector<float> power = nanFilled<float>(length + 1);
        std::vector<float> magnitude = nanFilled<float>(length + 1);
        ASSERT_EQ(ippsPowerSpectr_32fc(source, power.data(), length), ippStsNoErr);
        ASSERT_EQ(ippsMagnitude_32fc(source, magnitude.data(), length), ippStsNoErr);
        for (int i = 0; i < length; ++i) {
            const double re = values[2 * i];
            const double im = values[2 * i + 1];
            const double expected = re * re + im * im;
            ASSERT_NEAR(power[i], expected, testsupport::tolerance::floatPowerRelative * expected)
                << length << " " << i;
            ASSERT_NEAR(magnitude[i], std::sqrt(expected),
                        testsupport::tolerance::floatPowerRelative * std::sqrt(expected))
                << length << " " << i;
        }
        EXPECT_TRUE(std::isnan(power[length]));
        EXPECT_TRUE(std::isnan(magnitude[length]));
    }
}

TEST_P(VectorPrimitives, RefuseLengthsBelowOne) {
    float f[1] = {0.0f};
    double d[1] = {0.0};
    std::complex<float> c[1] = {{0.0f, 0.0f}};
    for (int length : {0, -1}) {
        EXPECT_EQ(ippsSet_32f(1.0f, f, length), ippStsSizeErr);
        EXPECT_EQ(ippsMul_32f_I(f, f, length), ippStsSizeErr);
        EXPECT_EQ(ippsSqr_64f(d, d, length), ippStsSizeErr);
        EXPECT_EQ(ippsMagnitude_32fc(c, f, length), ippStsSizeErr);
        EXPECT_EQ(ippsPowerSpectr_32fc(c, f, length), ippStsSizeErr);
    }
}

TEST_P(VectorPrimitives, NullPointerTakesPrecedenceOverLength) {
    float f[1] = {0.0f};
    double d[1] = {0.0};
    std::complex<float> c[1] = {{0.0f, 0.0f}};
    for (int length : {0, 1}) {
        EXPECT_EQ(ippsSet_32f(1.0f, nullptr, length), ippStsNullPtrErr);
        EXPECT_EQ(ippsMul_32f_I(nullptr, f, length), ippStsNullPtrErr);
        EXPECT_EQ(ippsMul_32f_I(f, nullptr, length), ippStsNullPtrErr);
        EXPECT_EQ(ippsSqr_64f(nullptr, d, length), ippStsNullPtrErr);
        EXPECT_EQ(ippsSqr_64f(d, nullptr, length), ippStsNullPtrErr);
        EXPECT_EQ(ippsMagnitude_32fc(nullptr, f, length), ippStsNullPtrErr);
        EXPECT_EQ(ippsMagnitude_32fc(c, nullptr, length), ippStsNullPtrErr);
        EXPECT_EQ(ippsPowerSpectr_32fc(nullptr, f, length), ippStsNullPtrErr);
        EXPECT_EQ(ippsPowerSpectr_32fc(c, nullptr, length), ippStsNullPtrErr);
    }
}

INSTANTIATE_TEST_SUITE_P(Variants, VectorPrimitives, testing::ValuesIn(supportedFamilies()), familyName);

} // namespace
} // namespace sonacore::ipp::test
