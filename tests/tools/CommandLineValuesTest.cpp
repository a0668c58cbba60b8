#include "CommandLineValues.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace {

struct NumberRow {
    std::string name;
    std::string text;
    std::uint64_t minimum;
    std::uint64_t maximum;
    std::optional<std::uint64_t> expected;
};

const std::vector<NumberRow> numberRows{
    {"Decimal", "48000", 0, UINT64_MAX, 48000},
    {"Zero", "0", 0, 10, 0},
    {"LeadingZerosStayDecimal", "010", 0, UINT64_MAX, 10},
    {"LowerCaseHexadecimal", "0x22f0", 0, UINT64_MAX, 0x22f0},
    {"UpperCaseHexadecimal", "0XFFFF", 0, UINT64_MAX, 0xffff},
    {"LargestNumber", "18446744073709551615", 0, UINT64_MAX, UINT64_MAX},
    {"LargestHexadecimal", "0xffffffffffffffff", 0, UINT64_MAX, UINT64_MAX},
    {"OneAboveSixtyFourBits", "18446744073709551616", 0, UINT64_MAX, std::nullopt},
    {"SeventeenHexadecimalDigits", "0x10000000000000000", 0, UINT64_MAX, std::nullopt},
    {"AtTheMinimum", "1", 1, 255, 1},
    {"AtTheMaximum", "255", 1, 255, 255},
    {"BelowTheMinimum", "0", 1, 255, std::nullopt},
    {"AboveTheMaximum", "256", 1, 255, std::nullopt},
    {"Empty", "", 0, UINT64_MAX, std::nullopt},
    {"PrefixWithoutDigits", "0x", 0, UINT64_MAX, std::nullopt},
    {"Minus", "-1", 0, UINT64_MAX, std::nullopt},
    {"Plus", "+1", 0, UINT64_MAX, std::nullopt},
    {"LeadingSpace", " 1", 0, UINT64_MAX, std::nullopt},
    {"TrailingSpace", "1 ", 0, UINT64_MAX, std::nullopt},
    {"TrailingLetter", "12a", 0, UINT64_MAX, std::nullopt},
    {"HexadecimalDigitWithoutPrefix", "ff", 0, UINT64_MAX, std::nullopt},
    {"Fraction", "1.5", 0, UINT64_MAX, std::nullopt},
};

class ParseNumber : public testing::TestWithParam<NumberRow> {};

TEST_P(ParseNumber, ReadsTheWholeTextOrNothing) {
    const NumberRow& row = GetParam();
    EXPECT_EQ(commandline::parseNumber(row.text, row.minimum, row.maximum), row.expected) << row.text;
}

INSTANTIATE_TEST_SUITE_P(Rows, ParseNumber, testing::ValuesIn(numberRows),
                         [](const testing::TestParamInfo<NumberRow>& info) { return info.param.name; });

struct RealRow {
    std::string name;
    std::string text;
    std::optional<double> expected;
};

const std::vector<RealRow> realRows{
    {"Whole", "2", 2.0},
    {"Fraction", "2.5", 2.5},
    {"LeadingPoint", ".25", 0.25},
    {"Exponent", "1e-3", 0.001},
    {"Negative", "-0.5", -0.5},
    {"AtTheMaximum", "10", 10.0},
    {"AboveTheMaximum", "10.5", std::nullopt},
    {"BelowTheMinimum", "-1.5", std::nullopt},
    {"Infinity", "inf", std::nullopt},
    {"NotANumber", "nan", std::nullopt},
    {"OutOfDoubleRange", "1e999", std::nullopt},
    {"LeadingSpace", " 1", std::nullopt},
    {"TrailingLetters", "2s", std::nullopt},
    {"Empty", "", std::nullopt},
};

class ParseReal : public testing::TestWithParam<RealRow> {};

TEST_P(ParseReal, ReadsAFiniteNumberWithinItsRange) {
    const RealRow& row = GetParam();
    EXPECT_EQ(commandline::parseReal(row.text, -1.0, 10.0), row.expected) << row.text;
}

INSTANTIATE_TEST_SUITE_P(Rows, ParseReal, testing::ValuesIn(realRows),
                         [](const testing::TestParamInfo<RealRow>& info) { return info.param.name; });

struct MacRow {
    std::string name;
    std::string text;
    std::optional<commandline::MacAddress> expected;
};

constexpr commandline::MacAddress device{{0x00, 0xa0, 0xc9, 0x11, 0x22, 0x33}};

const std::vector<MacRow> macRows{
    {"Colons", "00:a0:c9:11:22:33", device},
    {"Dashes", "00-a0-c9-11-22-33", device},
    {"UpperCase", "00:A0:C9:11:22:33", device},
    {"TwelveDigits", "00a0c9112233", device},
    {"Broadcast", "ff:ff:ff:ff:ff:ff", commandline::MacAddress{{0xff, 0xff, 0xff, 0xff, 0xff, 0xff}}},
    {"FiveBytes", "00:a0:c9:11:22", std::nullopt},
    {"SevenBytes", "00:a0:c9:11:22:33:44", std::nullopt},
    {"ElevenDigits", "00a0c911223", std::nullopt},
    {"ThirteenDigits", "00a0c91122334", std::nullopt},
    {"SingleDigitByte", "0:a0:c9:11:22:33:", std::nullopt},
    {"OtherSeparator", "00.a0.c9.11.22.33", std::nullopt},
    {"SeparatorsOnlyInPart", "00:a0:c9112233", std::nullopt},
    {"NonHexadecimalDigit", "00:a0:c9:11:22:3g", std::nullopt},
    {"Empty", "", std::nullopt},
};

class ParseMac : public testing::TestWithParam<MacRow> {};

TEST_P(ParseMac, ReadsSixBytesInEitherForm) {
    const MacRow& row = GetParam();
    EXPECT_EQ(commandline::parseMac(row.text), row.expected) << row.text;
}

INSTANTIATE_TEST_SUITE_P(Rows, ParseMac, testing::ValuesIn(macRows),
                         [](const testing::TestParamInfo<MacRow>& info) { return info.param.name; });

TEST(DeviceKey, IsTwelveLowerCaseDigits) {
    EXPECT_EQ(commandline::deviceKey(device), "00a0c9112233");
    EXPECT_EQ(commandline::deviceKey({{0xAB, 0xCD, 0xEF, 0x01, 0x23, 0x45}}), "abcdef012345");
}

} // namespace
