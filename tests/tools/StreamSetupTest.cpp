// The host's step from a discovered stream to the library's configurations: the form discovery reads in a
// frame (format code, channels, samples per frame, tag), the options that take it, the configurations made
// of it, and what the choice of the stream says to the user.
#include "StreamSetup.h"
#include "AafFrameBuilder.h"
#include "HostOptions.h"
#include "StreamChoice.h"
#include "StreamDiscovery.h"
#include "StreamFormat.h"

#include "pcapplus/PcapDeviceInfo.h"
#include "sonacore/IDeviceConfiguration.h"
#include "sonacore/IStreamConfiguration.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <iostream>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

using host::DiscoveredStream;
using host::HeardStreams;
using host::HostOptions;
using host::StreamChoice;
using host::StreamDiscovery;
using host::StreamFormat;
using host::StreamSetup;
using sonacore::SampleFormat;

namespace {

// One AAF frame's headers, 16-bit stereo of 6 samples at 48 kHz from 02:53:43:00:00:01 unless told
// otherwise, with the stream ID of its source address; tagged for VLAN `vlanId` with priority 3.
struct Frame {
    std::uint8_t lastSourceByte = 0x01;
    std::optional<std::uint16_t> vlanId;
    std::uint8_t format = 4;
    std::uint8_t rateCode = 5;
    std::uint16_t channels = 2;
    std::uint8_t bitDepth = 16;
    std::uint16_t dataLength = 24;

