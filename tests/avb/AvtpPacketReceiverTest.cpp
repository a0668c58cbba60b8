#include "avb/AvtpPacketReceiver.h"
#include "exceptions/SonaCoreException.h"
#include "sonacore/ChannelAmountChanged.h"
#include "support/AvtpFrameBuilder.h"
#include "support/EventLoop.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

constexpr const char* deviceKey = "00a0c9112233";
const std::string receiverText = "\"AvtpPacketReceiver (unbound)\"";

// A device of 2 channels, 6 samples per channel per frame, 16-bit samples, 64-sample buffers.
struct TwoChannelDevice {
    sonacore::BufferConfiguration buffer{"buf", 64};
    sonacore::DeviceConfiguration device{"dev", &buffer, 2, 2, 6};
};

void deliver(avb::AvtpPacketReceiver& receiver, const std::vector<std::uint8_t>& frame) {
    pcap_pkthdr header{};
    header.len = static_cast<bpf_u_int32>(frame.size());
    header.caplen = header.len;
    receiver.receivePacket(nullptr, &header, frame.data());
}

std::vector<std::int16_t> interleaved(int channels, int samplesPerChannel, int base) {
    std::vector<std::int16_t> samples;
    for (int instant = 0; instant < samplesPerChannel; ++instant) {
        for (int channel = 0; channel < channels; ++channel) {
            samples.push_back(static_cast<std::int16_t>(base + 100 * channel + instant));
        }
    }
    return samples;
}

std::vector<float> expectedChannel(int channel, int samplesPerChannel, int base) {
    std::vector<float> values;
    for (int instant = 0; instant < samplesPerChannel; ++instant) {
        values.push_back(static_cast<float>(base + 100 * channel + instant) / 32768.0f);
    }
    return values;
}

testsupport::AvtpFrameBuilder frame(std::uint8_t sequence, int channels = 2, int base = 1000) {
    return testsupport::AvtpFrameBuilder{}
        .withSequence(sequence)
        .withChannels(static_cast<std::uint8_t>(channels))
        .withSamples(interleaved(channels, 6, base));
}

// A receiver with one streaming device of the two-channel format registered under deviceKey, as most
// tests of the packet path need it.
class AvtpPacketReceiverWithDevice : public ::testing::Test {
protected:
    AvtpPacketReceiverWithDevice() { receiver.addStreamingDevice(deviceKey, &config.device); }

    TwoChannelDevice config;
    avb::AvtpPacketReceiver receiver{2};
};

} // namespace

TEST(AvtpPacketReceiver, ConstructionLogsAndNameStartsUnbound) {
    testsupport::LogCapture capture;
    avb::AvtpPacketReceiver receiver(2);
    EXPECT_TRUE(capture.contains(QtDebugMsg, "AvtpPacketReceiver " + receiverText + " Initialized"));
    EXPECT_EQ(receiver.getReceiverName(), "AvtpPacketReceiver (unbound)");
    EXPECT_EQ(receiver.toString(), "[AvtpPacketReceiver (unbound)]");
}

TEST(AvtpPacketReceiver, BindingReplacesUnboundOnce) {
    avb::AvtpPacketReceiver receiver(2);
    EXPECT_TRUE(receiver.bindReceiver(4));
    EXPECT_EQ(receiver.getReceiverName(), "AvtpPacketReceiver (eth4)");
    EXPECT_FALSE(receiver.bindReceiver(5));
    receiver.bindToDevice(6);
    EXPECT_EQ(receiver.getReceiverName(), "AvtpPacketReceiver (eth4)");
}

TEST_F(AvtpPacketReceiverWithDevice, TwoChannelFrameWritesSixSamplesToEachBufferInTimeOrder) {
    deliver(receiver, frame(1).build());
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->fetchSamples(6), expectedChannel(0, 6, 1000));
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 1)->fetchSamples(6), expectedChannel(1, 6, 1000));
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->getWritePosition(), 6U);
}

TEST_F(AvtpPacketReceiverWithDevice, BuffersAreNamedByKeyAndChannel) {
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->getBufferName(), "00a0c9112233_Ch0");
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 1)->getBufferName(), "00a0c9112233_Ch1");
}

