#include "SignalGenerator.h"
#include "avb/AvtpPacketReceiver.h"
#include "exceptions/SonaCoreException.h"
#include "pcapplus/PcapPacketSniffer.h"
#include "sonacore/ChannelAmountChanged.h"
#include "sonacore/StatusMessage.h"
#include "support/CaptureStall.h"
#include "support/DropDiagnostics.h"
#include "support/EventLoop.h"
#include "support/LogCapture.h"
#include "support/NetnsFixture.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <regex>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;

constexpr int samplesPerFrame = 6;

// The receiver as a capture thread sees it, also counting every frame it is handed (and, apart, every frame
// it has finished with) and the capture time of the first and the last. A test may stall it once.
class CountingReceiver : public avb::AvtpPacketReceiver {
public:
    CountingReceiver() : avb::AvtpPacketReceiver(2) {}

    void receivePacket(unsigned char* user, const pcap_pkthdr* header, const unsigned char* frame) override {
        const double time = static_cast<double>(header->ts.tv_sec) + header->ts.tv_usec * 1e-6;
        if (frames.load() == 0) {
            firstTime = time;
        }
        lastTime = time;
        stall.frame(frames.fetch_add(1));
        avb::AvtpPacketReceiver::receivePacket(user, header, frame);
        handled.fetch_add(1);
    }

    std::atomic<std::uint64_t> frames{0};
    std::atomic<std::uint64_t> handled{0};
    std::atomic<double> firstTime{0};
    std::atomic<double> lastTime{0};
    testsupport::CaptureStall stall;
};

