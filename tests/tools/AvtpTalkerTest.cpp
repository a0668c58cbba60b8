#include "FloatSineReference.h"
#include "SignalGenerator.h"
#include "WavFile.h"
#include "support/NetnsFixture.h"
#include "tools/FrameCapture.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

using avtptalker::SignalGenerator;
using testsupport::CapturedFrame;
using testsupport::ChildProcess;
using testsupport::FrameCapture;

namespace {

using namespace std::chrono_literals;

// Offsets from the first byte of the Ethernet header; spelt out here rather than taken from the talker,
// so that the test checks the talker instead of repeating it.
constexpr std::size_t etherTypeOffset = 12;
constexpr std::size_t subtypeOffset = 14;
constexpr std::size_t flagsOffset = 15;
constexpr std::size_t sequenceOffset = 16;
constexpr std::size_t timestampUncertainOffset = 17;
constexpr std::size_t streamIdOffset = 18;
constexpr std::size_t timestampOffset = 26;
constexpr std::size_t formatOffset = 30;
constexpr std::size_t rateAndChannelsHighOffset = 31;
constexpr std::size_t channelsOffset = 32;
constexpr std::size_t bitDepthOffset = 33;
constexpr std::size_t dataLengthOffset = 34;
constexpr std::size_t sparseAndEventOffset = 36;
constexpr std::size_t reservedOffset = 37;
constexpr std::size_t payloadOffset = 38;

const std::array<std::uint8_t, 6> source{{0x02, 0x53, 0x43, 0x00, 0x00, 0x01}};
const std::array<std::uint8_t, 6> otherSource{{0x02, 0x53, 0x43, 0x00, 0x00, 0x02}};
const std::array<std::uint8_t, 6> defaultDestination{{0x91, 0xe0, 0xf0, 0x00, 0x00, 0x01}};
const std::string sourceText = "02:53:43:00:00:01";
const std::string otherSourceText = "02:53:43:00:00:02";

unsigned be16(const CapturedFrame& frame, std::size_t offset) {
    return (frame.bytes.at(offset) << 8) | frame.bytes.at(offset + 1);
}

std::uint32_t be32(const CapturedFrame& frame, std::size_t offset) {
    return (static_cast<std::uint32_t>(be16(frame, offset)) << 16) | be16(frame, offset + 2);
}

std::uint64_t be64(const CapturedFrame& frame, std::size_t offset) {
    return (static_cast<std::uint64_t>(be32(frame, offset)) << 32) | be32(frame, offset + 4);
}

std::int16_t sampleOf(const CapturedFrame& frame, std::size_t index) {
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(be16(frame, payloadOffset + 2 * index)));
}

bool hasAddress(const CapturedFrame& frame, std::size_t offset, const std::array<std::uint8_t, 6>& address) {
    return frame.bytes.size() >= offset + 6 &&
           std::equal(address.begin(), address.end(), frame.bytes.begin() + offset);
}

// Generators as the talker makes them: the channel's own text, else the common one, else the default.
std::vector<SignalGenerator> generators(unsigned channels, const std::string& common = "",
                                        const std::vector<std::pair<unsigned, std::string>>& own = {}) {
    std::vector<SignalGenerator> result;
    for (unsigned channel = 0; channel < channels; ++channel) {
        std::string text = common;
        for (const auto& [ownChannel, ownText] : own) {
            if (ownChannel == channel) {
                text = ownText;
            }
        }
        SignalGenerator generator = SignalGenerator::defaultFor(channel);
        std::string error;
        if (!text.empty() && !SignalGenerator::parse(text, channel, generator, error)) {
            ADD_FAILURE() << error;
        }
        result.push_back(generator);
    }
    return result;
}

// Checks every field the talker does not vary, the sequence number, the channel count and the data
// length of an unaltered AAF frame.
void expectAafHeader(const CapturedFrame& frame, std::uint8_t sequence, unsigned channels,
                     unsigned samplesPerFrame) {
    ASSERT_GE(frame.bytes.size(), payloadOffset);
    EXPECT_EQ(be16(frame, etherTypeOffset), 0x22f0u);
    EXPECT_EQ(frame.bytes[subtypeOffset], 0x02) << "subtype AAF";
    EXPECT_EQ(frame.bytes[flagsOffset], 0x81) << "sv=1, version 0, mr=0, gv=0, tv=1";
    EXPECT_EQ(frame.bytes[sequenceOffset], sequence);
    EXPECT_EQ(frame.bytes[timestampUncertainOffset], 0x00) << "tu=0";
    EXPECT_EQ(frame.bytes[formatOffset], 0x04) << "format INT_16BIT";
    EXPECT_EQ(frame.bytes[rateAndChannelsHighOffset], 0x50 | ((channels >> 8) & 0x03))
        << "nominal sample rate 48 kHz and the channel count's high bits";
    EXPECT_EQ(frame.bytes[channelsOffset], channels & 0xff);
    EXPECT_EQ(frame.bytes[bitDepthOffset], 16);
    EXPECT_EQ(be16(frame, dataLengthOffset), 2 * channels * samplesPerFrame);
    EXPECT_EQ(frame.bytes[sparseAndEventOffset], 0x00) << "sp=0 (normal), evt=0";
    EXPECT_EQ(frame.bytes[reservedOffset], 0x00);
    EXPECT_EQ(frame.wireLength, payloadOffset + 2 * channels * samplesPerFrame);
    EXPECT_EQ(frame.bytes.size(), frame.wireLength);
}

