#include "avb/AvbFrameFormatter.h"

#include <gtest/gtest.h>

#include <vector>

using avb::AvbFrameFormatter;

namespace {
std::vector<std::uint8_t> frameOf(std::size_t length) {
    std::vector<std::uint8_t> frame(length);
    for (std::size_t index = 0; index < length; ++index) {
        frame[index] = static_cast<std::uint8_t>(index);
    }
    return frame;
}
} // namespace

TEST(AvbFrameFormatter, HexToBytesReadsPairsInEitherCase) {
    EXPECT_EQ(AvbFrameFormatter::hexToBytes("00a0C9112233"),
              (std::vector<std::uint8_t>{0x00, 0xa0, 0xc9, 0x11, 0x22, 0x33}));
    EXPECT_TRUE(AvbFrameFormatter::hexToBytes("").empty());
    EXPECT_EQ(AvbFrameFormatter::hexToBytes("zz1g"), (std::vector<std::uint8_t>{0x00, 0x01}));
}

TEST(AvbFrameFormatter, BytesToHexAndTuples) {
    const std::uint8_t bytes[] = {0x00, 0x0a, 0xff};
    EXPECT_EQ(AvbFrameFormatter::bytesToHex(bytes, 3), "000aff");
    EXPECT_EQ(AvbFrameFormatter::bytesToHexTuple(bytes, 3), "00 0a ff");
    EXPECT_EQ(AvbFrameFormatter::bytesToIntTuple(bytes, 3), "0 10 255");
    EXPECT_EQ(AvbFrameFormatter::bytesToHex(bytes, 0), "");
    EXPECT_EQ(AvbFrameFormatter::bytesToHex(bytes, -1), "");
}

TEST(AvbFrameFormatter, FormatBytesConcatenatesTheSelectedForms) {
    const std::uint8_t bytes[] = {0x01, 0x10};
    EXPECT_EQ(AvbFrameFormatter::formatBytes(bytes, 2, true, true, true),
              "0110 HexTuple 01 10 IntTuple 1 16");
    EXPECT_EQ(AvbFrameFormatter::formatBytes(bytes, 2, false, false, true), " IntTuple 1 16");
    EXPECT_EQ(AvbFrameFormatter::formatBytes(bytes, 2, false, false, false), "");
}

TEST(AvbFrameFormatter, IsRangeInside) {
    EXPECT_TRUE(AvbFrameFormatter::isRangeInside(0, 10, 10));
    EXPECT_FALSE(AvbFrameFormatter::isRangeInside(1, 10, 10));
    EXPECT_FALSE(AvbFrameFormatter::isRangeInside(-1, 1, 10));
    EXPECT_FALSE(AvbFrameFormatter::isRangeInside(0, -1, 10));
    EXPECT_FALSE(AvbFrameFormatter::isRangeInside(0, 0, -1));
    EXPECT_FALSE(AvbFrameFormatter::isRangeInside(2147483647, 1, 2147483647));
}

TEST(AvbFrameFormatter, FrameFieldsAndTheirShortFrameFallbacks) {
    const auto frame = frameOf(40);
    EXPECT_EQ(AvbFrameFormatter::getDestinationMac(frame.data(), 40), "000102030405");
    EXPECT_EQ(AvbFrameFormatter::getDestinationMac(frame.data(), 5), "unknown");
    EXPECT_EQ(AvbFrameFormatter::getSourceMac(frame.data(), 40), "060708090a0b");
    EXPECT_EQ(AvbFrameFormatter::getSourceMac(frame.data(), 11), "unknown");
    EXPECT_EQ(AvbFrameFormatter::getSequenceText(frame.data(), 17), "10");
    EXPECT_EQ(AvbFrameFormatter::getSequenceText(frame.data(), 15), "unknown");
    EXPECT_EQ(AvbFrameFormatter::getSequenceValue(frame.data(), 17), 16);
    EXPECT_EQ(AvbFrameFormatter::getSequenceValue(frame.data(), 15), 0);
    EXPECT_EQ(AvbFrameFormatter::getStreamId(frame.data(), 26), "1213141516171819");
    EXPECT_EQ(AvbFrameFormatter::getStreamId(frame.data(), 25), "unknown");
    EXPECT_EQ(AvbFrameFormatter::getTimestamp(frame.data(), 30), "1a1b1c1d");
    EXPECT_EQ(AvbFrameFormatter::getTimestamp(frame.data(), 29), "unknown");
    EXPECT_EQ(AvbFrameFormatter::getTimestampFirstByte(frame.data(), 30), 26U);
    EXPECT_EQ(AvbFrameFormatter::getTimestampFirstByte(frame.data(), 29), 0xffffffffU);
}

TEST(AvbFrameFormatter, SequenceHelpersNeverReadPastAFrameOfSixteenBytes) {
    const auto frame = frameOf(16);
    EXPECT_EQ(AvbFrameFormatter::getSequenceText(frame.data(), 16), "unknown");
    EXPECT_EQ(AvbFrameFormatter::getSequenceValue(frame.data(), 16), 0);
}