// A buffer configuration that reports a size the factories refuse, as one that was never checked would.
class UncheckedSize : public sonacore::BufferConfiguration {
public:
    explicit UncheckedSize(std::uint64_t reportedSize, std::uint64_t signalingAmount = 0)
        : sonacore::BufferConfiguration("unchecked", 1, signalingAmount), reportedSize(reportedSize) {}
    std::uint64_t getBufferSize() const override { return reportedSize; }

private:
    std::uint64_t reportedSize;
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
        device = std::make_unique<sonacore::DeviceConfiguration>("device", buffer.get(), 2, channels,
                                                                 samplesPerFrame);
        makeReceiver();
        for (const auto& key : keys) {
            receiver->addStreamingDevice(key, device.get());
        }
        startCapture();
    }

    void makeReceiver() {
        receiver = std::make_unique<CountingReceiver>();
        QObject::connect(
            receiver.get(), &avb::AvtpPacketReceiver::message, receiver.get(),
            [this](auto message) { messages.push_back(message); }, Qt::AutoConnection);
    }

    // Opens the adapter for the receiver and starts capturing. The sniffer's messages, such as its kernel
    // drops from the capture thread, are queued to this thread.
    void startCapture() {
        machineBefore =
            testsupport::MachineDropCounters::read(captureInterface(), namespaceName(), talkerInterface());
        sniffer = std::make_unique<pcapplus::PcapPacketSniffer>(
            pcapplus::PcapDeviceInfo(1, captureInterface(), "Not available"), 65536, 1, 1);
        QObject::connect(
            sniffer.get(), &pcapplus::PcapPacketSniffer::message, sniffer.get(),
            [this](auto message) { snifferMessages.push_back(message); }, Qt::AutoConnection);
        ASSERT_TRUE(sniffer->isConfigured());
        ASSERT_TRUE(sniffer->setFilter("ether proto 0x22f0", 1, PCAP_NETMASK_UNKNOWN));
        sniffer->registerPacketReceiver(*receiver);
        sniffer->start();
    }

    // Starts the talker at the real rate of 8000 frames per second, in the background.
    testsupport::ChildProcess& startStream(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"--source-mac", "00:a0:c9:11:22:33"});
        talker = &startTalker(arguments);
        return *talker;
    }

    // Sends at the real rate of 8000 frames per second and waits for the talker to end.
    void talk(std::vector<std::string> arguments, std::chrono::seconds timeout = 30s) {
        ASSERT_TRUE(talkerSucceeded(startStream(std::move(arguments)), timeout));
    }

    // Waits until the receiver has finished with `count` frames.
    bool receivedFrames(std::uint64_t count) {
        return testsupport::spinUntil([&] { return receiver->handled.load() >= count; }, 10000ms);
    }

    // Stops the capture and waits for the loop's last read of the kernel's counters.
    void stopAndReadTheLastCounters() {
        const std::uint64_t reads = sniffer->getKernelDrops().reads;
        sniffer->stop();
        EXPECT_TRUE(testsupport::spinUntil([&] { return sniffer->getKernelDrops().reads > reads; }))
            << "the capture loop did not end";
    }

    // The sniffer's "Capture dropped ..." messages, as they arrived.
    std::vector<std::shared_ptr<sonacore::BaseMessage>> kernelDropMessages() const {
        std::vector<std::shared_ptr<sonacore::BaseMessage>> drops;
        for (const auto& message : snifferMessages) {
            if (message->getMessageText().rfind("Capture dropped ", 0) == 0) {
                drops.push_back(message);
            }
        }
        return drops;
    }

    // Where the frames of the stream went, to print when a test finds some missing: what the talker sent and
    // how late, what the kernel dropped for the capture, what the receiver was handed, and what the machine
    // dropped before any capture.
    std::string whereFramesWent() const {
        std::string text = "\nWhere the frames went:\ntalker:\n";
        text += talker != nullptr ? testsupport::talkerSummary(talker->output()) : "(not started)\n";
        if (sniffer) {
            const auto drops = sniffer->getKernelDrops();
            text += "capture (latest read, at most a second old): " + std::to_string(drops.received) +
                    " frames passed the filter, " + std::to_string(drops.droppedInRing) +
                    " dropped in the kernel ring, " + std::to_string(drops.droppedByAdapter) +
                    " dropped by the adapter; " + std::to_string(drops.reads) + " reads\n";
        }
        if (receiver) {
            text += "receiver: " + std::to_string(receiver->frames.load()) + " frames handed over, " +
                    std::to_string(receiver->getMissedPackets()) + " missed\n";
        }
        text += testsupport::MachineDropCounters::read(captureInterface(), namespaceName(), talkerInterface())
                    .describe(machineBefore);
        return text;
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
    std::vector<std::shared_ptr<sonacore::BaseMessage>> snifferMessages;
    testsupport::ChildProcess* talker = nullptr;
    testsupport::MachineDropCounters machineBefore;
};

class AvtpIngestChannelsLive : public AvtpIngestLive, public ::testing::WithParamInterface<unsigned> {};

std::vector<std::string> channelArguments(unsigned channels, std::uint64_t frames) {
    std::vector<std::string> arguments{"--channels", std::to_string(channels), "--count",
                                       std::to_string(frames)};
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
        EXPECT_EQ(channel(number, frames * samplesPerFrame),
                  talkerSamples(signalFor(number), number, 0, frames * samplesPerFrame))
            << "channel " << number;
    }
}

INSTANTIATE_TEST_SUITE_P(OneTwoAndEight, AvtpIngestChannelsLive, ::testing::Values(1U, 2U, 8U),
                         [](const auto& info) { return std::to_string(info.param) + "Channels"; });