// Checks the payload of the frame carrying stream frame `index` against the generators, sample by sample.
void expectSamples(const CapturedFrame& frame, std::uint64_t index, unsigned channels,
                   unsigned samplesPerFrame, const std::vector<SignalGenerator>& signals) {
    ASSERT_EQ(frame.bytes.size(), payloadOffset + 2 * channels * samplesPerFrame);
    for (unsigned s = 0; s < samplesPerFrame; ++s) {
        for (unsigned c = 0; c < channels; ++c) {
            const std::uint64_t n = index * samplesPerFrame + s;
            ASSERT_EQ(sampleOf(frame, s * channels + c), signals.at(c).sampleAt(n))
                << "stream frame " << index << ", instant " << s << ", channel " << c;
        }
    }
}

std::vector<std::uint8_t> sequenceNumbers(const std::vector<CapturedFrame>& frames) {
    std::vector<std::uint8_t> numbers;
    for (const CapturedFrame& frame : frames) {
        numbers.push_back(frame.bytes.at(sequenceOffset));
    }
    return numbers;
}

// A file under /tmp that is removed when the test ends.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& suffix) {
        std::string pattern = "/tmp/sonacore-talker-test-XXXXXX" + suffix;
        const int fd = ::mkstemps(pattern.data(), static_cast<int>(suffix.size()));
        if (fd >= 0) {
            ::close(fd);
            filePath = pattern;
        }
    }
    ~TemporaryFile() {
        if (!filePath.empty()) {
            std::remove(filePath.c_str());
        }
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& path() const { return filePath; }

private:
    std::string filePath;
};

class AvtpTalkerLiveTest : public testsupport::NetnsFixture {
protected:
    // Opens a capture on the root end, runs one talker with `arguments` to its end and returns every frame
    // that arrived.
    std::vector<CapturedFrame> sendAndCapture(const std::vector<std::string>& arguments,
                                              const std::string& filter = "ether proto 0x22f0") {
        std::string error;
        const std::unique_ptr<FrameCapture> capture = FrameCapture::open(captureInterface(), error, filter);
        if (!capture) {
            ADD_FAILURE() << "cannot capture on " << captureInterface() << ": " << error;
            return {};
        }
        ChildProcess& talker = startTalker(arguments);
        EXPECT_TRUE(talkerSucceeded(talker, 60s));
        talkerOutput = talker.output();
        std::vector<CapturedFrame> frames = capture->settle();
        EXPECT_EQ(capture->kernelDrops(), 0u);
        return frames;
    }

    std::string talkerOutput;
};

TEST_F(AvtpTalkerLiveTest, HeaderFieldsAreThoseOfAConformingAafTalker) {
    const auto frames =
        sendAndCapture({"--source-mac", sourceText, "--destination-mac", "91:e0:f0:00:12:34", "--stream-id",
                        "0x0253430000010007", "--channels", "2", "--count", "4"});
    ASSERT_EQ(frames.size(), 4u);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        SCOPED_TRACE("frame " + std::to_string(i));
        EXPECT_TRUE(hasAddress(frames[i], 0, {{0x91, 0xe0, 0xf0, 0x00, 0x12, 0x34}}));
        EXPECT_TRUE(hasAddress(frames[i], 6, source));
        EXPECT_EQ(be64(frames[i], streamIdOffset), 0x0253430000010007u);
        expectAafHeader(frames[i], static_cast<std::uint8_t>(i), 2, 6);
    }
}

TEST_F(AvtpTalkerLiveTest, PresentationTimesAdvanceByOneFramePeriod) {
    const auto frames = sendAndCapture({"--count", "5", "--samples-per-frame", "6"});
    ASSERT_EQ(frames.size(), 5u);
    for (std::size_t i = 1; i < frames.size(); ++i) {
        EXPECT_EQ(be32(frames[i], timestampOffset) - be32(frames[i - 1], timestampOffset), 125000u)
            << "6 samples at 48 kHz last 125 us";
    }
}

TEST_F(AvtpTalkerLiveTest, DefaultsAreTheInterfaceAddressAMulticastDestinationAndTwoChannels) {
    const ChildProcess::Result link = ChildProcess::run(
        {testsupport::ipProgram(), "-n", namespaceName(), "-o", "link", "show", "dev", talkerInterface()});
    ASSERT_EQ(link.exitStatus, 0) << link.output;
    const std::string::size_type at = link.output.find("link/ether ");
    ASSERT_NE(at, std::string::npos) << link.output;
    std::array<std::uint8_t, 6> own{};
    std::istringstream text(link.output.substr(at + 11, 17));
    for (std::uint8_t& byte : own) {
        unsigned value = 0;
        char colon = 0;
        text >> std::hex >> value;
        text >> colon;
        byte = static_cast<std::uint8_t>(value);
    }

    const auto frames = sendAndCapture({"--count", "1"});
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_TRUE(hasAddress(frames[0], 0, defaultDestination));
    EXPECT_TRUE(hasAddress(frames[0], 6, own));
    EXPECT_TRUE(hasAddress(frames[0], streamIdOffset, own));
    EXPECT_EQ(be16(frames[0], streamIdOffset + 6), 0x0001u);
    expectAafHeader(frames[0], 0, 2, 6);
    expectSamples(frames[0], 0, 2, 6, generators(2));
}

TEST_F(AvtpTalkerLiveTest, SequenceNumbersIncrementPerFrameAndWrapFrom255To0) {
    const auto frames = sendAndCapture({"--count", "600"});
    ASSERT_EQ(frames.size(), 600u);
    const auto numbers = sequenceNumbers(frames);
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        ASSERT_EQ(numbers[i], i % 256) << "frame " << i;
    }
}

TEST_F(AvtpTalkerLiveTest, FirstSequenceOptionSetsTheNumberOfFrameZero) {
    const auto frames = sendAndCapture({"--first-sequence", "254", "--count", "4"});
    EXPECT_EQ(sequenceNumbers(frames), (std::vector<std::uint8_t>{254, 255, 0, 1}));
}