    std::vector<std::uint8_t> build() const {
        toolstest::AafFrame frame;
        frame.source = {{0x02, 0x53, 0x43, 0x00, 0x00, lastSourceByte}};
        frame.streamId = 0x0253430000000001 | (std::uint64_t{lastSourceByte} << 16);
        if (vlanId) {
            frame.tag = static_cast<std::uint16_t>(0x6000 | *vlanId);
        }
        frame.format = format;
        frame.rateCode = rateCode;
        frame.channels = channels;
        frame.bitDepth = bitDepth;
        frame.dataLength = dataLength;
        return frame.build();
    }
};

std::vector<DiscoveredStream> streamsOf(const std::vector<Frame>& frames) {
    StreamDiscovery discovery;
    for (const Frame& frame : frames) {
        const std::vector<std::uint8_t> bytes = frame.build();
        discovery.addFrame(bytes.data(), static_cast<std::uint32_t>(bytes.size()), 1.0);
    }
    return discovery.streams();
}

DiscoveredStream streamOf(const Frame& frame) {
    const std::vector<DiscoveredStream> streams = streamsOf({frame});
    EXPECT_EQ(streams.size(), 1u);
    return streams.empty() ? DiscoveredStream{} : streams.front();
}

// The form of 8 channels of 12 32-bit samples behind a tag of VLAN 2: what a real AVB network sends.
Frame taggedWideFrame() {
    Frame frame;
    frame.vlanId = 2;
    frame.format = 2;
    frame.bitDepth = 32;
    frame.channels = 8;
    frame.dataLength = 8 * 12 * 4;
    return frame;
}

struct FormatCodeRow {
    std::uint8_t code;
    std::optional<SampleFormat> sampleFormat;
};

void PrintTo(const FormatCodeRow& row, std::ostream* out) {
    *out << "format code " << static_cast<unsigned>(row.code);
}

class FormatCode : public ::testing::TestWithParam<FormatCodeRow> {};

TEST_P(FormatCode, GivesTheSampleFormatTheLibraryReads) {
    EXPECT_EQ(StreamFormat::sampleFormatOf(GetParam().code), GetParam().sampleFormat);
}

INSTANTIATE_TEST_SUITE_P(
    Codes, FormatCode,
    ::testing::Values(FormatCodeRow{0, std::nullopt}, FormatCodeRow{1, SampleFormat::Float32},
                      FormatCodeRow{2, SampleFormat::Int32}, FormatCodeRow{3, SampleFormat::Int24},
                      FormatCodeRow{4, SampleFormat::Int16}, FormatCodeRow{5, std::nullopt},
                      FormatCodeRow{6, std::nullopt}, FormatCodeRow{255, std::nullopt}),
    [](const ::testing::TestParamInfo<FormatCodeRow>& info) {
        return "Code" + std::to_string(info.param.code);
    });

TEST(DiscoveredStreamFormat, TakesFormatChannelsSamplesPerFrameTagAndRateFromTheFrame) {
    const std::optional<StreamFormat> format = streamOf(taggedWideFrame()).streamFormat();
    ASSERT_TRUE(format);
    EXPECT_EQ(format->sampleFormat, SampleFormat::Int32);
    EXPECT_EQ(format->sampleSize, 4u);
    EXPECT_EQ(format->channels, 8u);
    EXPECT_EQ(format->samplesPerFrame, 12u);
    EXPECT_EQ(format->vlanId, std::optional<std::uint16_t>(2));
    EXPECT_EQ(format->rateHz, std::optional<unsigned>(48000));
}

TEST(DiscoveredStreamFormat, UntaggedFrameGivesNoVlan) {
    const std::optional<StreamFormat> format = streamOf(Frame()).streamFormat();
    ASSERT_TRUE(format);
    EXPECT_EQ(format->sampleFormat, SampleFormat::Int16);
    EXPECT_EQ(format->sampleSize, 2u);
    EXPECT_EQ(format->channels, 2u);
    EXPECT_EQ(format->samplesPerFrame, 6u);
    EXPECT_FALSE(format->vlanId);
}

TEST(DiscoveredStreamFormat, TwentyFourSignificantBitsInA32BitContainerAreInt32) {
    Frame frame = taggedWideFrame();
    frame.bitDepth = 24;
    const std::optional<StreamFormat> format = streamOf(frame).streamFormat();
    ASSERT_TRUE(format);
    EXPECT_EQ(format->sampleFormat, SampleFormat::Int32);
    EXPECT_EQ(format->samplesPerFrame, 12u);
}

TEST(DiscoveredStreamFormat, PackedTwentyFourBitSamplesAreInt24) {
    Frame frame;
    frame.format = 3;
    frame.bitDepth = 24;
    frame.channels = 4;
    frame.dataLength = 4 * 6 * 3;
    const std::optional<StreamFormat> format = streamOf(frame).streamFormat();
    ASSERT_TRUE(format);
    EXPECT_EQ(format->sampleFormat, SampleFormat::Int24);
    EXPECT_EQ(format->sampleSize, 3u);
    EXPECT_EQ(format->samplesPerFrame, 6u);
}

TEST(DiscoveredStreamFormat, FloatSamplesAreFloat32) {
    Frame frame;
    frame.format = 1;
    frame.bitDepth = 32;
    frame.dataLength = 2 * 6 * 4;
    const std::optional<StreamFormat> format = streamOf(frame).streamFormat();
    ASSERT_TRUE(format);
    EXPECT_EQ(format->sampleFormat, SampleFormat::Float32);
    EXPECT_EQ(format->samplesPerFrame, 6u);
}

TEST(DiscoveredStreamFormat, RateOtherThan48kHzKeepsTheFormatAndSaysSo) {
    Frame frame;
    frame.rateCode = 4;
    const DiscoveredStream stream = streamOf(frame);
    const std::optional<StreamFormat> format = stream.streamFormat();
    ASSERT_TRUE(format);
    EXPECT_EQ(format->rateHz, std::optional<unsigned>(44100));
    EXPECT_EQ(stream.reasons, std::vector<std::string>{"44.1 kHz: analysed as 48 kHz"});
}

struct UnreadableRow {
    std::string name;
    Frame frame;
};

void PrintTo(const UnreadableRow& row, std::ostream* out) {
    *out << row.name;
}

class UnreadableStream : public ::testing::TestWithParam<UnreadableRow> {};

TEST_P(UnreadableStream, HasNoFormatToSetUp) {
    const DiscoveredStream stream = streamOf(GetParam().frame);
    EXPECT_FALSE(stream.streamFormat());
    EXPECT_FALSE(stream.isAnalysable());
}

Frame withFormat(std::uint8_t format) {
    Frame frame;
    frame.format = format;
    return frame;
}

Frame withChannels(std::uint16_t channels, std::uint16_t dataLength) {
    Frame frame;
    frame.channels = channels;
    frame.dataLength = dataLength;
    return frame;
}

INSTANTIATE_TEST_SUITE_P(Forms, UnreadableStream,
                         ::testing::Values(UnreadableRow{"Aes3", withFormat(5)},
                                           UnreadableRow{"UserSpecifiedFormat", withFormat(0)},
                                           UnreadableRow{"ReservedFormat", withFormat(6)},
                                           UnreadableRow{"NoChannel", withChannels(0, 0)},
                                           UnreadableRow{"MoreThan255Channels", withChannels(256, 512)},
                                           UnreadableRow{"NoWholeSampleInstants", withChannels(2, 25)},
                                           UnreadableRow{"NoSamples", withChannels(2, 0)}),
                         [](const ::testing::TestParamInfo<UnreadableRow>& info) { return info.param.name; });

TEST(StreamFormatText, NamesChannelsSamplesSamplesPerFrameAndTag) {
    StreamFormat format;
    EXPECT_EQ(format.describe(), "2 channels of 16-bit integer samples, 6 samples per frame, untagged");
    format.sampleFormat = SampleFormat::Float32;
    format.channels = 1;
    format.samplesPerFrame = 1;
    format.vlanId = 4095;
    EXPECT_EQ(format.describe(), "1 channel of 32-bit float samples, 1 sample per frame, VLAN 4095");
}

TEST(StreamFormatText, NamesEverySampleFormat) {
    StreamFormat format;
    format.sampleFormat = SampleFormat::Int24;
    EXPECT_EQ(format.samplesText(), "24-bit integer samples");
    format.sampleFormat = SampleFormat::Int32;
    EXPECT_EQ(format.samplesText(), "32-bit integer samples");
    format.sampleFormat = SampleFormat::Unspecified;
    format.sampleSize = 3;
    EXPECT_EQ(format.samplesText(), "3-byte samples");
}

TEST(StreamFormatText, ShortNamesFollowTheTalkersFormatNames) {
    StreamFormat format;
    EXPECT_EQ(format.shortName(), "int16");
    format.sampleFormat = SampleFormat::Int24;
    EXPECT_EQ(format.shortName(), "int24");
    format.sampleFormat = SampleFormat::Int32;
    EXPECT_EQ(format.shortName(), "int32");
    format.sampleFormat = SampleFormat::Float32;
    EXPECT_EQ(format.shortName(), "float32");
    format.sampleFormat = SampleFormat::Unspecified;
    format.sampleSize = 3;
    EXPECT_EQ(format.shortName(), "3-byte");
}

HostOptions parsed(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "sonacore-host");
    std::vector<char*> argv;
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    HostOptions options;
    std::string error;
    EXPECT_TRUE(HostOptions::parse(static_cast<int>(argv.size()), argv.data(), options, error)) << error;
    return options;
}