TEST_F(AvtpIngestLive, TwoDevicesWithDifferentSourcesShareOneInterface) {
    openCapture(1, 48000, {"00a0c9112233", "001b21aabbcc"});
    auto& first = startTalker({"--source-mac", "00:a0:c9:11:22:33", "--channels", "1", "--signal",
                               "counter:100", "--count", "800"});
    auto& second = startTalker({"--source-mac", "00:1b:21:aa:bb:cc", "--channels", "1", "--signal",
                                "counter:20000", "--count", "800"});
    ASSERT_TRUE(talkerSucceeded(first, 30s));
    ASSERT_TRUE(talkerSucceeded(second, 30s));
    ASSERT_TRUE(receivedFrames(1600));
    EXPECT_EQ(receiver->getMissedPackets(), 0U);
    EXPECT_EQ(receiver->getAudioBuffer("00a0c9112233", 0)->fetchSamples(4800),
              talkerSamples("counter:100", 0, 0, 4800));
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
    talk({"--channels", "2", "--signal", "counter", "--count", "500", "--insert-subtype", "100:3",
          "--insert-subtype", "200:0", "--insert-ethertype", "300:0x0800", "--insert-ethertype",
          "400:0x88f7"});
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
    ASSERT_TRUE(receivedFrames(frames)) << whereFramesWent();
    testsupport::spinFor(100ms);
    EXPECT_EQ(receiver->frames.load(), frames) << whereFramesWent();
    EXPECT_EQ(receiver->getMissedPackets(), 0U) << whereFramesWent();
    for (unsigned number = 0; number < 2; ++number) {
        EXPECT_TRUE(channel(number, frames * samplesPerFrame) ==
                    talkerSamples("sine:1000:0.9", number, 0, frames * samplesPerFrame))
            << "channel " << number << whereFramesWent();
    }
    const double rate =
        static_cast<double>(frames - 1) / (receiver->lastTime.load() - receiver->firstTime.load());
    RecordProperty("frameRate", std::to_string(rate));
    std::printf("average frame rate: %.3f frames/s\n", rate);
    EXPECT_NEAR(rate, 8000.0, 8.0);
}

namespace {

// The frames of a stream of 3 s at 8000 frames per second, and their samples per channel.
constexpr std::uint64_t threeSeconds = 24000;
constexpr std::uint64_t threeSecondsOfSamples = threeSeconds * samplesPerFrame;

// The number in "Capture dropped N frames in the kernel (total T)", N or T; -1 when the text is not one.
std::int64_t droppedCount(const std::string& text, bool total) {
    static const std::regex form("Capture dropped ([0-9]+) frames in the kernel \\(total ([0-9]+)\\)");
    std::smatch match;
    if (!std::regex_match(text, match, form)) {
        return -1;
    }
    return std::stoll(match[total ? 2 : 1].str());
}

} // namespace

TEST_F(AvtpIngestLive, StallOfThreeHundredMillisecondsMidStreamLosesNoFrame) {
    openCapture(8, threeSecondsOfSamples);
    receiver->stall.arm(threeSeconds / 2, 300ms);
    talk(channelArguments(8, threeSeconds));
    ASSERT_TRUE(receivedFrames(threeSeconds)) << whereFramesWent();
    EXPECT_EQ(receiver->stall.done(), 1U);
    EXPECT_EQ(receiver->getMissedPackets(), 0U) << whereFramesWent();
    for (unsigned number = 0; number < 8; ++number) {
        EXPECT_TRUE(channel(number, threeSecondsOfSamples) ==
                    talkerSamples(signalFor(number), number, 0, threeSecondsOfSamples))
            << "channel " << number << whereFramesWent();
    }
    stopAndReadTheLastCounters();
    EXPECT_EQ(sniffer->getKernelDrops().droppedInRing, 0U) << whereFramesWent();
    testsupport::spinFor(100ms);
    EXPECT_TRUE(kernelDropMessages().empty());
}

// A stopped capture may still be inside its last frame. Waiting for the loops returns only once that frame
// has been handed over, so that what frames are written into may then be freed.
TEST_F(AvtpIngestLive, WaitForLoopsAfterStopReturnsOnlyOnceTheFrameInHandIsHandled) {
    openCapture(2, threeSecondsOfSamples);
    receiver->stall.arm(100, 300ms);
    startStream(channelArguments(2, threeSeconds));
    // Frame 100 has been handed to the receiver, which holds it for 300 ms.
    ASSERT_TRUE(testsupport::spinUntil([&] { return receiver->frames.load() > 100; }, 10000ms))
        << whereFramesWent();
    sniffer->stop();
    sniffer->waitForLoops();
    EXPECT_EQ(receiver->stall.done(), 1U);
    const std::uint64_t handled = receiver->handled.load();
    EXPECT_EQ(handled, receiver->frames.load());
    testsupport::spinFor(100ms);
    EXPECT_EQ(receiver->handled.load(), handled) << "a frame was handled after the loops had returned";
}