class AvtpTalkerChannelsLiveTest : public AvtpTalkerLiveTest,
                                   public ::testing::WithParamInterface<unsigned> {};

TEST_P(AvtpTalkerChannelsLiveTest, SamplesArriveExactlyAsTheGeneratorComputesThem) {
    const unsigned channels = GetParam();
    const std::vector<std::pair<unsigned, std::string>> own{
        {0, "sine:1000:0.5"}, {1, "noise:7:1"}, {3, "silence"}, {5, "counter:65530"}};
    std::vector<std::string> arguments{"--channels", std::to_string(channels), "--count", "300"};
    for (const auto& [channel, text] : own) {
        if (channel < channels) {
            arguments.push_back("--channel-signal");
            arguments.push_back(std::to_string(channel) + "=" + text);
        }
    }
    const auto signals = generators(channels, "", own);
    const auto frames = sendAndCapture(arguments);
    ASSERT_EQ(frames.size(), 300u);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        SCOPED_TRACE("frame " + std::to_string(i));
        expectAafHeader(frames[i], static_cast<std::uint8_t>(i), channels, 6);
        expectSamples(frames[i], i, channels, 6, signals);
    }
}

INSTANTIATE_TEST_SUITE_P(OneTwoAndEightChannels, AvtpTalkerChannelsLiveTest, ::testing::Values(1u, 2u, 8u),
                         [](const ::testing::TestParamInfo<unsigned>& info) {
                             return std::to_string(info.param) + "Channels";
                         });

TEST_F(AvtpTalkerLiveTest, CommonSignalAndSamplesPerFrameShapeThePayload) {
    const auto frames = sendAndCapture(
        {"--channels", "3", "--samples-per-frame", "12", "--signal", "counter:100", "--count", "10"});
    ASSERT_EQ(frames.size(), 10u);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        expectAafHeader(frames[i], static_cast<std::uint8_t>(i), 3, 12);
        for (unsigned s = 0; s < 12; ++s) {
            for (unsigned c = 0; c < 3; ++c) {
                EXPECT_EQ(sampleOf(frames[i], s * 3 + c), static_cast<std::int16_t>(100 + i * 12 + s));
            }
        }
    }
}

TEST_F(AvtpTalkerLiveTest, WavFileIsSentSampleExactAndLoops) {
    // Two channels of five instants, channel 1 the negation of channel 0, extremes included.
    const std::vector<std::int16_t> interleaved{1, -1, 2, -2, 32767, -32767, -32768, 32767, 5, -5};
    TemporaryFile wav(".wav");
    ASSERT_FALSE(wav.path().empty());
    {
        std::ofstream out(wav.path(), std::ios::binary);
        const auto le16 = [&](unsigned v) { out.put(char(v & 0xff)).put(char((v >> 8) & 0xff)); };
        const auto le32 = [&](std::uint32_t v) {
            le16(v & 0xffff);
            le16(v >> 16);
        };
        const std::uint32_t dataBytes = static_cast<std::uint32_t>(interleaved.size() * 2);
        out.write("RIFF", 4);
        le32(36 + dataBytes);
        out.write("WAVEfmt ", 8);
        le32(16);
        le16(1);
        le16(2);
        le32(48000);
        le32(48000 * 4);
        le16(4);
        le16(16);
        out.write("data", 4);
        le32(dataBytes);
        for (const std::int16_t sample : interleaved) {
            le16(static_cast<std::uint16_t>(sample));
        }
    }

    const auto frames = sendAndCapture({"--channels", "2", "--signal", "wav:" + wav.path(), "--count", "4"});
    ASSERT_EQ(frames.size(), 4u);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        for (unsigned s = 0; s < 6; ++s) {
            const std::size_t instant = (i * 6 + s) % 5;
            EXPECT_EQ(sampleOf(frames[i], s * 2), interleaved[instant * 2]);
            EXPECT_EQ(sampleOf(frames[i], s * 2 + 1), interleaved[instant * 2 + 1]);
        }
    }
}

TEST_F(AvtpTalkerLiveTest, CountStopsTheStreamAfterExactlyThatManyFrames) {
    EXPECT_EQ(sendAndCapture({"--count", "37"}).size(), 37u);
    EXPECT_NE(talkerOutput.find("frames sent: 37 (stream frames 37, stray 0)"), std::string::npos)
        << talkerOutput;
}

TEST_F(AvtpTalkerLiveTest, DurationStopsTheStreamAfterItsWorthOfFrames) {
    EXPECT_EQ(sendAndCapture({"--duration", "0.05"}).size(), 400u) << "8000 frames/s for 50 ms";
    EXPECT_EQ(sendAndCapture({"--duration", "0.05", "--samples-per-frame", "12"}).size(), 200u);
}

TEST_F(AvtpTalkerLiveTest, RunsUntilTerminatedWhenNeitherCountNorDurationIsGiven) {
    std::string error;
    const auto capture = FrameCapture::open(captureInterface(), error);
    ASSERT_TRUE(capture) << error;
    ChildProcess& talker = startTalker({"--signal", "counter"});
    ASSERT_GE(capture->waitForCount(200, 10s), 200u);
    talker.terminate();
    EXPECT_EQ(talker.exitStatus(), 0) << talker.output();
    EXPECT_NE(talker.output().find("frame rate:"), std::string::npos) << talker.output();

    const auto frames = capture->settle();
    for (std::size_t i = 0; i < frames.size(); ++i) {
        ASSERT_EQ(frames[i].bytes.at(sequenceOffset), i % 256);
        ASSERT_EQ(sampleOf(frames[i], 0), static_cast<std::int16_t>(i * 6));
    }
}

