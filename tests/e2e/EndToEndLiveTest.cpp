// A host that knows only the public interface adds a stream and waveform processors, and receives live
// samples from our talker through the library, on a veth pair in a private network namespace.
#include "e2e/LiveAdapter.h"
#include "e2e/TalkerSamples.h"
#include "exceptions/SonaCoreException.h"
#include "sonacore/IChannelAmountChanged.h"
#include "sonacore/ISonaCore.h"
#include "sonacore/IWaveformConfig.h"
#include "support/DestroyLog.h"
#include "support/DropDiagnostics.h"
#include "support/EventLoop.h"
#include "support/LogCapture.h"
#include "support/NetnsFixture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;

// Every delivery of one processor, as the host's callback received it.
struct Deliveries {
    std::vector<std::vector<double>> x;
    std::vector<std::vector<double>> y;
};

using e2etest::sameSamples;
using e2etest::talkerSamples;

std::string signalFor(unsigned channel) {
    return "counter:" + std::to_string(1000 + 20000 * channel);
}

class EndToEndLive : public testsupport::NetnsFixture {
protected:
    void SetUp() override {
        testsupport::NetnsFixture::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        core = ISonaCore::createInstance();
        core->setMessageReceiver([this](std::shared_ptr<sonacore::imessages::IBaseMessage> message) {
            messages.push_back(message);
        });
        adapter = e2etest::adapterNamed(captureInterface());
        ASSERT_NE(adapter, nullptr);
    }

    void TearDown() override {
        if (core != nullptr) {
            core->setMessageReceiver({});
            if (receiver != nullptr) {
                receiver->stop();
            }
            // The processors outlive this fixture; one on its own timer would go on delivering.
            for (auto* handle : handles) {
                handle->stop();
            }
        }
        testsupport::NetnsFixture::TearDown();
    }

    // Adds the stream of `key` (12 hex digits) with `channels` channels, signalling every `signaling`
    // samples.
    void addStream(const std::string& key, std::uint64_t channels, std::uint64_t signaling,
                   std::uint64_t bufferSize) {
        auto* buffer = sonacore::IBufferConfiguration::createInstance("e2e buffer", bufferSize, signaling);
        auto* device = sonacore::IDeviceConfiguration::createInstance("e2e device", *buffer, 2, channels, 6);
        auto* stream = sonacore::IStreamConfiguration::createInstance("e2e stream", key, *adapter, *device);
        receiver = core->addRemoteStreamReceiver(*stream);
        ASSERT_NE(receiver, nullptr);
        streamKey = key;
    }

    sonacore::ihandles::IProcessorHandle* addWaveform(unsigned channel, std::uint64_t sampleAmount,
                                                      std::uint64_t refreshRate = 0) {
        auto* waveform =
            refreshRate == 0
                ? sonacore::iprocess::IWaveformConfig::createInstance("wave", sampleAmount)
                : sonacore::iprocess::IWaveformConfig::createInstance("wave", sampleAmount, refreshRate);
        auto* process = sonacore::IProcessConfiguration::createInstance(
            "process " + std::to_string(channel), *waveform, streamKey, static_cast<unsigned char>(channel));
        auto* handle = core->addProcessor(*process);
        // The callbacks stay bound as long as the core lives, and a delivery already on its way when this
        // test ends still arrives: they write into storage that they share, never into the fixture.
        core->getMeteringDataSource(*handle)->bindChannelCallback(
            [store = deliveryStore, channel](sonacore::IChannelData& data) {
                (*store)[channel].x.push_back(data.getVectorData().getX());
                (*store)[channel].y.push_back(data.getVectorData().getY());
            });
        handles.push_back(handle);
        return handle;
    }

    // A waveform processor of `amount` samples on each of the two channels, started, then the capture.
    void startTwoWaveforms(std::uint64_t amount) {
        for (unsigned channel = 0; channel < 2; ++channel) {
            addWaveform(channel, amount)->start();
        }
        receiver->start();
    }