TEST_F(AvtpIngestLive, ProcessFrozenForThreeHundredMillisecondsMidStreamLosesNoFrame) {
    openCapture(8, threeSecondsOfSamples);
    auto& stream = startStream(channelArguments(8, threeSeconds));
    ASSERT_TRUE(testsupport::spinUntil([&] { return receiver->handled.load() >= threeSeconds / 2; }, 10000ms))
        << whereFramesWent();
    // A child stops this whole process, as a debugger or a page-in would, and lets it go on after 300 ms.
    const std::string self = std::to_string(getpid());
    const auto freeze = testsupport::ChildProcess::run(
        {"/bin/sh", "-c", "kill -STOP " + self + "; sleep 0.3; kill -CONT " + self});
    ASSERT_EQ(freeze.exitStatus, 0) << freeze.output;
    ASSERT_TRUE(talkerSucceeded(stream, 30s));
    ASSERT_TRUE(receivedFrames(threeSeconds)) << whereFramesWent();
    EXPECT_EQ(receiver->getMissedPackets(), 0U) << whereFramesWent();
    for (unsigned number = 0; number < 8; ++number) {
        EXPECT_TRUE(channel(number, threeSecondsOfSamples) ==
                    talkerSamples(signalFor(number), number, 0, threeSecondsOfSamples))
            << "channel " << number << whereFramesWent();
    }
}

TEST_F(AvtpIngestLive, StallOfTwoSecondsIsReportedAsFramesDroppedInTheKernel) {
    // 7 s, with stalls of 2 s from 0.5 s and from 3.5 s. A machine that is paused now and then makes the
    // talker send in bursts and the kernel hand its blocks over late, both of which pack more frames into a
    // block, and one stall may then fit into the ring; the second makes a run without any drop most unlikely.
    constexpr std::uint64_t frames = 56000;
    openCapture(8, frames * samplesPerFrame);
    receiver->stall.arm(4000, 2000ms);
    receiver->stall.arm(28000, 2000ms);
    testsupport::LogCapture capture;
    talk(channelArguments(8, frames));
    ASSERT_TRUE(testsupport::spinUntil([&] { return !kernelDropMessages().empty(); }, 10000ms))
        << whereFramesWent();

    const auto first = kernelDropMessages().front();
    EXPECT_EQ(first->getMessageClass(), "StatusMessage");
    EXPECT_EQ(first->getMessageId(), "PcapPacketSniffer (eth1)");
    EXPECT_EQ(first->getMessageType(), "WARNING");
    EXPECT_EQ(first->getMessageSender(), "PcapPacketSniffer");
    EXPECT_GT(droppedCount(first->getMessageText(), false), 0) << first->getMessageText();
    EXPECT_EQ(droppedCount(first->getMessageText(), true), droppedCount(first->getMessageText(), false));
    EXPECT_TRUE(capture.contains(QtWarningMsg, "reportKernelDrops \"PcapPacketSniffer (eth1)\" " +
                                                   first->getMessageText()));

    // Every frame sent was either handed over or counted as dropped. The capture hands over the last block of
    // the stream a millisecond after the talker's last frame; the loop's last read, at the stop, counts what
    // the kernel dropped after the stream's last read.
    testsupport::spinFor(200ms);
    stopAndReadTheLastCounters();
    testsupport::spinFor(100ms);
    const auto accounted = [&] {
        const auto drops = sniffer->getKernelDrops();
        return receiver->handled.load() + drops.droppedInRing + drops.droppedByAdapter;
    };
    EXPECT_EQ(accounted(), frames) << whereFramesWent();
    // The messages add up to the last total, and that is what the kernel counted.
    std::int64_t sum = 0;
    for (const auto& message : kernelDropMessages()) {
        sum += droppedCount(message->getMessageText(), false);
    }
    EXPECT_EQ(sum, droppedCount(kernelDropMessages().back()->getMessageText(), true));
    const auto drops = sniffer->getKernelDrops();
    EXPECT_EQ(static_cast<std::uint64_t>(sum), drops.droppedInRing + drops.droppedByAdapter);
    // A frame after a gap was refused as out of sequence, unless every gap was a whole number of turns of the
    // 8-bit sequence number and so could not be seen. There may be more than one gap: until the capture has
    // worked off the full ring, the kernel fills each block it frees at once, and a capture thread that is
    // not scheduled for a millisecond meanwhile loses frames again.
    EXPECT_GE(receiver->getMissedPackets(), sum % 256 == 0 ? 0U : 1U)
        << sum << " dropped" << whereFramesWent();
}