TEST_F(AvtpTalkerLiveTest, FastModeSendsEveryFrameInOrder) {
    const auto frames = sendAndCapture({"--fast", "--count", "3000", "--signal", "counter"});
    ASSERT_EQ(frames.size(), 3000u);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        ASSERT_EQ(sampleOf(frames[i], 0), static_cast<std::int16_t>(i * 6)) << "frame " << i;
    }
    EXPECT_NE(talkerOutput.find("lateness: not measured"), std::string::npos) << talkerOutput;
}

TEST_F(AvtpTalkerLiveTest, DropEveryNthFrameLeavesOutEveryNthFrame) {
    const auto signals = generators(2, "counter");
    const auto frames = sendAndCapture({"--drop-every", "4", "--count", "20", "--signal", "counter"});
    const std::vector<std::uint64_t> expected{0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 16, 17, 18};
    ASSERT_EQ(frames.size(), expected.size());
    for (std::size_t i = 0; i < frames.size(); ++i) {
        expectAafHeader(frames[i], static_cast<std::uint8_t>(expected[i]), 2, 6);
        expectSamples(frames[i], expected[i], 2, 6, signals);
    }
}

TEST_F(AvtpTalkerLiveTest, DropAtLeavesOutThatFrameOnly) {
    const auto frames = sendAndCapture({"--drop-at", "3", "--drop-at", "7", "--count", "9"});
    EXPECT_EQ(sequenceNumbers(frames), (std::vector<std::uint8_t>{0, 1, 2, 4, 5, 6, 8}));
}

TEST_F(AvtpTalkerLiveTest, RepeatSendsTheFrameTwiceByteForByte) {
    const auto frames = sendAndCapture({"--repeat-at", "5", "--count", "10"});
    ASSERT_EQ(frames.size(), 11u);
    EXPECT_EQ(sequenceNumbers(frames), (std::vector<std::uint8_t>{0, 1, 2, 3, 4, 5, 5, 6, 7, 8, 9}));
    EXPECT_EQ(frames[5].bytes, frames[6].bytes);
}

TEST_F(AvtpTalkerLiveTest, SwapSendsTheNextFrameBeforeTheGivenOne) {
    const auto signals = generators(2);
    const auto frames = sendAndCapture({"--swap-at", "3", "--count", "8"});
    const std::vector<std::uint64_t> expected{0, 1, 2, 4, 3, 5, 6, 7};
    ASSERT_EQ(frames.size(), expected.size());
    for (std::size_t i = 0; i < frames.size(); ++i) {
        expectAafHeader(frames[i], static_cast<std::uint8_t>(expected[i]), 2, 6);
        expectSamples(frames[i], expected[i], 2, 6, signals);
    }
}

TEST_F(AvtpTalkerLiveTest, ChannelCountChangesFromTheGivenFrameOnAndChannelsKeepTheirSignals) {
    const auto signals =
        generators(4, "", {{0, "counter"}, {1, "noise:3"}, {2, "sine:440:1"}, {3, "counter:7"}});
    const auto frames =
        sendAndCapture({"--channels", "2", "--channels-at", "5:4", "--channels-at", "8:1", "--channel-signal",
                        "0=counter", "--channel-signal", "1=noise:3", "--channel-signal", "2=sine:440:1",
                        "--channel-signal", "3=counter:7", "--count", "10"});
    ASSERT_EQ(frames.size(), 10u);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        SCOPED_TRACE("frame " + std::to_string(i));
        const unsigned channels = i < 5 ? 2 : (i < 8 ? 4 : 1);
        expectAafHeader(frames[i], static_cast<std::uint8_t>(i), channels, 6);
        expectSamples(frames[i], i, channels, 6, signals);
    }
}

TEST_F(AvtpTalkerLiveTest, ChannelCountZeroSendsAHeaderWithoutPayload) {
    const auto frames = sendAndCapture({"--channels-at", "1:0", "--channels-at", "2:2", "--count", "3"});
    ASSERT_EQ(frames.size(), 3u);
    expectAafHeader(frames[1], 1, 0, 6);
    EXPECT_EQ(frames[1].wireLength, 38u);
    expectAafHeader(frames[2], 2, 2, 6);
}

TEST_F(AvtpTalkerLiveTest, ChannelCountAbove255SetsTheHighBits) {
    const auto frames = sendAndCapture(
        {"--channels", "300", "--samples-per-frame", "1", "--signal", "silence", "--count", "1"});
    ASSERT_EQ(frames.size(), 1u);
    expectAafHeader(frames[0], 0, 300, 1);
}

TEST_F(AvtpTalkerLiveTest, TruncatedFrameIsCutToTheGivenLengthAndTheStreamGoesOn) {
    const auto full = generators(2);
    const auto frames = sendAndCapture(
        {"--truncate-at", "1:14", "--truncate-at", "2:33", "--truncate-at", "3:37", "--count", "5"});
    ASSERT_EQ(frames.size(), 5u);
    EXPECT_EQ(frames[1].wireLength, 14u);
    EXPECT_EQ(frames[2].wireLength, 33u);
    EXPECT_EQ(frames[3].wireLength, 37u);
    EXPECT_EQ(frames[2].bytes.at(sequenceOffset), 2);
    EXPECT_EQ(frames[2].bytes.at(channelsOffset), 2);
    EXPECT_EQ(be16(frames[3], dataLengthOffset), 24u) << "the header still states the full payload";
    for (const std::size_t whole : {0, 4}) {
        expectAafHeader(frames[whole], static_cast<std::uint8_t>(whole), 2, 6);
        expectSamples(frames[whole], whole, 2, 6, full);
    }
    for (const std::size_t cut : {1, 2, 3}) {
        EXPECT_TRUE(
            std::equal(frames[cut].bytes.begin(), frames[cut].bytes.begin() + 14, frames[0].bytes.begin()))
            << "frame " << cut << " keeps its Ethernet header";
    }
}

