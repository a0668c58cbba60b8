#include "SignalGenerator.h"
#include "avb/AvtpPacketReceiver.h"
#include "pcapplus/PcapPacketSniffer.h"
#include "sonacore/ChannelAmountChanged.h"
#include "support/EventLoop.h"
#include "support/NetnsFixture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;

constexpr int samplesPerFrame = 6;

// The receiver as a capture thread sees it, also counting every frame it is handed and the capture time of
// the first and the last.
class CountingReceiver : public avb::AvtpPacketReceiver {
public:
    CountingReceiver() : avb::AvtpPacketReceiver(2) {}

    void receivePacket(unsigned char* user, const pcap_pkthdr* header, const unsigned char* frame) override {
        const double time = static_cast<double>(header->ts.tv_sec) + header->ts.tv_usec * 1e-6;
        if (frames.load() == 0) {
            firstTime = time;
        }
        lastTime = time;
        frames.fetch_add(1);
        avb::AvtpPacketReceiver::receivePacket(user, header, frame);
    }

    std::atomic<std::uint64_t> frames{0};
    std::atomic<double> firstTime{0};
    std::atomic<double> lastTime{0};
};

// The samples the talker sends on one channel for a signal text, as the buffer holds them.
std::vector<float> talkerSamples(const std::string& signal, unsigned channel, std::uint64_t first,
                                 std::uint64_t count) {
    avtptalker::SignalGenerator generator = avtptalker::SignalGenerator::silence();
    std::string error;
    EXPECT_TRUE(avtptalker::SignalGenerator::parse(signal, channel, generator, error)) << error;
    std::vector<float> samples;
    samples.reserve(count);
    for (std::uint64_t index = first; index < first + count; ++index) {
        samples.push_back(static_cast<float>(generator.sampleAt(index)) / 32768.0f);
    }
    return samples;
}

std::string signalFor(unsigned channel) {
    // A different tone per channel, so a sample in the wrong channel cannot pass.
    return "sine:" + std::to_string(1000 + 250 * channel) + ":0.8";
}

// One stream on the capture end: a sniffer with the capture filter and a receiver with the device.
class AvtpIngestLive : public testsupport::NetnsFixture {
protected:
    void openCapture(std::uint64_t channels, std::uint64_t bufferSize,
                     const std::vector<std::string>& keys = {"00a0c9112233"}) {
        buffer = std::make_unique<sonacore::BufferConfiguration>("buffer", bufferSize);
        device = std::make_unique<sonacore::DeviceConfiguration>("device", buffer.get(), 2, channels, samplesPerFrame);
        receiver = std::make_unique<CountingReceiver>();
        for (const auto& key : keys) {
            receiver->addStreamingDevice(key, device.get());
        }
        QObject::connect(receiver.get(), &avb::AvtpPacketReceiver::message, receiver.get(),
                         [this](auto message) { messages.push_back(message); }, Qt::AutoConnection);
        sniffer = std::make_unique<pcapplus::PcapPacketSniffer>(
            pcapplus::PcapDeviceInfo(1, captureInterface(), "Not available"), 65536, 1, 1);
        ASSERT_TRUE(sniffer->isConfigured());
        ASSERT_TRUE(sniffer->setFilter("ether proto 0x22f0", 1, PCAP_NETMASK_UNKNOWN));
        sniffer->registerPacketReceiver(*receiver);
        sniffer->start();
    }

    // Sends at the real rate of 8000 frames per second and waits for the talker to end.
    void talk(std::vector<std::string> arguments, std::chrono::seconds timeout = 30s) {
        arguments.insert(arguments.begin(), {"--source-mac", "00:a0:c9:11:22:33"});
        ASSERT_TRUE(talkerSucceeded(startTalker(arguments), timeout));
    }

    bool receivedFrames(std::uint64_t count) {
        return testsupport::spinUntil([&] { return receiver->frames.load() >= count; }, 10000ms);
    }

    std::vector<float> channel(unsigned number, std::uint64_t count) {
        return receiver->getAudioBuffer("00a0c9112233", number)->fetchSamples(count);
    }