TEST_F(AvtpIngestLive, NothingIsReportedWhileNothingIsDropped) {
    openCapture(2, 48000);
    testsupport::LogCapture capture;
    talk(channelArguments(2, threeSeconds));
    ASSERT_TRUE(receivedFrames(threeSeconds)) << whereFramesWent();
    stopAndReadTheLastCounters();
    testsupport::spinFor(100ms);
    const auto drops = sniffer->getKernelDrops();
    // The counters were read while the stream ran, not only at its end.
    EXPECT_GE(drops.reads, 2U);
    EXPECT_EQ(drops.received, threeSeconds);
    EXPECT_EQ(drops.droppedInRing, 0U);
    EXPECT_TRUE(kernelDropMessages().empty());
    EXPECT_TRUE(capture.textsStartingWith(QtWarningMsg, "reportKernelDrops").empty());
}

TEST_F(AvtpIngestLive, RingOfSizeZeroTakesLiveFramesWithoutStoringThem) {
    UncheckedSize empty(0, 48);
    device = std::make_unique<sonacore::DeviceConfiguration>("device", &empty, 2, 2, samplesPerFrame);
    makeReceiver();
    receiver->addStreamingDevice("00a0c9112233", device.get());
    startCapture();
    talk(channelArguments(2, 4000));
    ASSERT_TRUE(receivedFrames(4000)) << whereFramesWent();
    EXPECT_EQ(receiver->getMissedPackets(), 0U);
    for (unsigned number = 0; number < 2; ++number) {
        auto* ring = receiver->getAudioBuffer("00a0c9112233", number);
        EXPECT_EQ(ring->getWritePosition(), 0U);
        EXPECT_EQ(ring->getSignalSerial(), 0U);
        EXPECT_TRUE(ring->fetchSamples(48).empty());
        EXPECT_TRUE(ring->fetchSignaledSamples(48).empty());
    }
}

TEST_F(AvtpIngestLive, SignalingAmountAboveTheSizeServesTheNewestPartOfEachBlock) {
    // Blocks of 1000 samples in a ring of 480; 4000 frames bring 24 blocks.
    constexpr std::uint64_t frames = 4000;
    buffer = std::make_unique<sonacore::BufferConfiguration>("buffer", 480, 1000);
    device = std::make_unique<sonacore::DeviceConfiguration>("device", buffer.get(), 2, 2, samplesPerFrame);
    makeReceiver();
    receiver->addStreamingDevice("00a0c9112233", device.get());
    auto* ring = receiver->getAudioBuffer("00a0c9112233", 1);
    std::vector<std::uint64_t> sizes;
    QObject::connect(
        ring, &avb::AvbAudioBuffer::bufferAmountAvailable, receiver.get(),
        [&](const std::string&, std::size_t) { sizes.push_back(ring->fetchSignaledSamples(1000).size()); },
        Qt::AutoConnection);
    startCapture();
    talk(channelArguments(2, frames));
    ASSERT_TRUE(receivedFrames(frames)) << whereFramesWent();
    ASSERT_TRUE(testsupport::spinUntil([&] { return sizes.size() >= 24; }));
    EXPECT_EQ(ring->getSignalSerial(), 24U);
    EXPECT_EQ(sizes, std::vector<std::uint64_t>(24, 480));
    // The last signal came with the last sample: the ring holds the newest 480 samples of that block.
    EXPECT_EQ(ring->fetchSignaledSamples(1000),
              talkerSamples(signalFor(1), 1, frames * samplesPerFrame - 480, 480));
}