TEST(HostOptionsStream, HeardFormatReplacesTheDefaults) {
    HostOptions options = parsed({"--adapter", "eth1"});
    const std::optional<StreamFormat> heard = streamOf(taggedWideFrame()).streamFormat();
    ASSERT_TRUE(heard);
    std::string error;
    ASSERT_TRUE(options.useStream("025343000001", *heard, error)) << error;
    EXPECT_EQ(options.deviceKey, "025343000001");
    EXPECT_EQ(options.stream.sampleFormat, SampleFormat::Int32);
    EXPECT_EQ(options.stream.channels, 8u);
    EXPECT_EQ(options.stream.samplesPerFrame, 12u);
    EXPECT_EQ(options.stream.vlanId, std::optional<std::uint16_t>(2));
    EXPECT_EQ(options.meteredChannels, (std::vector<unsigned>{0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST(HostOptionsStream, CommandLinesChannelsAndSamplesPerFrameWinOverTheHeardOnes) {
    HostOptions options = parsed({"--adapter", "eth1", "--channels", "4", "--samples-per-frame", "24"});
    const std::optional<StreamFormat> heard = streamOf(taggedWideFrame()).streamFormat();
    ASSERT_TRUE(heard);
    std::string error;
    ASSERT_TRUE(options.useStream("025343000001", *heard, error)) << error;
    EXPECT_EQ(options.stream.sampleFormat, SampleFormat::Int32);
    EXPECT_EQ(options.stream.channels, 4u);
    EXPECT_EQ(options.stream.samplesPerFrame, 24u);
    EXPECT_EQ(options.stream.vlanId, std::optional<std::uint16_t>(2));
}

TEST(HostOptionsStream, SampleSizeOtherThanTwoLeavesTheFormatUnstated) {
    const HostOptions options = parsed({"--sample-size", "3"});
    EXPECT_EQ(options.stream.sampleFormat, SampleFormat::Unspecified);
    EXPECT_EQ(options.stream.sampleSize, 3u);
    EXPECT_EQ(parsed({"--sample-size", "2"}).stream.sampleFormat, SampleFormat::Int16);
}

TEST(HostOptionsStream, VerboseIsAFlag) {
    EXPECT_TRUE(parsed({"--verbose"}).verbose);
    EXPECT_FALSE(parsed({}).verbose);
}

// The adapter the configurations name; a stream configuration needs one of the library's making.
pcapplus::PcapDeviceInfo& someAdapter() {
    static pcapplus::PcapDeviceInfo adapter(1, "lo", "Not available");
    return adapter;
}

TEST(StreamSetup, TaggedStreamIsConfiguredInItsFormatAndAcceptsTaggedFrames) {
    HostOptions options = parsed({"--adapter", "lo"});
    std::string error;
    ASSERT_TRUE(options.useStream("025343000001", *streamOf(taggedWideFrame()).streamFormat(), error));
    const sonacore::IStreamConfiguration& stream = StreamSetup::configure(options, someAdapter());
    EXPECT_EQ(stream.getDeviceMacAddress(), "025343000001");
    EXPECT_TRUE(stream.getAcceptVlanTagged());
    const sonacore::IDeviceConfiguration& device = *stream.getDeviceConfiguration();
    EXPECT_EQ(device.getSampleFormat(), SampleFormat::Int32);
    EXPECT_EQ(device.getSampleSize(), 4u);
    EXPECT_EQ(device.getChannelAmount(), 8u);
    EXPECT_EQ(device.getSamplesPerChannel(), 12u);
}

TEST(StreamSetup, UntaggedStreamDoesNotAskForTaggedFrames) {
    HostOptions options = parsed({"--adapter", "lo"});
    Frame frame;
    frame.format = 1;
    frame.dataLength = 2 * 6 * 4;
    std::string error;
    ASSERT_TRUE(options.useStream("025343000001", *streamOf(frame).streamFormat(), error));
    const sonacore::IStreamConfiguration& stream = StreamSetup::configure(options, someAdapter());
    EXPECT_FALSE(stream.getAcceptVlanTagged());
    EXPECT_EQ(stream.getDeviceConfiguration()->getSampleFormat(), SampleFormat::Float32);
    EXPECT_EQ(stream.getDeviceConfiguration()->getSamplesPerChannel(), 6u);
}

TEST(StreamSetup, StreamNotHeardIsConfiguredAs16BitUntagged) {
    const HostOptions options = parsed({"--adapter", "lo", "--mac", "02:53:43:00:00:09"});
    const sonacore::IStreamConfiguration& stream = StreamSetup::configure(options, someAdapter());
    EXPECT_EQ(stream.getDeviceMacAddress(), "025343000009");
    EXPECT_FALSE(stream.getAcceptVlanTagged());
    EXPECT_EQ(stream.getDeviceConfiguration()->getSampleFormat(), SampleFormat::Int16);
    EXPECT_EQ(stream.getDeviceConfiguration()->getChannelAmount(), 2u);
    EXPECT_EQ(stream.getDeviceConfiguration()->getSamplesPerChannel(), 6u);
}

TEST(StreamSetup, SampleSizeOfTheCommandLineIsGivenAsASize) {
    const HostOptions options = parsed({"--adapter", "lo", "--sample-size", "3"});
    const sonacore::IStreamConfiguration& stream = StreamSetup::configure(options, someAdapter());
    EXPECT_EQ(stream.getDeviceConfiguration()->getSampleFormat(), SampleFormat::Unspecified);
    EXPECT_EQ(stream.getDeviceConfiguration()->getSampleSize(), 3u);
}

// Standard output and error of the code run inside, as texts.
class Printed {
public:
    Printed() : out(std::cout.rdbuf(outText.rdbuf())), err(std::cerr.rdbuf(errText.rdbuf())) {}
    ~Printed() {
        std::cout.rdbuf(out);
        std::cerr.rdbuf(err);
    }
    Printed(const Printed&) = delete;
    Printed& operator=(const Printed&) = delete;

    std::string output() const { return outText.str(); }
    std::string error() const { return errText.str(); }

private:
    std::ostringstream outText;
    std::ostringstream errText;
    std::streambuf* out;
    std::streambuf* err;
};

HeardStreams heardOn(const std::vector<Frame>& frames) {
    HeardStreams heard;
    heard.adapterName = "veth7";
    heard.streams = streamsOf(frames);
    return heard;
}

TEST(StreamChoice, WithoutMacTakesTheFirstAnalysableStreamInItsFormAndSaysSo) {
    Frame aes3 = withFormat(5);
    Frame wide = taggedWideFrame();
    wide.lastSourceByte = 0x02;
    HostOptions options = parsed({"--adapter", "veth7"});
    int status = -1;
    Printed printed;
    ASSERT_TRUE(StreamChoice::takeFirstAnalysable(options, heardOn({aes3, wide}), status));
    EXPECT_EQ(printed.output(),
              "Monitoring 025343000002 (stream 0253430000020001, 8 channels, 48 kHz)\n"
              "Read as 8 channels of 32-bit integer samples, 12 samples per frame, VLAN 2.\n");
    EXPECT_EQ(printed.error(), "");
    EXPECT_EQ(options.deviceKey, "025343000002");
    EXPECT_EQ(options.stream.vlanId, std::optional<std::uint16_t>(2));
}

TEST(StreamChoice, WithMacTakesThatStreamInItsFormAndSaysHow) {
    Frame wide = taggedWideFrame();
    Frame plain;
    plain.lastSourceByte = 0x02;
    HostOptions options = parsed({"--adapter", "veth7", "--mac", "02:53:43:00:00:01"});
    int status = -1;
    Printed printed;
    ASSERT_TRUE(StreamChoice::takeNamed(options, heardOn({plain, wide}), status));
    EXPECT_EQ(printed.output(),
              "Read as 8 channels of 32-bit integer samples, 12 samples per frame, VLAN 2.\n");
    EXPECT_EQ(printed.error(), "");
    EXPECT_EQ(options.stream.sampleFormat, SampleFormat::Int32);
}

TEST(StreamChoice, WithMacSaysWhatTheLibraryMakesOfAStreamOfAnotherRate) {
    Frame frame;
    frame.rateCode = 7;
    HostOptions options = parsed({"--adapter", "veth7", "--mac", "02:53:43:00:00:01"});
    int status = -1;
    Printed printed;
    ASSERT_TRUE(StreamChoice::takeNamed(options, heardOn({frame}), status));
    EXPECT_EQ(printed.output(),
              "Read as 2 channels of 16-bit integer samples, 6 samples per frame, untagged; "
              "96 kHz: analysed as 48 kHz.\n");
}

TEST(StreamChoice, WithMacOfAStreamNotHeardKeepsThe16BitUntaggedFormAndSaysSo) {
    HostOptions options = parsed({"--adapter", "veth7", "--mac", "02:53:43:00:00:09", "--channels", "4"});
    int status = -1;
    Printed printed;
    ASSERT_TRUE(StreamChoice::takeNamed(options, heardOn({taggedWideFrame()}), status));
    EXPECT_EQ(printed.output(), "");
    EXPECT_EQ(printed.error(),
              "No frame of 025343000009 was heard on veth7 in 2 s, so its frames are read as "
              "4 channels of 16-bit integer samples, 6 samples per frame, untagged.\n");
    EXPECT_EQ(options.stream.sampleFormat, SampleFormat::Int16);
    EXPECT_FALSE(options.stream.vlanId);
}

TEST(StreamChoice, WithMacOfAStreamTheLibraryCannotReadEndsTheRunWithTheReason) {
    HostOptions options = parsed({"--adapter", "veth7", "--mac", "02:53:43:00:00:01"});
    int status = -1;
    Printed printed;
    EXPECT_FALSE(StreamChoice::takeNamed(options, heardOn({withFormat(5)}), status));
    EXPECT_EQ(status, 3);
    EXPECT_EQ(printed.output(), "");
    EXPECT_EQ(printed.error(), "The library cannot read the frames of 025343000001 (stream 0253430000010001, "
                               "2 channels, 48 kHz): AES3 samples: not analysed.\n");
}

TEST(StreamChoice, ChannelOfTheCommandLineThatTheHeardStreamLacksEndsTheRun) {
    HostOptions options = parsed({"--adapter", "veth7", "--meter", "1"});
    int status = -1;
    Printed printed;
    EXPECT_FALSE(StreamChoice::takeFirstAnalysable(options, heardOn({withChannels(1, 12)}), status));
    EXPECT_EQ(status, 2);
    EXPECT_EQ(printed.error(), "Channel 1 is not sent: the stream has 1 channel, numbered 0.\n");
}

// Regression: the demo sends four channels, and --meter 3 was refused against the two of a stream not yet
// heard.
TEST(HostOptionsStream, MeteredChannelWaitsForTheStreamsChannels) {
    HostOptions options = parsed({"--meter", "3"});
    StreamFormat demo;
    demo.channels = 4;
    std::string error;
    ASSERT_TRUE(options.useStream(options.deviceKey, demo, error)) << error;
    EXPECT_EQ(options.meteredChannels, std::vector<unsigned>{3});
    EXPECT_EQ(options.stream.channels, 4u);
}

TEST(HostOptionsStream, MeteredChannelBeyondTheCommandLinesChannelsIsRefused) {
    const char* arguments[] = {"sonacore-host", "--channels", "2", "--meter", "3"};
    HostOptions options;
    std::string error;
    EXPECT_FALSE(HostOptions::parse(5, const_cast<char**>(arguments), options, error));
    EXPECT_EQ(error, "Channel 3 is not sent: the stream has 2 channels, numbered from 0.");
}

TEST(StreamChoice, WithMacOfAStreamNotHeardAChannelBeyondItsFormEndsTheRun) {
    HostOptions options = parsed({"--adapter", "veth7", "--mac", "02:53:43:00:00:09", "--meter", "5"});
    int status = -1;
    Printed printed;
    EXPECT_FALSE(StreamChoice::takeNamed(options, heardOn({taggedWideFrame()}), status));
    EXPECT_EQ(status, 2);
    EXPECT_EQ(printed.error(),
              "No frame of 025343000009 was heard on veth7 in 2 s, so its frames are read as "
              "2 channels of 16-bit integer samples, 6 samples per frame, untagged.\n"
              "Channel 5 is not sent: the stream has 2 channels, numbered from 0.\n");
}

} // namespace