TEST_F(AvtpPacketReceiverWithDevice, OneChannelStreamFillsChannelZeroOnly) {
    deliver(receiver, frame(1, 1).build());
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->fetchSamples(6), expectedChannel(0, 6, 1000));
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 1)->getWritePosition(), 0U);
}

TEST_F(AvtpPacketReceiverWithDevice, ThreeChannelsOnATwoChannelDeviceAreRefusedWithoutCounting) {
    testsupport::LogCapture capture;
    deliver(receiver, frame(1, 3).build());
    EXPECT_EQ(
        capture.texts(QtWarningMsg),
        (std::vector<std::string>{
            "checkChannelAmount \"00a0c9112233\" The amount of AVTP packet channels is invalid or exceeded:  "
            "Maximum allowed channel amount:  2 , AVTP packet amount:  3",
            "performPreDataExtractionChecks " + receiverText +
                " The transferred AVTP stream data length is unexpected!  Packet audio data won't be "
                "extracted "
                "for device:  00a0c9112233"}));
    EXPECT_EQ(receiver.getMissedPackets(), 0U);
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->getWritePosition(), 0U);
}

TEST_F(AvtpPacketReceiverWithDevice, TooManyChannelsWithStatedLengthZeroWarnsOnlyForTheChannels) {
    testsupport::LogCapture capture;
    deliver(receiver, frame(1, 3).withStatedLength(0).build());
    EXPECT_EQ(capture.texts(QtWarningMsg).size(), 1U);
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->getWritePosition(), 0U);
}

TEST(AvtpPacketReceiver, NullHeaderOrFrameIsIgnored) {
    avb::AvtpPacketReceiver receiver(2);
    const auto bytes = frame(1).build();
    pcap_pkthdr header{};
    header.len = header.caplen = static_cast<bpf_u_int32>(bytes.size());
    testsupport::LogCapture capture;
    receiver.receivePacket(nullptr, nullptr, bytes.data());
    receiver.receivePacket(nullptr, &header, nullptr);
    EXPECT_TRUE(capture.lines().empty());
}

namespace {

// A frame the packet path passes over before any check that logs or counts, built with a given sequence
// number.
struct IgnoredFrame {
    const char* name;
    std::vector<std::uint8_t> (*build)(std::uint8_t sequence);
};

class AvtpPacketReceiverIgnoredFrame : public AvtpPacketReceiverWithDevice,
                                       public ::testing::WithParamInterface<IgnoredFrame> {};

const IgnoredFrame ignoredFrames[] = {
    {"SubtypeThree", [](std::uint8_t sequence) { return frame(sequence).withSubtype(3).build(); }},
    {"FourteenBytes",
     [](std::uint8_t sequence) {
         auto bytes = frame(sequence).build();
         bytes.resize(14);
         return bytes;
     }},
    {"UnknownSourceAddress",
     [](std::uint8_t sequence) {
         auto builder = frame(sequence);
         builder.source = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
         return builder.build();
     }},
};

} // namespace

TEST_P(AvtpPacketReceiverIgnoredFrame, LeavesNoLogNoCountNoSampleAndNoSequenceStep) {
    deliver(receiver, frame(1).build());
    testsupport::LogCapture capture;
    deliver(receiver, GetParam().build(9));
    EXPECT_TRUE(capture.lines().empty());
    EXPECT_EQ(receiver.getMissedPackets(), 0U);
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->getWritePosition(), 6U);
    // Sequence 2 is still the next one: the ignored frame did not move the base.
    deliver(receiver, frame(2).build());
    EXPECT_EQ(receiver.getMissedPackets(), 0U);
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->getWritePosition(), 12U);
}

INSTANTIATE_TEST_SUITE_P(Rows, AvtpPacketReceiverIgnoredFrame, ::testing::ValuesIn(ignoredFrames),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(AvtpPacketReceiverWithDevice, WrongStatedLengthIsNotMissedButItsSequenceWasTaken) {
    deliver(receiver, frame(1).build());
    testsupport::LogCapture capture;
    deliver(receiver, frame(2).withStatedLength(20).build());
    EXPECT_EQ(
        capture.texts(QtWarningMsg),
        std::vector<std::string>{"performPreDataExtractionChecks " + receiverText +
                                 " The transferred AVTP stream data length is unexpected!  Packet audio data "
                                 "won't be extracted for device:  00a0c9112233"});
    EXPECT_EQ(receiver.getMissedPackets(), 0U);
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->getWritePosition(), 6U);
    // Sequence 3 follows the refused frame without a gap.
    deliver(receiver, frame(3).build());
    EXPECT_EQ(receiver.getMissedPackets(), 0U);
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->getWritePosition(), 12U);
}