    // Waits until both channels have delivered the samples of `frames` frames and the first delivery's zero
    // points, and checks that every sample arrived exactly once, in order, as the talker's float. On a
    // failure the message ends with what `diagnose` says, when given.
    void expectEverySampleOnce(std::uint64_t amount, std::uint64_t frames, std::chrono::milliseconds deadline,
                               const std::function<std::string()>& diagnose = {}) {
        const std::size_t expected = frames * 6 + amount;
        ASSERT_TRUE(testsupport::spinUntil(
            [&] { return totalDelivered(0) >= expected && totalDelivered(1) >= expected; }, deadline))
            << totalDelivered(0) << " and " << totalDelivered(1) << " points delivered of " << expected
            << (diagnose ? diagnose() : "");
        testsupport::spinFor(std::chrono::milliseconds(200));
        for (unsigned channel = 0; channel < 2; ++channel) {
            EXPECT_TRUE(sameSamples(deliveredSamples(channel, amount),
                                    talkerSamples(signalFor(channel), channel, 0, frames * 6)))
                << "channel " << channel << (diagnose ? diagnose() : "");
        }
    }

    // Where the frames of a stream went, for a run that found some missing: what the talker sent and how
    // late, what the capture reported dropped in the kernel, and what the machine dropped before any capture.
    // Stops the capture first, so that its last count of kernel drops comes in too.
    std::string whereFramesWent(testsupport::ChildProcess& talker,
                                const testsupport::MachineDropCounters& before) {
        std::string text = "\nWhere the frames went:\ntalker:\n";
        talker.waitFor(std::chrono::seconds(15));
        text += testsupport::talkerSummary(talker.output());
        if (receiver != nullptr && receiver->isRunning()) {
            receiver->stop();
            testsupport::spinFor(std::chrono::milliseconds(500));
        }
        text += "capture:";
        bool dropped = false;
        for (const auto& message : messages) {
            if (message->getMessageType() == "WARNING") {
                text += "\n    " + message->getMessageText();
                dropped = true;
            }
        }
        text += dropped ? "\n" : " no kernel drop reported\n";
        const auto after =
            testsupport::MachineDropCounters::read(captureInterface(), namespaceName(), talkerInterface());
        return text + after.describe(before);
    }

    static std::string mac(const std::string& key) {
        std::string text;
        for (std::size_t index = 0; index < key.size(); index += 2) {
            text += (index == 0 ? "" : ":") + key.substr(index, 2);
        }
        return text;
    }

    void talk(std::vector<std::string> arguments, std::chrono::seconds timeout = 30s) {
        arguments.insert(arguments.begin(), {"--source-mac", mac(streamKey)});
        ASSERT_TRUE(talkerSucceeded(startTalker(arguments), timeout));
    }

    // Every delivered y value after the first delivery's zero points, in order.
    std::vector<double> deliveredSamples(unsigned channel, std::uint64_t sampleAmount) {
        return e2etest::deliveredSamples(deliveries[channel].y, sampleAmount);
    }

    std::size_t totalDelivered(unsigned channel) {
        std::size_t total = 0;
        for (const auto& y : deliveries[channel].y) {
            total += y.size();
        }
        return total;
    }

    ISonaCore* core = nullptr;
    sonacore::INetworkDeviceInfo* adapter = nullptr;
    sonacore::ihandles::INetworkReceiverHandle* receiver = nullptr;
    std::string streamKey;
    std::shared_ptr<std::map<unsigned, Deliveries>> deliveryStore =
        std::make_shared<std::map<unsigned, Deliveries>>();
    std::map<unsigned, Deliveries>& deliveries = *deliveryStore;
    // Every processor this test added, until the core ends.
    std::vector<sonacore::ihandles::IProcessorHandle*> handles;
    std::vector<std::shared_ptr<sonacore::imessages::IBaseMessage>> messages;
};

std::vector<std::string> twoChannelCounters(std::uint64_t frames) {
    return {"--channels",        "2",       "--channel-signal",    "0=" + signalFor(0), "--channel-signal",
            "1=" + signalFor(1), "--count", std::to_string(frames)};
}

} // namespace