TEST_F(AvtpTalkerLiveTest, StatedDataLengthCanExceedThePayloadItComesWith) {
    const auto frames = sendAndCapture({"--data-length-at", "2:1000", "--count", "4"});
    ASSERT_EQ(frames.size(), 4u);
    EXPECT_EQ(be16(frames[2], dataLengthOffset), 1000u);
    EXPECT_EQ(frames[2].wireLength, 62u);
    expectSamples(frames[2], 2, 2, 6, generators(2));
    expectAafHeader(frames[3], 3, 2, 6);
}

TEST_F(AvtpTalkerLiveTest, StraySubtypeCopyGoesJustBeforeItsFrameWithoutTakingASequenceNumber) {
    const auto frames = sendAndCapture({"--insert-subtype", "3:0x7f", "--count", "6"});
    ASSERT_EQ(frames.size(), 7u);
    EXPECT_EQ(frames[3].bytes.at(subtypeOffset), 0x7f);
    std::vector<std::uint8_t> stray = frames[3].bytes;
    stray[subtypeOffset] = 0x02;
    EXPECT_EQ(stray, frames[4].bytes) << "the stray copy differs from its frame in the subtype only";
    std::vector<CapturedFrame> aaf;
    for (const CapturedFrame& frame : frames) {
        if (frame.bytes.at(subtypeOffset) == 0x02) {
            aaf.push_back(frame);
        }
    }
    EXPECT_EQ(sequenceNumbers(aaf), (std::vector<std::uint8_t>{0, 1, 2, 3, 4, 5}));
}

TEST_F(AvtpTalkerLiveTest, StrayEtherTypeCopyIsSentButNotSeenThroughTheAvtpFilter) {
    std::string error;
    const auto other = FrameCapture::open(captureInterface(), error, "ether proto 0x88b5");
    ASSERT_TRUE(other) << error;
    const auto frames = sendAndCapture({"--insert-ethertype", "2:0x88b5", "--count", "4"});
    EXPECT_EQ(sequenceNumbers(frames), (std::vector<std::uint8_t>{0, 1, 2, 3}));
    const auto strays = other->settle();
    ASSERT_EQ(strays.size(), 1u);
    std::vector<std::uint8_t> restored = strays[0].bytes;
    restored[etherTypeOffset] = 0x22;
    restored[etherTypeOffset + 1] = 0xf0;
    EXPECT_EQ(restored, frames[2].bytes);
}

TEST_F(AvtpTalkerLiveTest, TwoTalkersWithDifferentSourceAddressesShareOneInterface) {
    std::string error;
    const auto capture = FrameCapture::open(captureInterface(), error);
    ASSERT_TRUE(capture) << error;
    ChildProcess& first = startTalker({"--source-mac", sourceText, "--signal", "counter", "--count", "400"});
    ChildProcess& second = startTalker(
        {"--source-mac", otherSourceText, "--channels", "8", "--signal", "noise:9", "--count", "300"});
    ASSERT_TRUE(talkerSucceeded(first, 30s));
    ASSERT_TRUE(talkerSucceeded(second, 30s));

    std::vector<CapturedFrame> fromFirst;
    std::vector<CapturedFrame> fromSecond;
    for (const CapturedFrame& frame : capture->settle()) {
        (hasAddress(frame, 6, source) ? fromFirst : fromSecond).push_back(frame);
    }
    ASSERT_EQ(fromFirst.size(), 400u);
    ASSERT_EQ(fromSecond.size(), 300u);
    const auto firstSignals = generators(2, "counter");
    const auto secondSignals = generators(8, "noise:9");
    for (std::size_t i = 0; i < fromFirst.size(); ++i) {
        expectSamples(fromFirst[i], i, 2, 6, firstSignals);
    }
    for (std::size_t i = 0; i < fromSecond.size(); ++i) {
        EXPECT_TRUE(hasAddress(fromSecond[i], 6, otherSource));
        expectSamples(fromSecond[i], i, 8, 6, secondSignals);
    }
}

TEST_F(AvtpTalkerLiveTest, SampleDumpHasOneLinePerFrameSentWithItsValues) {
    TemporaryFile dump(".txt");
    ASSERT_FALSE(dump.path().empty());
    const auto frames = sendAndCapture(
        {"--dump-samples", dump.path(), "--insert-subtype", "1:3", "--signal", "noise:1", "--count", "3"});
    ASSERT_EQ(frames.size(), 4u);
    std::ifstream in(dump.path());
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    ASSERT_EQ(lines.size(), frames.size());
    const std::vector<std::string> prefixes{"0 0 2 :", "1* 1 2 :", "1 1 2 :", "2 2 2 :"};
    for (std::size_t i = 0; i < frames.size(); ++i) {
        std::string expected = prefixes[i];
        for (std::size_t s = 0; s < 12; ++s) {
            expected += " " + std::to_string(sampleOf(frames[i], s));
        }
        EXPECT_EQ(lines[i], expected);
    }
}

TEST_F(AvtpTalkerLiveTest, SummaryReportsFramesElapsedRateAndLateness) {
    const auto frames = sendAndCapture({"--count", "80", "--drop-at", "4", "--insert-subtype", "9:5"});
    EXPECT_EQ(frames.size(), 80u);
    EXPECT_NE(talkerOutput.find("frames sent: 80 (stream frames 80, stray 1)"), std::string::npos)
        << talkerOutput;
    EXPECT_NE(talkerOutput.find("elapsed: "), std::string::npos) << talkerOutput;
    EXPECT_NE(talkerOutput.find("frame rate: "), std::string::npos) << talkerOutput;
    EXPECT_NE(talkerOutput.find("(nominal 8000.000)"), std::string::npos) << talkerOutput;
    EXPECT_NE(talkerOutput.find("lateness: mean "), std::string::npos) << talkerOutput;
}

