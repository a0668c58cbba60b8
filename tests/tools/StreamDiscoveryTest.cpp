#include "StreamDiscovery.h"
#include "AafFrameBuilder.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

using host::AafFrameHeader;
using host::DiscoveredStream;
using host::parseAafFrameHeader;
using host::StreamDiscovery;

namespace {

using namespace toolstest;

std::optional<AafFrameHeader> parse(const std::vector<std::uint8_t>& frame) {
    return parseAafFrameHeader(frame.data(), static_cast<std::uint32_t>(frame.size()));
}

// A stream as discovery would have it from frames built by `frame`, with its reasons.
DiscoveredStream streamOf(const AafFrame& frame) {
    StreamDiscovery discovery;
    const std::vector<std::uint8_t> bytes = frame.build();
    discovery.addFrame(bytes.data(), static_cast<std::uint32_t>(bytes.size()), 10.0);
    const std::vector<DiscoveredStream> streams = discovery.streams();
    EXPECT_EQ(streams.size(), 1u);
    return streams.empty() ? DiscoveredStream{} : streams.front();
}

TEST(ParseAafFrameHeader, ReadsEveryFieldOfAnUntaggedFrame) {
    AafFrame frame;
    frame.source = {{0x02, 0x53, 0x43, 0x0a, 0xbc, 0xde}};
    frame.streamId = 0x0123456789abcdef;
    frame.format = 3;
    frame.rateCode = 7;
    frame.channels = 5;
    frame.bitDepth = 20;
    frame.dataLength = 90;
    const std::optional<AafFrameHeader> header = parse(frame.build());
    ASSERT_TRUE(header);
    EXPECT_EQ(header->deviceKey, "0253430abcde");
    EXPECT_EQ(header->streamId, 0x0123456789abcdefu);
    EXPECT_FALSE(header->vlanId);
    EXPECT_EQ(header->format, 3);
    EXPECT_EQ(header->rateCode, 7);
    EXPECT_EQ(header->channels, 5);
    EXPECT_EQ(header->bitDepth, 20);
    EXPECT_EQ(header->streamDataLength, 90);
}

TEST(ParseAafFrameHeader, ReadsEveryFieldBehindAVlanTag) {
    AafFrame frame;
    frame.tag = 0x6002;
    frame.streamId = 0xfedcba9876543210;
    frame.format = 2;
    frame.rateCode = 4;
    frame.channels = 8;
    frame.bitDepth = 32;
    frame.dataLength = 192;
    const std::optional<AafFrameHeader> header = parse(frame.build());
    ASSERT_TRUE(header);
    EXPECT_EQ(header->deviceKey, "00a0c9112233");
    EXPECT_EQ(header->streamId, 0xfedcba9876543210u);
    ASSERT_TRUE(header->vlanId);
    EXPECT_EQ(*header->vlanId, 2);
    EXPECT_EQ(header->format, 2);
    EXPECT_EQ(header->rateCode, 4);
    EXPECT_EQ(header->channels, 8);
    EXPECT_EQ(header->bitDepth, 32);
    EXPECT_EQ(header->streamDataLength, 192);
}

TEST(ParseAafFrameHeader, VlanIdIsTheTagsLowTwelveBitsWhateverThePriority) {
    AafFrame frame;
    frame.tag = 0xffff;
    const std::optional<AafFrameHeader> header = parse(frame.build());
    ASSERT_TRUE(header);
    ASSERT_TRUE(header->vlanId);
    EXPECT_EQ(*header->vlanId, 4095);
}

TEST(ParseAafFrameHeader, ChannelCountTakesItsTwoHighBitsFromTheRateByte) {
    AafFrame frame;
    frame.channels = 0x3ff;
    frame.dataLength = 0;
    const std::optional<AafFrameHeader> header = parse(frame.build());
    ASSERT_TRUE(header);
    EXPECT_EQ(header->channels, 1023);
    EXPECT_EQ(header->rateCode, 5);
}

TEST(ParseAafFrameHeader, SourceAddressBecomesTwelveLowerCaseHexDigits) {
    AafFrame frame;
    frame.source = {{0xAB, 0xCD, 0xEF, 0x00, 0x0F, 0xF0}};
    const std::optional<AafFrameHeader> header = parse(frame.build());
    ASSERT_TRUE(header);
    EXPECT_EQ(header->deviceKey, "abcdef000ff0");
}

TEST(ParseAafFrameHeader, NullFrameIsNotAaf) {
    EXPECT_FALSE(parseAafFrameHeader(nullptr, 0));
    EXPECT_FALSE(parseAafFrameHeader(nullptr, 100));
}

TEST(ParseAafFrameHeader, OtherEtherTypeIsNotAaf) {
    AafFrame frame;
    frame.etherType = 0x88f7;
    EXPECT_FALSE(parse(frame.build()));
}

TEST(ParseAafFrameHeader, OtherAvtpSubtypeIsNotAaf) {
    AafFrame frame;
    frame.subtype = 4;
    EXPECT_FALSE(parse(frame.build()));
    frame.tag = 0x6002;
    EXPECT_FALSE(parse(frame.build()));
}

TEST(ParseAafFrameHeader, TaggedFrameOfAnotherEtherTypeIsNotAaf) {
    AafFrame frame;
    frame.tag = 0x6002;
    frame.etherType = 0x0800;
    EXPECT_FALSE(parse(frame.build()));
}

TEST(ParseAafFrameHeader, SecondTagIsLookedBehindOnlyUnderAServiceTag) {
    AafFrame frame;
    frame.tag = 0x6002;
    frame.etherType = 0x8100;
    EXPECT_FALSE(parse(frame.build()));
}

TEST(ParseAafFrameHeader, TagOfAnotherKindIsNotLookedBehind) {
    AafFrame frame;
    frame.tag = 0x6002;
    frame.taggedEtherType = 0x9100;
    EXPECT_FALSE(parse(frame.build()));
}

TEST(ParseAafFrameHeader, ReadsEveryFieldBehindAServiceTag) {
    AafFrame frame;
    frame.tag = 0xa00c;
    frame.taggedEtherType = 0x88a8;
    frame.format = 1;
    frame.channels = 4;
    frame.bitDepth = 32;
    frame.dataLength = 96;
    const std::optional<AafFrameHeader> header = parse(frame.build());
    ASSERT_TRUE(header);
    ASSERT_TRUE(header->vlanId);
    EXPECT_EQ(*header->vlanId, 12);
    EXPECT_EQ(header->format, 1);
    EXPECT_EQ(header->channels, 4);
    EXPECT_EQ(header->bitDepth, 32);
    EXPECT_EQ(header->streamDataLength, 96);
}

TEST(ParseAafFrameHeader, StackedTagsGiveTheVlanIdOfTheInnerTag) {
    AafFrame frame;
    frame.tag = 0x0064;
    frame.taggedEtherType = 0x88a8;
    frame.innerTag = 0x6007;
    frame.channels = 8;
    frame.dataLength = 96;
    const std::optional<AafFrameHeader> header = parse(frame.build());
    ASSERT_TRUE(header);
    ASSERT_TRUE(header->vlanId);
    EXPECT_EQ(*header->vlanId, 7);
    EXPECT_EQ(header->channels, 8);
    EXPECT_EQ(header->streamDataLength, 96);
}

TEST(ParseAafFrameHeader, FrameOfStackedTagsIsNotReadUntilItHoldsTheStreamDataLength) {
    AafFrame frame;
    frame.tag = 0x0064;
    frame.taggedEtherType = 0x88a8;
    frame.innerTag = 0x6007;
    const std::vector<std::uint8_t> whole = frame.build();
    const std::size_t shortest = shortestTagged + tagLength;
    for (std::size_t length = 0; length < shortest; ++length) {
        const std::vector<std::uint8_t> cut(whole.begin(),
                                            whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_FALSE(parse(cut)) << length << " bytes";
    }
    const std::vector<std::uint8_t> enough(whole.begin(),
                                           whole.begin() + static_cast<std::ptrdiff_t>(shortest));
    const std::optional<AafFrameHeader> header = parse(enough);
    ASSERT_TRUE(header);
    EXPECT_EQ(header->streamDataLength, 24);
}

// Every length of a frame cut short; each is copied into memory of exactly that size, so that a read past it
// is an error under AddressSanitizer.
class TruncatedFrame : public ::testing::TestWithParam<bool> {};

TEST_P(TruncatedFrame, IsNotReadUntilItHoldsTheStreamDataLength) {
    AafFrame frame;
    if (GetParam()) {
        frame.tag = 0x6002;
    }
    const std::vector<std::uint8_t> whole = frame.build();
    const std::size_t shortest = GetParam() ? shortestTagged : shortestUntagged;
    for (std::size_t length = 0; length < shortest; ++length) {
        const std::vector<std::uint8_t> cut(whole.begin(),
                                            whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_FALSE(parse(cut)) << length << " bytes";
    }
    const std::vector<std::uint8_t> enough(whole.begin(),
                                           whole.begin() + static_cast<std::ptrdiff_t>(shortest));
    const std::optional<AafFrameHeader> header = parse(enough);
    ASSERT_TRUE(header);
    EXPECT_EQ(header->streamDataLength, 24);
}

INSTANTIATE_TEST_SUITE_P(UntaggedAndTagged, TruncatedFrame, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& info) {
                             return info.param ? std::string("Tagged") : std::string("Untagged");
                         });

TEST(ParseAafFrameHeader, CapturedLengthBoundsTheReadNotTheBuffer) {
    const std::vector<std::uint8_t> whole = AafFrame().build();
    EXPECT_FALSE(parseAafFrameHeader(whole.data(), static_cast<std::uint32_t>(shortestUntagged - 1)));
    EXPECT_TRUE(parseAafFrameHeader(whole.data(), static_cast<std::uint32_t>(shortestUntagged)));
}

// What the library does with each format: it reads 16-, 24- and 32-bit integers and 32-bit floats, and no
// other format.
struct FormatRow {
    std::uint8_t format;
    std::optional<unsigned> sampleBytes;
    std::vector<std::string> reasons;
};

void PrintTo(const FormatRow& row, std::ostream* out) {
    *out << "format " << static_cast<unsigned>(row.format);
}

class StreamFormat : public ::testing::TestWithParam<FormatRow> {};

TEST_P(StreamFormat, GivesTheSampleSizeAndWhatTheLibraryDoesWithIt) {
    AafFrame frame;
    frame.format = GetParam().format;
    frame.dataLength = 48;
    const DiscoveredStream stream = streamOf(frame);
    EXPECT_EQ(stream.sampleBytes(), GetParam().sampleBytes);
    EXPECT_EQ(stream.reasons, GetParam().reasons);
    EXPECT_EQ(stream.isAnalysable(), GetParam().reasons.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Formats, StreamFormat,
    ::testing::Values(FormatRow{4, 2u, {}}, FormatRow{3, 3u, {}}, FormatRow{2, 4u, {}},
                      FormatRow{5, 4u, {"AES3 samples: not analysed"}}, FormatRow{1, 4u, {}},
                      FormatRow{0, std::nullopt, {"user-specified sample format: not analysed"}},
                      FormatRow{6, std::nullopt, {"unknown sample format 6: not analysed"}},
                      FormatRow{255, std::nullopt, {"unknown sample format 255: not analysed"}}),
    [](const ::testing::TestParamInfo<FormatRow>& info) {
        return "Code" + std::to_string(info.param.format);
    });

// The library's constants assume 48 kHz, so a stream of any other rate is analysed as if it were one.
struct RateRow {
    std::uint8_t code;
    std::optional<unsigned> hertz;
    std::vector<std::string> reasons;
};

void PrintTo(const RateRow& row, std::ostream* out) {
    *out << "rate code " << static_cast<unsigned>(row.code);
}

class StreamRate : public ::testing::TestWithParam<RateRow> {};

TEST_P(StreamRate, GivesTheNominalRateAndWhatTheLibraryMakesOfIt) {
    AafFrame frame;
    frame.rateCode = GetParam().code;
    const DiscoveredStream stream = streamOf(frame);
    EXPECT_EQ(stream.nominalRateHz(), GetParam().hertz);
    EXPECT_EQ(stream.reasons, GetParam().reasons);
}

INSTANTIATE_TEST_SUITE_P(
    RateCodes, StreamRate,
    ::testing::Values(RateRow{0, std::nullopt, {"user-specified rate: analysed as 48 kHz"}},
                      RateRow{1, 8000u, {"8 kHz: analysed as 48 kHz"}},
                      RateRow{2, 16000u, {"16 kHz: analysed as 48 kHz"}},
                      RateRow{3, 32000u, {"32 kHz: analysed as 48 kHz"}},
                      RateRow{4, 44100u, {"44.1 kHz: analysed as 48 kHz"}}, RateRow{5, 48000u, {}},
                      RateRow{6, 88200u, {"88.2 kHz: analysed as 48 kHz"}},
                      RateRow{7, 96000u, {"96 kHz: analysed as 48 kHz"}},
                      RateRow{8, 176400u, {"176.4 kHz: analysed as 48 kHz"}},
                      RateRow{9, 192000u, {"192 kHz: analysed as 48 kHz"}},
                      RateRow{10, 24000u, {"24 kHz: analysed as 48 kHz"}},
                      RateRow{11, std::nullopt, {"unknown rate code 11: analysed as 48 kHz"}},
                      RateRow{15, std::nullopt, {"unknown rate code 15: analysed as 48 kHz"}}),
    [](const ::testing::TestParamInfo<RateRow>& info) { return "Code" + std::to_string(info.param.code); });

TEST(DiscoveredStream, SamplesPerFrameAreTheDataLengthOverChannelsTimesSampleSize) {
    AafFrame frame;
    frame.channels = 8;
    frame.format = 2;
    frame.dataLength = 8 * 12 * 4;
    const DiscoveredStream stream = streamOf(frame);
    EXPECT_EQ(stream.samplesPerFrame(), 12u);
    EXPECT_TRUE(stream.reasons.empty());
}

TEST(DiscoveredStream, DataLengthOfNoWholeSampleInstantIsRefused) {
    AafFrame frame;
    frame.dataLength = 25;
    const DiscoveredStream stream = streamOf(frame);
    EXPECT_FALSE(stream.samplesPerFrame());
    EXPECT_EQ(stream.reasons,
              std::vector<std::string>{"stream data length 25 is not whole sample instants: audio refused"});
}

TEST(DiscoveredStream, FrameWithoutSamplesHasNoAudio) {
    AafFrame frame;
    frame.dataLength = 0;
    const DiscoveredStream stream = streamOf(frame);
    EXPECT_EQ(stream.samplesPerFrame(), 0u);
    EXPECT_EQ(stream.reasons, std::vector<std::string>{"no samples in a frame: no audio"});
}

TEST(DiscoveredStream, NoChannelsMeansAudioRefused) {
    AafFrame frame;
    frame.channels = 0;
    frame.dataLength = 0;
    const DiscoveredStream stream = streamOf(frame);
    EXPECT_FALSE(stream.samplesPerFrame());
    EXPECT_EQ(stream.reasons, std::vector<std::string>{"0 channels: audio refused"});
}

TEST(DiscoveredStream, MoreThan255ChannelsMeansAudioRefused) {
    AafFrame frame;
    frame.channels = 256;
    frame.dataLength = 512;
    const DiscoveredStream stream = streamOf(frame);
    EXPECT_EQ(stream.samplesPerFrame(), 1u);
    EXPECT_EQ(stream.reasons, std::vector<std::string>{"more than 255 channels: audio refused"});
    frame.channels = 255;
    frame.dataLength = 510;
    EXPECT_TRUE(streamOf(frame).isAnalysable());
}

TEST(DiscoveredStream, VlanTaggedFramesAreAnalysable) {
    AafFrame frame;
    frame.tag = 0x6002;
    EXPECT_TRUE(streamOf(frame).reasons.empty());
    frame.taggedEtherType = 0x88a8;
    frame.innerTag = 0x6003;
    EXPECT_TRUE(streamOf(frame).reasons.empty());
}

TEST(DiscoveredStream, ReasonsComeInTheOrderChannelsFormatLengthRate) {
    AafFrame frame;
    frame.tag = 0x6003;
    frame.channels = 300;
    frame.format = 5;
    frame.dataLength = 301;
    frame.rateCode = 7;
    EXPECT_EQ(streamOf(frame).reasons,
              (std::vector<std::string>{"more than 255 channels: audio refused", "AES3 samples: not analysed",
                                        "stream data length 301 is not whole sample instants: audio refused",
                                        "96 kHz: analysed as 48 kHz"}));
}

TEST(DiscoveredStream, RateIsFramesAfterTheFirstOverTheTimeSinceIt) {
    StreamDiscovery discovery;
    const std::vector<std::uint8_t> bytes = AafFrame().build();
    // 801 frames 125 us apart, starting at an arbitrary capture time: 8000 frames a second.
    const long double start = 1700000000.25L;
    for (int frame = 0; frame <= 800; ++frame) {
        discovery.addFrame(bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                           static_cast<double>(start + frame / 8000.0L));
    }
    const std::vector<DiscoveredStream> streams = discovery.streams();
    ASSERT_EQ(streams.size(), 1u);
    EXPECT_EQ(streams[0].frames, 801u);
    // The arrival times are doubles of about 1.7e9 s, each off by up to half a unit in their last place.
    const double tolerance = 8000.0 * 2 * 1.7e9 * 1.1e-16 / 0.1;
    EXPECT_NEAR(streams[0].framesPerSecond(), 8000.0, tolerance);
}

TEST(DiscoveredStream, RateOfASingleFrameIsZero) {
    EXPECT_EQ(streamOf(AafFrame()).framesPerSecond(), 0.0);
}

TEST(StreamDiscovery, ListsStreamsInTheOrderOfTheirFirstFrame) {
    StreamDiscovery discovery;
    AafFrame first;
    first.source = {{0x02, 0, 0, 0, 0, 0x09}};
    AafFrame second;
    second.source = {{0x02, 0, 0, 0, 0, 0x01}};
    const std::vector<std::uint8_t> firstBytes = first.build();
    const std::vector<std::uint8_t> secondBytes = second.build();
    for (int round = 0; round < 3; ++round) {
        discovery.addFrame(firstBytes.data(), static_cast<std::uint32_t>(firstBytes.size()), 1.0 + round);
        discovery.addFrame(secondBytes.data(), static_cast<std::uint32_t>(secondBytes.size()), 1.5 + round);
    }
    discovery.addFrame(secondBytes.data(), static_cast<std::uint32_t>(secondBytes.size()), 4.0);
    const std::vector<DiscoveredStream> streams = discovery.streams();
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(streams[0].header.deviceKey, "020000000009");
    EXPECT_EQ(streams[0].frames, 3u);
    EXPECT_EQ(streams[0].firstArrival, 1.0);
    EXPECT_EQ(streams[0].latestArrival, 3.0);
    EXPECT_EQ(streams[1].header.deviceKey, "020000000001");
    EXPECT_EQ(streams[1].frames, 4u);
    EXPECT_EQ(streams[1].firstArrival, 1.5);
    EXPECT_EQ(streams[1].latestArrival, 4.0);
}

TEST(StreamDiscovery, KeepsTheFieldsOfTheFirstFrameOfAStream) {
    StreamDiscovery discovery;
    AafFrame frame;
    const std::vector<std::uint8_t> before = frame.build();
    frame.channels = 4;
    frame.dataLength = 48;
    const std::vector<std::uint8_t> after = frame.build();
    discovery.addFrame(before.data(), static_cast<std::uint32_t>(before.size()), 1.0);
    discovery.addFrame(after.data(), static_cast<std::uint32_t>(after.size()), 2.0);
    const std::vector<DiscoveredStream> streams = discovery.streams();
    ASSERT_EQ(streams.size(), 1u);
    EXPECT_EQ(streams[0].header.channels, 2);
    EXPECT_EQ(streams[0].frames, 2u);
}

TEST(StreamDiscovery, StreamsSharingASourceAddressAreBothUnanalysable) {
    StreamDiscovery discovery;
    AafFrame frame;
    const std::vector<std::uint8_t> first = frame.build();
    frame.streamId = 0x00a0c91122330002;
    const std::vector<std::uint8_t> second = frame.build();
    discovery.addFrame(first.data(), static_cast<std::uint32_t>(first.size()), 1.0);
    discovery.addFrame(second.data(), static_cast<std::uint32_t>(second.size()), 1.0);
    const std::vector<DiscoveredStream> streams = discovery.streams();
    ASSERT_EQ(streams.size(), 2u);
    for (const DiscoveredStream& stream : streams) {
        EXPECT_EQ(stream.reasons,
                  std::vector<std::string>{
                      "source address shared by 2 streams: frames dropped as out of sequence"});
    }
    EXPECT_EQ(streams[0].header.streamId, 0x00a0c91122330001u);
    EXPECT_EQ(streams[1].header.streamId, 0x00a0c91122330002u);
}

TEST(StreamDiscovery, FramesThatAreNotAafAreCountedAndLeftOut) {
    StreamDiscovery discovery;
    AafFrame frame;
    frame.subtype = 4;
    const std::vector<std::uint8_t> other = frame.build();
    discovery.addFrame(other.data(), static_cast<std::uint32_t>(other.size()), 1.0);
    discovery.addFrame(other.data(), 20, 1.0);
    discovery.addFrame(nullptr, 0, 1.0);
    EXPECT_TRUE(discovery.streams().empty());
    EXPECT_EQ(discovery.getIgnoredFrames(), 3u);
}

TEST(StreamDiscovery, FirstAnalysableSkipsStreamsTheLibraryCannotAnalyse) {
    StreamDiscovery discovery;
    AafFrame aes3;
    aes3.source = {{0x02, 0, 0, 0, 0, 0x01}};
    aes3.format = 5;
    AafFrame unstated;
    unstated.source = {{0x02, 0, 0, 0, 0, 0x02}};
    unstated.format = 0;
    AafFrame plain;
    plain.source = {{0x02, 0, 0, 0, 0, 0x03}};
    AafFrame later;
    later.source = {{0x02, 0, 0, 0, 0, 0x04}};
    for (const AafFrame* frame : {&aes3, &unstated, &plain, &later}) {
        const std::vector<std::uint8_t> bytes = frame->build();
        discovery.addFrame(bytes.data(), static_cast<std::uint32_t>(bytes.size()), 1.0);
    }
    const std::optional<DiscoveredStream> chosen = StreamDiscovery::firstAnalysable(discovery.streams());
    ASSERT_TRUE(chosen);
    EXPECT_EQ(chosen->header.deviceKey, "020000000003");
}

TEST(StreamDiscovery, FirstAnalysableOfNoneIsEmpty) {
    EXPECT_FALSE(StreamDiscovery::firstAnalysable({}));
    AafFrame aes3;
    aes3.format = 5;
    EXPECT_FALSE(StreamDiscovery::firstAnalysable({streamOf(aes3)}));
}

TEST(StreamDiscovery, TableHasAHeadingAndOneAlignedLinePerStream) {
    StreamDiscovery discovery;
    AafFrame plain;
    plain.channels = 8;
    plain.dataLength = 8 * 6 * 2;
    AafFrame tagged;
    tagged.source = {{0x02, 0x53, 0x43, 0, 0, 0x02}};
    tagged.streamId = 0x0253430000020007;
    tagged.tag = 0x6002;
    tagged.format = 2;
    tagged.bitDepth = 24;
    const std::vector<std::uint8_t> plainBytes = plain.build();
    const std::vector<std::uint8_t> taggedBytes = tagged.build();
    for (int frame = 0; frame <= 4; ++frame) {
        discovery.addFrame(plainBytes.data(), static_cast<std::uint32_t>(plainBytes.size()),
                           2.0 + frame * 0.25);
    }
    discovery.addFrame(taggedBytes.data(), static_cast<std::uint32_t>(taggedBytes.size()), 2.5);
    EXPECT_EQ(
        StreamDiscovery::formatTable(discovery.streams()),
        "device        stream id         channels  bits  rate/Hz  samples/frame  frames/s  VLAN  analysis\n"
        "00a0c9112233  00a0c91122330001         8    16    48000              6       4.0     -  ok\n"
        "025343000002  0253430000020007         2    24    48000              3         -     2  ok\n");
}

TEST(StreamDiscovery, TableOfUnknownValuesShowsDashes) {
    AafFrame frame;
    frame.format = 0;
    frame.rateCode = 0;
    EXPECT_EQ(
        StreamDiscovery::formatTable({streamOf(frame)}),
        "device        stream id         channels  bits  rate/Hz  samples/frame  frames/s  VLAN  analysis\n"
        "00a0c9112233  00a0c91122330001         2    16        -              -         -     -  "
        "user-specified sample format: not analysed; user-specified rate: analysed as 48 kHz\n");
}

TEST(StreamDiscovery, RatesAreWrittenInKilohertzWithoutTrailingZeros) {
    EXPECT_EQ(StreamDiscovery::kilohertz(48000), "48 kHz");
    EXPECT_EQ(StreamDiscovery::kilohertz(44100), "44.1 kHz");
    EXPECT_EQ(StreamDiscovery::kilohertz(176400), "176.4 kHz");
    EXPECT_EQ(StreamDiscovery::kilohertz(8000), "8 kHz");
    EXPECT_EQ(StreamDiscovery::kilohertz(22050), "22.05 kHz");
    EXPECT_EQ(StreamDiscovery::kilohertz(8001), "8.001 kHz");
}

TEST(StreamDiscovery, SummaryNamesDeviceStreamChannelsAndRate) {
    AafFrame frame;
    frame.channels = 8;
    frame.dataLength = 96;
    EXPECT_EQ(StreamDiscovery::summary(streamOf(frame)),
              "00a0c9112233 (stream 00a0c91122330001, 8 channels, 48 kHz)");
    frame.rateCode = 0;
    EXPECT_EQ(StreamDiscovery::summary(streamOf(frame)),
              "00a0c9112233 (stream 00a0c91122330001, 8 channels, rate not stated)");
}

} // namespace