TEST_F(AvtpPacketReceiverWithDevice, OutOfSequenceFrameIsCountedAfterItsChannelsWereRecorded) {
    std::vector<std::shared_ptr<sonacore::BaseMessage>> messages;
    QObject::connect(
        &receiver, &avb::AvtpPacketReceiver::message, &receiver,
        [&](auto message) { messages.push_back(message); }, Qt::DirectConnection);
    deliver(receiver, frame(1).build());
    testsupport::LogCapture capture;
    deliver(receiver, frame(5, 1).build());
    EXPECT_EQ(receiver.getMissedPackets(), 1U);
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{"extractAvtpPacketData " + receiverText + " Packets missed:  1"});
    // The channel change of the refused frame was reported: first frame (-1 to 2), then 2 to 1.
    ASSERT_EQ(messages.size(), 2U);
    const auto change = std::dynamic_pointer_cast<sonacore::ChannelAmountChanged>(messages[1]);
    EXPECT_EQ(change->getChannelAmountBefore(), 2U);
    EXPECT_EQ(change->getChannelAmountAfter(), 1U);
    // Nothing of the refused frame was written.
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->getWritePosition(), 6U);
}

TEST_F(AvtpPacketReceiverWithDevice, GapCountsOneMissedFrameAndSamplesMeetInTheBuffer) {
    deliver(receiver, frame(1, 2, 1000).build());
    deliver(receiver, frame(12, 2, 2000).build());
    deliver(receiver, frame(13, 2, 3000).build());
    EXPECT_EQ(receiver.getMissedPackets(), 1U);
    auto expected = expectedChannel(0, 6, 1000);
    const auto after = expectedChannel(0, 6, 3000);
    expected.insert(expected.end(), after.begin(), after.end());
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->fetchSamples(12), expected);
}

TEST_F(AvtpPacketReceiverWithDevice, SameKeyTwiceThrowsAndLeavesTheFirstDeviceWorking) {
    testsupport::LogCapture capture;
    const std::string expected =
        "Buffer already available for the specified device MAC address: 00a0c9112233! Device won't be added!";
    try {
        receiver.addStreamingDevice(deviceKey, &config.device);
        FAIL() << "no exception";
    } catch (const exceptions::InstanceAlreadyExists& error) {
        EXPECT_EQ(std::string(error.what()), expected);
    }
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{"addStreamingDevice " + receiverText + " " + expected});
    deliver(receiver, frame(1).build());
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 1)->fetchSamples(6), expectedChannel(1, 6, 1000));
}

TEST(AvtpPacketReceiver, ChannelAmountZeroThrowsAndRegistersNothing) {
    sonacore::BufferConfiguration buffer("buf", 64);
    sonacore::DeviceConfiguration device("zeroDev", &buffer, 2, 0, 6);
    avb::AvtpPacketReceiver receiver(2);
    testsupport::LogCapture capture;
    const std::string expected =
        "Invalid channel count '0' given for device by 'zeroDev' for: 00a0c9112233 Device not initialized!";
    try {
        receiver.addStreamingDevice(deviceKey, &device);
        FAIL() << "no exception";
    } catch (const exceptions::InstanceNotCreateable& error) {
        EXPECT_EQ(std::string(error.what()), expected);
    }
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{"addStreamingDevice " + receiverText + " " + expected});
    EXPECT_FALSE(receiver.checkBufferAvailability(deviceKey).first);
    EXPECT_THROW(receiver.getAudioBuffer(deviceKey, 0), exceptions::ResourceNotAvailable);
}

TEST_F(AvtpPacketReceiverWithDevice, GetAudioBufferChannelLimitsStayOneShort) {
    EXPECT_NE(receiver.getAudioBuffer(deviceKey, 1), nullptr);
    try {
        receiver.getAudioBuffer(deviceKey, 2);
        FAIL() << "no exception";
    } catch (const exceptions::SonaCoreException&) {
        FAIL() << "the channel equal to the count must end in the standard out-of-range exception";
    } catch (const std::out_of_range&) {
    }
    testsupport::LogCapture capture;
    const std::string expected =
        "No buffer available for the specified channel number '3' at streaming device: "
        "00a0c9112233";
    try {
        receiver.getAudioBuffer(deviceKey, 3);
        FAIL() << "no exception";
    } catch (const exceptions::ResourceNotAvailable& error) {
        EXPECT_EQ(std::string(error.what()), expected);
    }
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{"getAudioBuffer " + receiverText + " " + expected});
}