    void TearDown() override {
        // The sniffer goes first: it stops the capture that feeds the receiver.
        sniffer.reset();
        receiver.reset();
        testsupport::NetnsFixture::TearDown();
    }

    std::unique_ptr<sonacore::BufferConfiguration> buffer;
    std::unique_ptr<sonacore::DeviceConfiguration> device;
    std::unique_ptr<CountingReceiver> receiver;
    std::unique_ptr<pcapplus::PcapPacketSniffer> sniffer;
    std::vector<std::shared_ptr<sonacore::BaseMessage>> messages;
};

class AvtpIngestChannelsLive : public AvtpIngestLive, public ::testing::WithParamInterface<unsigned> {};

std::vector<std::string> channelArguments(unsigned channels, std::uint64_t frames) {
    std::vector<std::string> arguments{"--channels", std::to_string(channels), "--count", std::to_string(frames)};
    for (unsigned channel = 0; channel < channels; ++channel) {
        arguments.push_back("--channel-signal");
        arguments.push_back(std::to_string(channel) + "=" + signalFor(channel));
    }
    return arguments;
}

} // namespace

TEST_P(AvtpIngestChannelsLive, SamplesArriveBitExactlyInTheRightChannelsInTimeOrder) {
    const unsigned channels = GetParam();
    constexpr std::uint64_t frames = 2000;
    openCapture(channels, 48000);
    talk(channelArguments(channels, frames));
    ASSERT_TRUE(receivedFrames(frames));
    EXPECT_EQ(receiver->getMissedPackets(), 0U);
    for (unsigned number = 0; number < channels; ++number) {
        EXPECT_EQ(channel(number, frames * samplesPerFrame), talkerSamples(signalFor(number), number, 0, frames * samplesPerFrame))
            << "channel " << number;
    }
}

INSTANTIATE_TEST_SUITE_P(OneTwoAndEight, AvtpIngestChannelsLive, ::testing::Values(1U, 2U, 8U),
                         [](const auto& info) { return std::to_string(info.param) + "Channels"; });

TEST_F(AvtpIngestLive, TwoDevicesWithDifferentSourcesShareOneInterface) {
    openCapture(1, 48000, {"00a0c9112233", "001b21aabbcc"});
    auto& first = startTalker({"--source-mac", "00:a0:c9:11:22:33", "--channels", "1", "--signal", "counter:100",
                               "--count", "800"});
    auto& second = startTalker({"--source-mac", "00:1b:21:aa:bb:cc", "--channels", "1", "--signal", "counter:20000",
                                "--count", "800"});
    ASSERT_TRUE(talkerSucceeded(first, 30s));
    ASSERT_TRUE(talkerSucceeded(second, 30s));
    ASSERT_TRUE(receivedFrames(1600));
    EXPECT_EQ(receiver->getMissedPackets(), 0U);
    EXPECT_EQ(receiver->getAudioBuffer("00a0c9112233", 0)->fetchSamples(4800), talkerSamples("counter:100", 0, 0, 4800));
    EXPECT_EQ(receiver->getAudioBuffer("001b21aabbcc", 0)->fetchSamples(4800),
              talkerSamples("counter:20000", 0, 0, 4800));
}

TEST_F(AvtpIngestLive, GapInSequenceNumbersCountsOneMissedFrame) {
    openCapture(2, 48000);
    talk({"--channels", "2", "--signal", "counter", "--count", "1000", "--drop-at", "300", "--drop-at", "301",
          "--drop-at", "302"});
    ASSERT_TRUE(receivedFrames(997));
    EXPECT_EQ(receiver->getMissedPackets(), 1U);
    // The frame after the gap was refused too, and nothing stands in for the lost samples.
    auto expected = talkerSamples("counter", 0, 0, 300 * samplesPerFrame);
    const auto after = talkerSamples("counter", 0, 304 * samplesPerFrame, 696 * samplesPerFrame);
    expected.insert(expected.end(), after.begin(), after.end());
    EXPECT_EQ(channel(0, expected.size()), expected);
}