TEST_F(EndToEndLive, ExternalClockDeliversEverySampleOnceInOrderAsTheRightFloat) {
    // Blocks of 10 ms: a worker thread that is not scheduled for a few milliseconds on a busy machine still
    // takes each block before the next signal. The real-time run below uses the 1 ms blocks of 48 samples.
    constexpr std::uint64_t amount = 480;
    constexpr std::uint64_t frames = 4000;
    addStream("00a0c9112201", 2, amount, 48000);
    startTwoWaveforms(amount);
    talk(twoChannelCounters(frames));
    expectEverySampleOnce(amount, frames, 10000ms);
    for (unsigned channel = 0; channel < 2; ++channel) {
        // The first delivery holds the zero points of the creation replay in front of its block.
        const auto& firstDelivery = deliveries[channel];
        ASSERT_FALSE(firstDelivery.y.empty());
        ASSERT_EQ(firstDelivery.y[0].size(), 2 * amount);
        for (std::size_t index = 0; index < amount; ++index) {
            EXPECT_EQ(firstDelivery.x[0][index], 0.0);
            EXPECT_EQ(firstDelivery.y[0][index], 0.0);
        }
        for (std::size_t delivery = 1; delivery < firstDelivery.x.size(); ++delivery) {
            for (std::size_t index = 0; index < firstDelivery.x[delivery].size(); ++index) {
                ASSERT_EQ(firstDelivery.x[delivery][index], static_cast<double>(index));
            }
        }
    }
}

TEST_F(EndToEndLive, TaggedThirtyTwoBitStreamReachesTheCallbackAsTheRightFloat) {
    constexpr std::uint64_t amount = 480;
    constexpr std::uint64_t frames = 4000;
    auto* buffer = sonacore::IBufferConfiguration::createInstance("e2e buffer", 48000, amount);
    auto* device = sonacore::IDeviceConfiguration::createInstance("e2e device", *buffer,
                                                                  sonacore::SampleFormat::Int32, 2, 6);
    auto* stream =
        sonacore::IStreamConfiguration::createInstance("e2e stream", "00a0c9112209", *adapter, *device, true);
    receiver = core->addRemoteStreamReceiver(*stream);
    ASSERT_NE(receiver, nullptr);
    streamKey = "00a0c9112209";
    startTwoWaveforms(amount);
    auto arguments = twoChannelCounters(frames);
    arguments.insert(arguments.end(), {"--format", "int32", "--vlan", "2:3"});
    talk(arguments);
    // The talker's 16-bit counter fills the top half of each 32-bit sample: value * 65536 / 2^31.
    expectEverySampleOnce(amount, frames, 10000ms);
    const auto filterWidened = [&] {
        for (const auto& message : messages) {
            if (message->getMessageText() ==
                "Filter 'ether proto 0x22f0 or (vlan and ether proto 0x22f0)' enabled") {
                return true;
            }
        }
        return false;
    };
    EXPECT_TRUE(filterWidened());
}

TEST_F(EndToEndLive, SixtySecondsAtRealRateReachTheCallbackExactlyOnceWithBlocksOf48) {
    constexpr std::uint64_t amount = 48;
    constexpr std::uint64_t frames = 480000;
    addStream("00a0c9112207", 2, amount, 48000);
    startTwoWaveforms(amount);
    const auto machineBefore =
        testsupport::MachineDropCounters::read(captureInterface(), namespaceName(), talkerInterface());
    // The talker runs in the background while this thread's event loop delivers the results.
    auto& talker =
        startTalker({"--source-mac", mac(streamKey), "--channels", "2", "--channel-signal",
                     "0=" + signalFor(0), "--channel-signal", "1=" + signalFor(1), "--duration", "60"});
    expectEverySampleOnce(amount, frames, 75000ms, [&] { return whereFramesWent(talker, machineBefore); });
    EXPECT_TRUE(talkerSucceeded(talker, 10s));
}

TEST_F(EndToEndLive, InternalClockDeliversTheNewestSamples) {
    constexpr std::uint64_t amount = 480;
    addStream("00a0c9112202", 2, 0, 48000);
    auto* handle = addWaveform(0, amount, 20);
    handle->start();
    receiver->start();
    talk(twoChannelCounters(16000), 30s);
    ASSERT_TRUE(testsupport::spinUntil([&] { return deliveries[0].y.size() >= 20; }, 5000ms));
    // Each delivery is a run of consecutive counter values: the newest samples at the tick, in order.
    std::size_t runs = 0;
    for (const auto& y : deliveries[0].y) {
        if (y.size() != amount || y.front() == 0.0) {
            continue;
        }
        for (std::size_t index = 1; index < y.size(); ++index) {
            ASSERT_DOUBLE_EQ((y[index] - y[index - 1]) * 32768.0, 1.0);
        }
        ++runs;
    }
    EXPECT_GT(runs, 10U);
}