TEST(AvtpPacketReceiver, GetAudioBufferOfUnknownDeviceThrowsWithAvailabilityText) {
    avb::AvtpPacketReceiver receiver(2);
    testsupport::LogCapture capture;
    try {
        receiver.getAudioBuffer("001122334455", 0);
        FAIL() << "no exception";
    } catch (const exceptions::ResourceNotAvailable& error) {
        EXPECT_STREQ(error.what(), "No buffer available for the specified device MAC address: 001122334455");
    }
    EXPECT_EQ(
        capture.texts(QtWarningMsg),
        std::vector<std::string>{"getAudioBuffer " + receiverText +
                                 " No buffer available for the specified device MAC address: 001122334455"});
}

TEST_F(AvtpPacketReceiverWithDevice, BufferAvailabilityTexts) {
    EXPECT_EQ(
        receiver.checkBufferAvailability(deviceKey),
        std::make_pair(true, std::string("Buffer already available for the specified device MAC address: "
                                         "00a0c9112233")));
    EXPECT_EQ(
        receiver.checkBufferAvailability("x"),
        std::make_pair(false, std::string("No buffer available for the specified device MAC address: x")));
}

TEST(AvtpPacketReceiver, ChecksOfAnUnknownDeviceWarnAndRefuse) {
    avb::AvtpPacketReceiver receiver(2);
    testsupport::LogCapture capture;
    EXPECT_EQ(receiver.performPreDataExtractionChecks("x", 2, 6, 2), 0);
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{"performPreDataExtractionChecks " + receiverText +
                                       " The amount of AVTP packet requirements cannot be checked! The "
                                       "required  packet data and boundary "
                                       "check instance is not available for device:  x"});
    capture.clear();
    const auto bytes = frame(1).build();
    receiver.writeAudioSamplesToBuffer(bytes.data(), "x");
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{
                  "writeAudioSamplesToBuffer " + receiverText +
                  " Cannot store samples to buffer:  No buffer available for the specified device "
                  "MAC address: x  No buffer exists for the given device."});
}

TEST(AvtpPacketReceiver, StatedLengthBeyondTheCapturedFrameIsRefusedWithoutReadingPastIt) {
    sonacore::BufferConfiguration buffer("buf", 64);
    // 2 channels of 16 samples each: 64 bytes of audio expected.
    sonacore::DeviceConfiguration device("dev", &buffer, 2, 2, 16);
    avb::AvtpPacketReceiver receiver(2);
    receiver.addStreamingDevice(deviceKey, &device);
    // The frame states 64 bytes and carries 24.
    const auto bytes = frame(1).withStatedLength(64).build();
    // A copy of exactly the captured size, so that any read past it is caught by the address sanitizer.
    auto exact = std::make_unique<std::uint8_t[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), exact.get());
    pcap_pkthdr header{};
    header.len = header.caplen = static_cast<bpf_u_int32>(bytes.size());
    testsupport::LogCapture capture;
    receiver.receivePacket(nullptr, &header, exact.get());
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{
                  "writeAudioSamplesToBuffer " + receiverText +
                  " The stated AVTP stream data length exceeds the captured frame!  Packet audio "
                  "data won't be extracted for device:  00a0c9112233"});
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->getWritePosition(), 0U);
}

TEST_F(AvtpPacketReceiverWithDevice, WireLengthLongerThanCapturedBytesReadsOnlyWhatWasCaptured) {
    const auto bytes = frame(1).build();
    pcap_pkthdr header{};
    header.len = static_cast<bpf_u_int32>(bytes.size());
    header.caplen = 40;
    auto exact = std::make_unique<std::uint8_t[]>(40);
    std::copy(bytes.begin(), bytes.begin() + 40, exact.get());
    receiver.receivePacket(nullptr, &header, exact.get());
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->getWritePosition(), 0U);
}