// One integer format as either option names it: --sample-bits BITS or --format NAME.
struct SampleWidth {
    unsigned bits;
    std::uint8_t format;
    std::string option;
    std::string value;
};

void PrintTo(const SampleWidth& width, std::ostream* out) {
    *out << width.option << " " << width.value << ": " << width.bits << " bits, format "
         << static_cast<unsigned>(width.format);
}

class AvtpTalkerSampleWidthLiveTest : public AvtpTalkerLiveTest,
                                      public ::testing::WithParamInterface<SampleWidth> {};

TEST_P(AvtpTalkerSampleWidthLiveTest, WideSamplesCarryTheSignalShiftedUpToFillTheirWidth) {
    const unsigned bits = GetParam().bits;
    const std::size_t bytes = bits / 8;
    const auto signals = generators(2, "", {{0, "counter:65530"}, {1, "noise:5:1"}});
    const auto frames =
        sendAndCapture({GetParam().option, GetParam().value, "--channel-signal", "0=counter:65530",
                        "--channel-signal", "1=noise:5:1", "--count", "3"});
    ASSERT_EQ(frames.size(), 3u);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        SCOPED_TRACE("frame " + std::to_string(i));
        const CapturedFrame& frame = frames[i];
        ASSERT_EQ(frame.wireLength, payloadOffset + 2 * 6 * bytes);
        ASSERT_EQ(frame.bytes.size(), frame.wireLength);
        EXPECT_EQ(frame.bytes[subtypeOffset], 0x02);
        EXPECT_EQ(frame.bytes[sequenceOffset], i);
        EXPECT_EQ(frame.bytes[formatOffset], GetParam().format);
        EXPECT_EQ(frame.bytes[rateAndChannelsHighOffset], 0x50);
        EXPECT_EQ(frame.bytes[channelsOffset], 2);
        EXPECT_EQ(frame.bytes[bitDepthOffset], bits);
        EXPECT_EQ(be16(frame, dataLengthOffset), 2 * 6 * bytes);
        for (unsigned s = 0; s < 6; ++s) {
            for (unsigned c = 0; c < 2; ++c) {
                // The sample's bytes as a signed number of its width, against the 16-bit value times the
                // scale of the extra bits.
                const std::size_t at = payloadOffset + (s * 2 + c) * bytes;
                long long value = static_cast<std::int8_t>(frame.bytes[at]);
                for (std::size_t b = 1; b < bytes; ++b) {
                    value = value * 256 + frame.bytes[at + b];
                }
                const long long expected =
                    static_cast<long long>(signals[c].sampleAt(i * 6 + s)) * (1LL << (bits - 16));
                ASSERT_EQ(value, expected) << "instant " << s << ", channel " << c;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Widths, AvtpTalkerSampleWidthLiveTest,
                         ::testing::Values(SampleWidth{16, 0x04, "--sample-bits", "16"},
                                           SampleWidth{24, 0x03, "--sample-bits", "24"},
                                           SampleWidth{32, 0x02, "--sample-bits", "32"},
                                           SampleWidth{16, 0x04, "--format", "int16"},
                                           SampleWidth{24, 0x03, "--format", "int24"},
                                           SampleWidth{32, 0x02, "--format", "int32"}),
                         [](const ::testing::TestParamInfo<SampleWidth>& info) {
                             return info.param.option == "--format"
                                        ? "FormatInt" + std::to_string(info.param.bits)
                                        : std::to_string(info.param.bits) + "Bits";
                         });

// The float a sample's four bytes carry, big-endian.
float floatAt(const CapturedFrame& frame, std::size_t offset) {
    const std::uint32_t bits = be32(frame, offset);
    float value = 0.0f;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// The four big-endian bytes of a float, as a number to compare bit for bit.
std::uint32_t bitsOf(float value) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

TEST_F(AvtpTalkerLiveTest, FloatSamplesAreTheSignalsValueAsBigEndianSingles) {
    const auto frames = sendAndCapture({"--format", "float32", "--channel-signal", "0=sine:1000:0.9",
                                        "--channel-signal", "1=counter:65530", "--count", "12"});
    ASSERT_EQ(frames.size(), 12u);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        SCOPED_TRACE("frame " + std::to_string(i));
        const CapturedFrame& frame = frames[i];
        ASSERT_EQ(frame.wireLength, payloadOffset + 2 * 6 * 4);
        ASSERT_EQ(frame.bytes.size(), frame.wireLength);
        EXPECT_EQ(frame.bytes[sequenceOffset], i);
        EXPECT_EQ(frame.bytes[formatOffset], 0x01) << "format FLOAT_32BIT";
        EXPECT_EQ(frame.bytes[bitDepthOffset], 32);
        EXPECT_EQ(be16(frame, dataLengthOffset), 2 * 6 * 4);
        for (unsigned s = 0; s < 6; ++s) {
            const std::uint64_t n = i * 6 + s;
            const std::size_t at = payloadOffset + s * 2 * 4;
            EXPECT_EQ(be32(frame, at), bitsOf(toolstest::referenceFloatSine(1000, 0.9L, n)))
                << "instant " << s << ": " << floatAt(frame, at);
            const auto counter = static_cast<std::int16_t>(static_cast<std::uint16_t>(65530 + n));
            EXPECT_EQ(be32(frame, at + 4), bitsOf(static_cast<float>(counter) / 32768.0f))
                << "instant " << s << ": " << floatAt(frame, at + 4);
        }
    }
}

TEST_F(AvtpTalkerLiveTest, SpecialSignalSendsNanAndInfinitiesBitForBit) {
    const auto frames = sendAndCapture(
        {"--format", "float32", "--signal", "special:cycle", "--samples-per-frame", "4", "--count", "2"});
    ASSERT_EQ(frames.size(), 2u);
    // A quiet NaN, +infinity, -infinity and 0.5, on both channels of each instant.
    const std::uint32_t expected[] = {0x7fc00000, 0x7f800000, 0xff800000, 0x3f000000};
    for (std::size_t i = 0; i < frames.size(); ++i) {
        ASSERT_EQ(frames[i].bytes.size(), payloadOffset + 2 * 4 * 4);
        for (unsigned s = 0; s < 4; ++s) {
            for (unsigned c = 0; c < 2; ++c) {
                EXPECT_EQ(be32(frames[i], payloadOffset + (s * 2 + c) * 4), expected[s])
                    << "frame " << i << ", instant " << s << ", channel " << c;
            }
        }
    }
}

TEST_F(AvtpTalkerLiveTest, SampleDumpShowsFloatSamplesAsTheirValues) {
    TemporaryFile dump(".txt");
    ASSERT_FALSE(dump.path().empty());
    const auto frames = sendAndCapture({"--dump-samples", dump.path(), "--format", "float32", "--channels",
                                        "2", "--channel-signal", "0=special:cycle", "--channel-signal",
                                        "1=counter:1", "--samples-per-frame", "4", "--count", "1"});
    ASSERT_EQ(frames.size(), 1u);
    std::ifstream in(dump.path());
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    EXPECT_EQ(lines, (std::vector<std::string>{"0 0 2 : nan 3.05175781e-05 inf 6.10351562e-05 -inf "
                                               "9.15527344e-05 0.5 0.000122070312"}));
}

TEST_F(AvtpTalkerLiveTest, SampleDumpShowsWideSamplesAtTheirFullWidth) {
    TemporaryFile dump(".txt");
    ASSERT_FALSE(dump.path().empty());
    const auto frames = sendAndCapture({"--dump-samples", dump.path(), "--sample-bits", "32", "--signal",
                                        "counter:65535", "--samples-per-frame", "1", "--count", "2"});
    ASSERT_EQ(frames.size(), 2u);
    std::ifstream in(dump.path());
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    EXPECT_EQ(lines, (std::vector<std::string>{"0 0 2 : -65536 -65536", "1 1 2 : 0 0"}));
}

// A tagged frame keeps its addresses at 0 and 6; the tag takes bytes 12 to 15, and every field of an untagged
// frame lies 4 bytes further up.
constexpr std::size_t tagLength = 4;

TEST_F(AvtpTalkerLiveTest, VlanOptionTagsEveryFrameAndMovesTheAvtpHeaderUpByTheTag) {
    const auto signals = generators(2);
    const auto frames = sendAndCapture({"--vlan", "2", "--source-mac", sourceText, "--count", "3"},
                                       "vlan and ether proto 0x22f0");
    ASSERT_EQ(frames.size(), 3u);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        SCOPED_TRACE("frame " + std::to_string(i));
        const CapturedFrame& frame = frames[i];
        ASSERT_EQ(frame.wireLength, tagLength + payloadOffset + 2 * 2 * 6);
        ASSERT_EQ(frame.bytes.size(), frame.wireLength);
        EXPECT_TRUE(hasAddress(frame, 0, defaultDestination));
        EXPECT_TRUE(hasAddress(frame, 6, source));
        EXPECT_EQ(be16(frame, 12), 0x8100u);
        EXPECT_EQ(be16(frame, 14), 0x6002u) << "priority 3, DEI 0, VLAN 2";
        // The untagged frame is what follows the tag.
        CapturedFrame untagged;
        untagged.bytes.assign(frame.bytes.begin(), frame.bytes.begin() + 12);
        untagged.bytes.insert(untagged.bytes.end(), frame.bytes.begin() + 12 + tagLength, frame.bytes.end());
        untagged.wireLength = frame.wireLength - tagLength;
        expectAafHeader(untagged, static_cast<std::uint8_t>(i), 2, 6);
        expectSamples(untagged, i, 2, 6, signals);
    }
}

TEST_F(AvtpTalkerLiveTest, VlanPriorityIsTheTagsTopThreeBits) {
    const auto frames = sendAndCapture({"--vlan", "4094:7", "--count", "1"}, "vlan and ether proto 0x22f0");
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(be16(frames[0], 14), 0xeffeu) << "priority 7, DEI 0, VLAN 4094";
}

TEST_F(AvtpTalkerLiveTest, VlanTagLiesOutsideTheMtu) {
    // 123 channels of 6 16-bit samples: 1476 bytes of samples and 24 of AVTP header fill the MTU exactly.
    const auto frames =
        sendAndCapture({"--vlan", "2", "--channels", "123", "--count", "1"}, "vlan and ether proto 0x22f0");
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(frames[0].wireLength, 14u + tagLength + 1500u);
}

TEST_F(AvtpTalkerLiveTest, StrayCopiesOfATaggedFrameChangeTheFieldsBehindTheTag) {
    std::string error;
    const auto other = FrameCapture::open(captureInterface(), error, "vlan and ether proto 0x88b5");
    ASSERT_TRUE(other) << error;
    const auto frames = sendAndCapture(
        {"--vlan", "2", "--insert-subtype", "1:0x7f", "--insert-ethertype", "2:0x88b5", "--count", "3"},
        "vlan and ether proto 0x22f0");
    ASSERT_EQ(frames.size(), 4u);
    EXPECT_EQ(frames[1].bytes.at(tagLength + subtypeOffset), 0x7f);
    std::vector<std::uint8_t> restored = frames[1].bytes;
    restored[tagLength + subtypeOffset] = 0x02;
    EXPECT_EQ(restored, frames[2].bytes);
    const auto strays = other->settle();
    ASSERT_EQ(strays.size(), 1u);
    EXPECT_EQ(be16(strays[0], 12), 0x8100u);
    restored = strays[0].bytes;
    restored[tagLength + etherTypeOffset] = 0x22;
    restored[tagLength + etherTypeOffset + 1] = 0xf0;
    EXPECT_EQ(restored, frames[3].bytes);
}

TEST_F(AvtpTalkerLiveTest, VlanTpidOptionWritesAnIeee8021adTag) {
    const auto signals = generators(2);
    const auto frames = sendAndCapture({"--vlan", "2:5", "--vlan-tpid", "88a8", "--count", "2"},
                                       "vlan and ether proto 0x22f0");
    ASSERT_EQ(frames.size(), 2u);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        SCOPED_TRACE("frame " + std::to_string(i));
        const CapturedFrame& frame = frames[i];
        ASSERT_EQ(frame.wireLength, tagLength + payloadOffset + 2 * 2 * 6);
        EXPECT_EQ(be16(frame, 12), 0x88a8u);
        EXPECT_EQ(be16(frame, 14), 0xa002u) << "priority 5, DEI 0, VLAN 2";
        CapturedFrame untagged;
        untagged.bytes.assign(frame.bytes.begin(), frame.bytes.begin() + 12);
        untagged.bytes.insert(untagged.bytes.end(), frame.bytes.begin() + 12 + tagLength, frame.bytes.end());
        untagged.wireLength = frame.wireLength - tagLength;
        expectAafHeader(untagged, static_cast<std::uint8_t>(i), 2, 6);
        expectSamples(untagged, i, 2, 6, signals);
    }
}

