#include "avb/AvbToFloatSampleConverter.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(AvbToFloatSampleConverter, LogsCreationAndHoldsTwoBytesAndTheScale) {
    testsupport::LogCapture capture;
    avb::AvbToFloatSampleConverter converter;
    EXPECT_TRUE(capture.contains(QtDebugMsg, "AvbToFloatSampleConverter Initialized!"));
    EXPECT_EQ(converter.getSampleByteSize(), 2U);
    const float scale = converter.getSampleScale();
    std::uint32_t bits = 0;
    std::memcpy(&bits, &scale, sizeof bits);
    EXPECT_EQ(bits, 0x38000000U);
    EXPECT_EQ(scale, 3.0517578125e-05f);
}

TEST(AvbToFloatSampleConverter, ConvertsBigEndianTwosComplementExactly) {
    avb::AvbToFloatSampleConverter converter;
    const std::uint8_t minusOneLsb[] = {0xff, 0xff};
    const std::uint8_t minimum[] = {0x80, 0x00};
    const std::uint8_t maximum[] = {0x7f, 0xff};
    const std::uint8_t zero[] = {0x00, 0x00};
    const std::uint8_t byteOrder[] = {0x01, 0x02};
    EXPECT_EQ(converter.convertFromBigEndian(minusOneLsb, 2), -1.0f / 32768.0f);
    EXPECT_EQ(converter.convertFromBigEndian(minimum, 2), -1.0f);
    EXPECT_EQ(converter.convertFromBigEndian(maximum, 2), 32767.0f / 32768.0f);
    EXPECT_EQ(converter.convertFromBigEndian(maximum, 2), 0.999969482421875f);
    EXPECT_EQ(converter.convertFromBigEndian(zero, 2), 0.0f);
    EXPECT_EQ(converter.convertFromBigEndian(byteOrder, 2), 258.0f / 32768.0f);
}

TEST(AvbToFloatSampleConverter, EveryValueRoundTripsExactly) {
    avb::AvbToFloatSampleConverter converter;
    for (int value = -32768; value <= 32767; ++value) {
        const auto raw = static_cast<std::uint16_t>(value);
        const std::uint8_t bytes[] = {static_cast<std::uint8_t>(raw >> 8),
                                      static_cast<std::uint8_t>(raw & 0xff)};
        ASSERT_EQ(converter.convertFromBigEndian(bytes, 2) * 32768.0f, static_cast<float>(value));
    }
}

TEST(AvbToFloatSampleConverter, WrongCountReturnsZeroAndWarns) {
    avb::AvbToFloatSampleConverter converter;
    const std::uint8_t bytes[] = {0x7f, 0xff, 0x00};
    testsupport::LogCapture capture;
    EXPECT_EQ(converter.convertFromBigEndian(bytes, 3), 0.0f);
    EXPECT_EQ(
        capture.texts(QtWarningMsg),
        std::vector<std::string>{
            "convertFromBigEndian Cannot convert array data to float. Wrong array size:  3  (required:  2"});
}