TEST(AvtpPacketReceiver, OtherSampleSizeProducesSilenceWithAWarningPerSample) {
    sonacore::BufferConfiguration buffer("buf", 64);
    sonacore::DeviceConfiguration device("dev", &buffer, 3, 1, 2);
    avb::AvtpPacketReceiver receiver(2);
    receiver.addStreamingDevice(deviceKey, &device);
    // 1 channel, 2 samples of 3 bytes: stated length 6.
    const auto bytes =
        testsupport::AvtpFrameBuilder{}.withChannels(1).withSamples({0x1234, 0x5678, 0x1111}).build();
    testsupport::LogCapture capture;
    deliver(receiver, bytes);
    EXPECT_EQ(
        capture.count(
            QtWarningMsg,
            "convertFromBigEndian Cannot convert array data to float. Wrong array size:  3  (required:  2"),
        2U);
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->fetchSamples(2), (std::vector<float>{0.0f, 0.0f}));
}

TEST_F(AvtpPacketReceiverWithDevice, TwoDevicesAreToldApartBySourceAddress) {
    receiver.addStreamingDevice("001122334455", &config.device);
    auto other = frame(1, 2, 5000);
    other.source = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
    deliver(receiver, frame(1, 2, 1000).build());
    deliver(receiver, other.build());
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->fetchSamples(6), expectedChannel(0, 6, 1000));
    EXPECT_EQ(receiver.getAudioBuffer("001122334455", 0)->fetchSamples(6), expectedChannel(0, 6, 5000));
}

TEST_F(AvtpPacketReceiverWithDevice, AddingADeviceWhileFramesArriveIsSafe) {
    std::atomic<bool> stop{false};
    std::thread capture([&] {
        std::uint8_t sequence = 0;
        while (!stop) {
            deliver(receiver, frame(sequence++).build());
        }
    });
    for (int index = 0; index < 50; ++index) {
        char key[13];
        std::snprintf(key, sizeof key, "0000000000%02d", index);
        receiver.addStreamingDevice(key, &config.device);
    }
    stop = true;
    capture.join();
    EXPECT_EQ(receiver.getMissedPackets(), 0U);
    EXPECT_NE(receiver.getAudioBuffer("000000000049", 1), nullptr);
}

TEST(AvtpPacketReceiver, EndLogsAndEmitsFinishedAndProgressOnlyLogs) {
    avb::AvtpPacketReceiver receiver(2);
    int finished = 0;
    QObject::connect(
        &receiver, &threading::Worker::finished, &receiver, [&] { ++finished; }, Qt::DirectConnection);
    testsupport::LogCapture capture;
    receiver.progress();
    receiver.end();
    receiver.end();
    EXPECT_EQ(capture.texts(QtDebugMsg),
              (std::vector<std::string>{"progress " + receiverText + " Packet receiver progress started",
                                        "end " + receiverText + " Packet receiver forced to end",
                                        "end " + receiverText + " Packet receiver forced to end"}));
    EXPECT_EQ(finished, 2);
}

TEST(AvtpPacketReceiver, DestructionLogsCleared) {
    auto receiver = std::make_unique<avb::AvtpPacketReceiver>(2);
    testsupport::LogCapture capture;
    receiver.reset();
    EXPECT_TRUE(capture.contains(QtDebugMsg, "~AvtpPacketReceiver " + receiverText + " CLEARED!"));
}

namespace {

// A device configuration that no frame could bring a sample to, or that asks for more channels than a frame
// can state, and the text of its refusal.
struct RefusedDevice {
    const char* name;
    std::uint64_t sampleSize;
    std::uint64_t channels;
    std::uint64_t samplesPerChannel;
    const char* refusal;
};

class AvtpPacketReceiverRefusal : public ::testing::TestWithParam<RefusedDevice> {};

} // namespace