TEST_F(AvtpTalkerLiveTest, OuterVlanStacksAn88a8TagInFrontOfThe8100Tag) {
    const auto signals = generators(2);
    const auto frames =
        sendAndCapture({"--vlan", "2", "--outer-vlan", "100:6", "--source-mac", sourceText, "--count", "2"},
                       "vlan and vlan and ether proto 0x22f0");
    ASSERT_EQ(frames.size(), 2u);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        SCOPED_TRACE("frame " + std::to_string(i));
        const CapturedFrame& frame = frames[i];
        ASSERT_EQ(frame.wireLength, 2 * tagLength + payloadOffset + 2 * 2 * 6);
        EXPECT_TRUE(hasAddress(frame, 0, defaultDestination));
        EXPECT_TRUE(hasAddress(frame, 6, source));
        EXPECT_EQ(be16(frame, 12), 0x88a8u);
        EXPECT_EQ(be16(frame, 14), 0xc064u) << "priority 6, DEI 0, VLAN 100";
        EXPECT_EQ(be16(frame, 16), 0x8100u);
        EXPECT_EQ(be16(frame, 18), 0x6002u) << "priority 3, DEI 0, VLAN 2";
        CapturedFrame untagged;
        untagged.bytes.assign(frame.bytes.begin(), frame.bytes.begin() + 12);
        untagged.bytes.insert(untagged.bytes.end(), frame.bytes.begin() + 12 + 2 * tagLength,
                              frame.bytes.end());
        untagged.wireLength = frame.wireLength - 2 * tagLength;
        expectAafHeader(untagged, static_cast<std::uint8_t>(i), 2, 6);
        expectSamples(untagged, i, 2, 6, signals);
    }
}