TEST_F(EndToEndLive, MessageReceiverGetsSnifferStatusAndTheFirstChannelChange) {
    addStream("00a0c9112203", 2, 48, 48000);
    receiver->start();
    talk(twoChannelCounters(100));
    const auto has = [&](const std::string& word, const std::string& text) {
        for (const auto& message : messages) {
            if (message->getMessageClass() == word && (text.empty() || message->getMessageText() == text)) {
                return true;
            }
        }
        return false;
    };
    ASSERT_TRUE(testsupport::spinUntil(
        [&] { return has("StatusMessage", "Start listening") && has("ChannelAmountChanged", ""); }));
    for (const auto& message : messages) {
        if (message->getMessageClass() == "ChannelAmountChanged") {
            auto change = std::dynamic_pointer_cast<sonacore::imessages::IChannelAmountChanged>(message);
            ASSERT_NE(change, nullptr);
            EXPECT_EQ(change->getMessageId(), "00a0c9112203");
            EXPECT_EQ(change->getChannelAmountAfter(), 2U);
            EXPECT_EQ(change->getConfiguredChannelAmount(), 2U);
        }
        if (message->getMessageClass() == "StatusMessage") {
            EXPECT_EQ(message->getMessageSender(), "PcapPacketSniffer");
        }
    }
    receiver->stop();
    EXPECT_TRUE(testsupport::spinUntil([&] { return has("StatusMessage", "Stop listening"); }));
}

TEST_F(EndToEndLive, RemovedProcessorKeepsItsSourceAndAddingAgainGivesTheSameHandle) {
    addStream("00a0c9112204", 2, 48, 48000);
    auto* waveform = sonacore::iprocess::IWaveformConfig::createInstance("wave", 48);
    auto* process = sonacore::IProcessConfiguration::createInstance("p", *waveform, streamKey, 1);
    auto* handle = core->addProcessor(*process);
    EXPECT_EQ(handle->getUniqueId(), "WaveformProcessor_00a0c9112204_1");
    EXPECT_TRUE(handle->isBound());
    auto* source = core->getMeteringDataSource(*handle);
    core->removeProcessor(*handle);
    EXPECT_FALSE(handle->isBound());
    EXPECT_EQ(core->getMeteringDataSource(*handle), source);
    // Safe on a removed processor's handle.
    handle->start();
    handle->stop();
    EXPECT_FALSE(handle->isActive());
    auto* again = core->addProcessor(*process);
    EXPECT_EQ(again, handle);
    EXPECT_TRUE(again->isBound());
    EXPECT_THROW(core->addProcessor(*process), exceptions::ProcessorAlreadyExists);
}

TEST_F(EndToEndLive, UnknownDeviceOrChannelThrowsBeforeAnythingIsCreated) {
    addStream("00a0c9112205", 2, 48, 48000);
    auto* waveform = sonacore::iprocess::IWaveformConfig::createInstance("wave", 48);
    auto* unknown = sonacore::IProcessConfiguration::createInstance("p", *waveform, "0000000000ff", 0);
    EXPECT_THROW(core->addProcessor(*unknown), exceptions::ResourceNotAvailable);
    auto* tooHigh = sonacore::IProcessConfiguration::createInstance("p", *waveform, streamKey, 5);
    EXPECT_THROW(core->addProcessor(*tooHigh), exceptions::ResourceNotAvailable);
}

TEST_F(EndToEndLive, DestroyEndsEverythingWithItsLogLines) {
    addStream("00a0c9112206", 2, 48, 48000);
    auto* handle = addWaveform(0, 48);
    handle->start();
    receiver->start();
    talk(twoChannelCounters(400));
    ASSERT_TRUE(testsupport::spinUntil([&] { return !deliveries[0].y.empty(); }));
    testsupport::LogCapture capture;
    ISonaCore::destroy();
    EXPECT_EQ(capture.textsStartingWith(QtDebugMsg, "destroy "), testsupport::destroyLogLines);
    EXPECT_FALSE(receiver->isRunning());
    EXPECT_FALSE(handle->isActive());
    // Gone with the core.
    receiver = nullptr;
    handles.clear();
}