TEST_P(AvtpPacketReceiverRefusal, ThrowsWithAWarningRegistersNothingAndIgnoresTheDevicesFrames) {
    const RefusedDevice& row = GetParam();
    sonacore::BufferConfiguration buffer("buf", 64);
    sonacore::DeviceConfiguration device("dev", &buffer, row.sampleSize, row.channels, row.samplesPerChannel);
    avb::AvtpPacketReceiver receiver(2);
    testsupport::LogCapture capture;
    try {
        receiver.addStreamingDevice(deviceKey, &device);
        FAIL() << "no exception";
    } catch (const exceptions::InstanceNotCreateable& error) {
        EXPECT_EQ(std::string(error.what()), row.refusal);
    }
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{"addStreamingDevice " + receiverText + " " + row.refusal});
    EXPECT_FALSE(receiver.checkBufferAvailability(deviceKey).first);
    capture.clear();
    deliver(receiver, frame(1).build());
    deliver(receiver, frame(7).build());
    EXPECT_EQ(receiver.getMissedPackets(), 0U);
    EXPECT_TRUE(capture.lines().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, AvtpPacketReceiverRefusal,
    ::testing::Values(
        RefusedDevice{"ChannelAmountZero", 2, 0, 6,
                      "Invalid channel count '0' given for device by 'dev' for: 00a0c9112233 Device not "
                      "initialized!"},
        RefusedDevice{"ChannelAmountAboveWhatAFrameCanState", 2, 1024, 6,
                      "Invalid channel count '1024' given for device by 'dev' for: 00a0c9112233 Device not "
                      "initialized!"},
        RefusedDevice{
            "ChannelAmountBeyondThirtyTwoBits", 2, (std::uint64_t{1} << 32) + 2, 6,
            "Invalid channel count '4294967298' given for device by 'dev' for: 00a0c9112233 Device not "
            "initialized!"},
        RefusedDevice{"SampleSizeZero", 0, 2, 6,
                      "Invalid sample size '0' given for device by 'dev' for: 00a0c9112233 Device not "
                      "initialized!"},
        RefusedDevice{
            "ZeroSamplesPerChannel", 2, 2, 0,
            "Invalid samples per channel '0' given for device by 'dev' for: 00a0c9112233 Device not "
            "initialized!"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(AvtpPacketReceiver, TheMostChannelsAFrameCanStateAreAccepted) {
    sonacore::BufferConfiguration buffer("buf", 8);
    sonacore::DeviceConfiguration device("dev", &buffer, 2, 1023, 6);
    avb::AvtpPacketReceiver receiver(2);
    receiver.addStreamingDevice(deviceKey, &device);
    EXPECT_NE(receiver.getAudioBuffer(deviceKey, 1022), nullptr);
    deliver(receiver, frame(1).build());
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->fetchSamples(6), expectedChannel(0, 6, 1000));
}

TEST(AvtpPacketReceiver, SizesWhoseProductWrapsAreRefusedWithoutAWrite) {
    // 2^31 bytes per sample and 2^31 samples per channel: the product with 4 channels is 2^64 bytes, which
    // 64-bit arithmetic would take for 0, and 0 in 32 bits too, which the frame states.
    sonacore::BufferConfiguration buffer("buf", 64);
    sonacore::DeviceConfiguration device("dev", &buffer, std::uint64_t{1} << 31, 4, std::uint64_t{1} << 31);
    avb::AvtpPacketReceiver receiver(2);
    receiver.addStreamingDevice(deviceKey, &device);
    testsupport::LogCapture capture;
    deliver(receiver, testsupport::AvtpFrameBuilder{}.withChannels(4).withStatedLength(0).build());
    EXPECT_EQ(
        capture.texts(QtWarningMsg),
        std::vector<std::string>{"writeAudioSamplesToBuffer " + receiverText +
                                 " The stated AVTP stream data length exceeds the captured frame!  Packet "
                                 "audio data won't be extracted for device:  00a0c9112233"});
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->getWritePosition(), 0U);
}

TEST(AvtpPacketReceiver, SampleSizeWithoutLowThirtyTwoBitsWritesNothing) {
    // Only the low 32 bits of the sample size reach the packet path, and here they are 0: a sample of no
    // bytes, of which a frame without payload could hold any number.
    sonacore::BufferConfiguration buffer("buf", 64);
    sonacore::DeviceConfiguration device("dev", &buffer, std::uint64_t{1} << 32, 1, 6);
    avb::AvtpPacketReceiver receiver(2);
    receiver.addStreamingDevice(deviceKey, &device);
    testsupport::LogCapture capture;
    deliver(receiver, testsupport::AvtpFrameBuilder{}.withChannels(1).withStatedLength(0).build());
    EXPECT_TRUE(capture.texts(QtWarningMsg).empty());
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->getWritePosition(), 0U);
}