TEST_F(AvtpIngestLive, FetchOfMoreThanTheRingWhileFramesArriveReturnsTheRing) {
    constexpr std::uint64_t frames = 4000;
    openCapture(2, 480);
    auto* ring = receiver->getAudioBuffer("00a0c9112233", 0);
    testsupport::LogCapture capture;
    auto& stream = startStream(channelArguments(2, frames));
    std::uint64_t fetches = 0;
    std::uint64_t wrongSizes = 0;
    // Fetches race the capture thread's writes for as long as the stream runs, about one a millisecond.
    while (receiver->handled.load() < frames && !stream.waitFor(1ms)) {
        wrongSizes += ring->fetchSamples(1000).size() != 480 ? 1 : 0;
        ++fetches;
    }
    ASSERT_TRUE(talkerSucceeded(stream, 30s));
    ASSERT_TRUE(receivedFrames(frames)) << whereFramesWent();
    EXPECT_GT(fetches, 0U);
    EXPECT_EQ(wrongSizes, 0U);
    EXPECT_EQ(capture.count(QtWarningMsg,
                            "fetchSamples \"00a0c9112233_Ch0\" More samples requested than available by "
                            "the buffer.  Only maximum available amount will be returned:  480  instead "
                            "of  1000"),
              fetches);
    EXPECT_EQ(ring->fetchSamples(1000), talkerSamples(signalFor(0), 0, frames * samplesPerFrame - 480, 480));
}

namespace {

// A configuration refused where it is made or where its device is added, and the start of the refusal.
struct RefusedConfiguration {
    const char* name;
    std::uint64_t bufferSize;
    std::uint64_t sampleSize;
    std::uint64_t channels;
    std::uint64_t samplesPerChannel;
    const char* refusalStart;
};

class AvtpIngestRefusedLive : public AvtpIngestLive,
                              public ::testing::WithParamInterface<RefusedConfiguration> {};

} // namespace

TEST_P(AvtpIngestRefusedLive, IsRefusedAndTheDevicesLiveFramesAreIgnored) {
    const RefusedConfiguration& row = GetParam();
    makeReceiver();
    try {
        buffer = std::make_unique<sonacore::BufferConfiguration>("buffer", row.bufferSize);
        device = std::make_unique<sonacore::DeviceConfiguration>("device", buffer.get(), row.sampleSize,
                                                                 row.channels, row.samplesPerChannel);
        receiver->addStreamingDevice("00a0c9112233", device.get());
        FAIL() << "no exception";
    } catch (const exceptions::InstanceNotCreateable& error) {
        EXPECT_EQ(std::string(error.what()).rfind(row.refusalStart, 0), 0U) << error.what();
    }
    startCapture();
    talk(channelArguments(2, 800));
    ASSERT_TRUE(receivedFrames(800)) << whereFramesWent();
    EXPECT_EQ(receiver->getMissedPackets(), 0U);
    EXPECT_FALSE(receiver->checkBufferAvailability("00a0c9112233").first);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, AvtpIngestRefusedLive,
    ::testing::Values(RefusedConfiguration{"BufferSizeZero", 0, 2, 2, 6, "Buffer size 0 given"},
                      RefusedConfiguration{"SampleSizeZero", 480, 0, 2, 6, "Invalid sample size '0'"},
                      RefusedConfiguration{"ZeroSamplesPerChannel", 480, 2, 2, 0,
                                           "Invalid samples per channel '0'"},
                      RefusedConfiguration{"ChannelAmountZero", 480, 2, 0, 6, "Invalid channel count '0'"},
                      RefusedConfiguration{"ChannelAmountAboveWhatAFrameCanState", 480, 2, 1024, 6,
                                           "Invalid channel count '1024'"}),
    [](const auto& info) { return std::string(info.param.name); });