struct MtuCase {
    std::string name;
    std::vector<std::string> tags;
    unsigned frameBytes;
};

void PrintTo(const MtuCase& row, std::ostream* out) {
    *out << row.name;
}

class AvtpTalkerTagMtuLiveTest : public AvtpTalkerLiveTest, public ::testing::WithParamInterface<MtuCase> {};

// The kernel lets only a single 0x8100 tag lie outside the MTU: 123 channels of 6 16-bit samples fill it
// exactly without one, so every other tag makes the frame too long.
TEST_P(AvtpTalkerTagMtuLiveTest, TagsOtherThanASingle8100OneCountAgainstTheMtu) {
    std::vector<std::string> arguments = GetParam().tags;
    arguments.insert(arguments.end(), {"--channels", "123", "--count", "1"});
    ChildProcess& talker = startTalker(arguments);
    ASSERT_TRUE(talker.waitFor(10s));
    EXPECT_EQ(talker.exitStatus(), 1);
    EXPECT_NE(talker.output().find("sonacore-avtp-talker: frames of " +
                                   std::to_string(GetParam().frameBytes) + " bytes exceed the MTU of '" +
                                   talkerInterface() + "' (1500 bytes of payload)."),
              std::string::npos)
        << talker.output();
}

INSTANTIATE_TEST_SUITE_P(
    Tags, AvtpTalkerTagMtuLiveTest,
    ::testing::Values(MtuCase{"Single88a8Tag", {"--vlan", "2", "--vlan-tpid", "88a8"}, 1518},
                      MtuCase{"StackedTags", {"--vlan", "2", "--outer-vlan", "100"}, 1522}),
    [](const ::testing::TestParamInfo<MtuCase>& info) { return info.param.name; });

TEST_F(AvtpTalkerLiveTest, FrameTooLongForTheInterfaceIsRefusedWithAnError) {
    ChildProcess& talker = startTalker({"--channels", "200", "--count", "1"});
    ASSERT_TRUE(talker.waitFor(10s));
    EXPECT_EQ(talker.exitStatus(), 1);
    EXPECT_NE(talker.output().find("sonacore-avtp-talker: frames of 2438 bytes exceed the MTU of '" +
                                   talkerInterface() + "' (1500 bytes of payload)."),
              std::string::npos)
        << talker.output();
}

} // namespace