TEST_F(AvtpIngestLive, ChannelCountChangeIsReportedAndFollowed) {
    openCapture(2, 48000);
    talk({"--channels", "2", "--signal", "counter", "--count", "200", "--channels-at", "100:1"});
    ASSERT_TRUE(receivedFrames(200));
    ASSERT_TRUE(testsupport::spinUntil([&] { return messages.size() >= 2; }));
    ASSERT_EQ(messages.size(), 2U);
    const auto first = std::dynamic_pointer_cast<sonacore::ChannelAmountChanged>(messages[0]);
    const auto second = std::dynamic_pointer_cast<sonacore::ChannelAmountChanged>(messages[1]);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->getMessageId(), "00a0c9112233");
    EXPECT_EQ(first->getConfiguredChannelAmount(), 2U);
    EXPECT_EQ(first->getChannelAmountBefore(), 0xffffffffU);
    EXPECT_EQ(first->getChannelAmountAfter(), 2U);
    EXPECT_EQ(second->getChannelAmountBefore(), 2U);
    EXPECT_EQ(second->getChannelAmountAfter(), 1U);
    EXPECT_EQ(receiver->getMissedPackets(), 0U);
    // Channel 1 stood still from frame 100 on; channel 0 went on.
    EXPECT_EQ(receiver->getAudioBuffer("00a0c9112233", 1)->getWritePosition(), 100U * samplesPerFrame);
    EXPECT_EQ(receiver->getAudioBuffer("00a0c9112233", 0)->getWritePosition(), 200U * samplesPerFrame);
}

TEST_F(AvtpIngestLive, FramesOfOtherEtherTypesAndSubtypesAreIgnored) {
    openCapture(2, 48000);
    talk({"--channels", "2", "--signal", "counter", "--count", "500", "--insert-subtype", "100:3", "--insert-subtype",
          "200:0", "--insert-ethertype", "300:0x0800", "--insert-ethertype", "400:0x88f7"});
    // The two frames of other subtypes pass the filter and reach the receiver; the other EtherTypes do not.
    ASSERT_TRUE(receivedFrames(502));
    testsupport::spinFor(100ms);
    EXPECT_EQ(receiver->frames.load(), 502U);
    EXPECT_EQ(receiver->getMissedPackets(), 0U);
    EXPECT_EQ(channel(0, 3000), talkerSamples("counter", 0, 0, 3000));
}

TEST_F(AvtpIngestLive, StartStopAndStartAgain) {
    openCapture(1, 48000);
    talk({"--channels", "1", "--signal", "counter", "--count", "400"});
    ASSERT_TRUE(receivedFrames(400));
    sniffer->stop();
    EXPECT_FALSE(sniffer->isListening());
    testsupport::spinFor(50ms);
    // The second stream goes on where the first ended, in sequence numbers and in samples.
    sniffer->start();
    talk({"--channels", "1", "--signal", "counter:2400", "--count", "400", "--first-sequence", "144"});
    ASSERT_TRUE(receivedFrames(800));
    EXPECT_EQ(receiver->getMissedPackets(), 0U);
    EXPECT_EQ(channel(0, 4800), talkerSamples("counter", 0, 0, 4800));
}

TEST_F(AvtpIngestLive, SixtySecondsAtRealRateArriveCompleteAndExact) {
    constexpr std::uint64_t frames = 480000;
    openCapture(2, frames * samplesPerFrame);
    talk({"--channels", "2", "--signal", "sine:1000:0.9", "--duration", "60"}, 120s);
    ASSERT_TRUE(receivedFrames(frames));
    testsupport::spinFor(100ms);
    EXPECT_EQ(receiver->frames.load(), frames);
    EXPECT_EQ(receiver->getMissedPackets(), 0U);
    for (unsigned number = 0; number < 2; ++number) {
        EXPECT_TRUE(channel(number, frames * samplesPerFrame) ==
                    talkerSamples("sine:1000:0.9", number, 0, frames * samplesPerFrame))
            << "channel " << number;
    }
    const double rate = static_cast<double>(frames - 1) / (receiver->lastTime.load() - receiver->firstTime.load());
    RecordProperty("frameRate", std::to_string(rate));
    std::printf("average frame rate: %.3f frames/s\n", rate);
    EXPECT_NEAR(rate, 8000.0, 8.0);
}
