// A host that listens on two adapters at once, each a veth pair to its own talker: with per-adapter capture
// every stream of both networks arrives bit for bit; without it, the adapter opened last hears the frames of
// both, and the two capture threads take turns in its receiver.
#include "e2e/LiveAdapter.h"
#include "e2e/TalkerSamples.h"
#include "sonacore/ISonaCore.h"
#include "sonacore/IWaveformConfig.h"
#include "support/DropDiagnostics.h"
#include "support/EventLoop.h"
#include "support/LogCapture.h"
#include "support/NetnsFixture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;

constexpr std::uint64_t amount = 480;
constexpr std::uint64_t frames = 4000;

// One stream's deliveries, per channel, as the host's callbacks received them.
using Store = std::map<unsigned, std::vector<std::vector<double>>>;

std::string counterFor(unsigned network, unsigned channel) {
    return "counter:" + std::to_string(1000 + 20000 * channel + 7000 * network);
}

std::string macOf(const std::string& key) {
    std::string text;
    for (std::size_t index = 0; index < key.size(); index += 2) {
        text += (index == 0 ? "" : ":") + key.substr(index, 2);
    }
    return text;
}

class TwoAdaptersLive : public testsupport::NetnsFixture {
protected:
    void SetUp() override {
        testsupport::NetnsFixture::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        second = addVethPair();
        ASSERT_NE(second, nullptr);
        core = ISonaCore::createInstance();
        core->setMessageReceiver([this](std::shared_ptr<sonacore::imessages::IBaseMessage> message) {
            messages.push_back(message->getMessageText());
        });
    }

    void TearDown() override {
        if (core != nullptr) {
            core->setMessageReceiver({});
            for (auto* receiver : receivers) {
                receiver->stop();
            }
            for (auto* handle : handles) {
                handle->stop();
            }
        }
        testsupport::NetnsFixture::TearDown();
    }

    // A stream of `key` with two channels on the adapter `interface`, a waveform processor on each channel,
    // all started.
    std::shared_ptr<Store> addStream(const std::string& interface, const std::string& key) {
        auto* adapter = e2etest::adapterNamed(interface);
        EXPECT_NE(adapter, nullptr) << interface;
        auto store = std::make_shared<Store>();
        if (adapter == nullptr) {
            return store;
        }
        auto* buffer = sonacore::IBufferConfiguration::createInstance("buffer " + key, 48000, amount);
        auto* device = sonacore::IDeviceConfiguration::createInstance("device " + key, *buffer, 2, 2, 6);
        auto* stream =
            sonacore::IStreamConfiguration::createInstance("stream " + key, key, *adapter, *device);
        receivers.push_back(core->addRemoteStreamReceiver(*stream));
        for (unsigned channel = 0; channel < 2; ++channel) {
            auto* waveform = sonacore::iprocess::IWaveformConfig::createInstance("wave", amount);
            auto* process = sonacore::IProcessConfiguration::createInstance(
                "wave " + key + " " + std::to_string(channel), *waveform, key,
                static_cast<unsigned char>(channel));
            auto* handle = core->addProcessor(*process);
            core->getMeteringDataSource(*handle)->bindChannelCallback(
                [store, channel](sonacore::IChannelData& data) {
                    (*store)[channel].push_back(data.getVectorData().getY());
                });
            handle->start();
            handles.push_back(handle);
        }
        receivers.back()->start();
        return store;
    }

    // Starts a talker on the namespace end `interface`, sending as `key` the counters of `network`.
    testsupport::ChildProcess& talk(const std::string& interface, const std::string& key, unsigned network,
                                    std::uint64_t count) {
        return startTalkerOn(interface, {"--source-mac", macOf(key), "--channels", "2", "--channel-signal",
                                         "0=" + counterFor(network, 0), "--channel-signal",
                                         "1=" + counterFor(network, 1), "--count", std::to_string(count)});
    }

    static std::size_t delivered(const Store& store, unsigned channel) {
        const auto found = store.find(channel);
        std::size_t total = 0;
        if (found != store.end()) {
            for (const auto& y : found->second) {
                total += y.size();
            }
        }
        return total;
    }

    // Every sample of `count` frames of `network`'s counters on both channels of `store`, exactly once.
    void expectEverySample(const Store& store, unsigned network, std::uint64_t count,
                           const std::string& diagnosis) {
        for (unsigned channel = 0; channel < 2; ++channel) {
            const auto found = store.find(channel);
            const auto samples = found == store.end() ? std::vector<double>()
                                                      : e2etest::deliveredSamples(found->second, amount);
            EXPECT_TRUE(e2etest::sameSamples(
                samples, e2etest::talkerSamples(counterFor(network, channel), channel, 0, count * 6)))
                << "network " << network << ", channel " << channel << diagnosis;
        }
    }

    // What the talkers said and what the library reported, for a run that missed samples.
    std::string whereFramesWent(std::vector<testsupport::ChildProcess*> talkers) {
        std::string text = "\nWhere the frames went:";
        for (auto* talker : talkers) {
            talker->waitFor(15s);
            text += "\ntalker:\n" + testsupport::talkerSummary(talker->output());
        }
        text += "\nlibrary messages:";
        for (const auto& message : messages) {
            text += "\n    " + message;
        }
        return text + "\n";
    }

    const testsupport::VethPair* second = nullptr;
    ISonaCore* core = nullptr;
    std::vector<sonacore::ihandles::INetworkReceiverHandle*> receivers;
    std::vector<sonacore::ihandles::IProcessorHandle*> handles;
    std::vector<std::string> messages;
};

const std::string firstKey = "00a0c9112401";
const std::string secondKey = "00a0c9112402";

TEST_F(TwoAdaptersLive, PerAdapterCaptureDeliversEveryStreamOfBothNetworksExactly) {
    core->setPerAdapterCapture(true);
    const auto first = addStream(captureInterface(), firstKey);
    const auto other = addStream(second->rootEnd(), secondKey);
    auto& firstTalker = talk(talkerInterface(), firstKey, 0, frames);
    auto& secondTalker = talk(second->namespaceEnd(), secondKey, 1, frames);
    const std::size_t expected = frames * 6 + amount;
    const bool complete = testsupport::spinUntil(
        [&] {
            return delivered(*first, 0) >= expected && delivered(*first, 1) >= expected &&
                   delivered(*other, 0) >= expected && delivered(*other, 1) >= expected;
        },
        30s);
    testsupport::spinFor(200ms);
    const std::string diagnosis = complete ? "" : whereFramesWent({&firstTalker, &secondTalker});
    EXPECT_TRUE(complete) << delivered(*first, 0) << ", " << delivered(*first, 1) << ", "
                          << delivered(*other, 0) << " and " << delivered(*other, 1) << " of " << expected
                          << diagnosis;
    expectEverySample(*first, 0, frames, diagnosis);
    expectEverySample(*other, 1, frames, diagnosis);
}

TEST_F(TwoAdaptersLive, WithoutPerAdapterCaptureTheAdapterOpenedLastHearsBothNetworks) {
    const auto first = addStream(captureInterface(), firstKey);
    const auto other = addStream(second->rootEnd(), secondKey);
    // The second stream's frames, sent on the first network, reach the receiver opened last; the first
    // stream's own frames reach no receiver that knows them.
    auto& misrouted = talk(talkerInterface(), secondKey, 1, frames);
    auto& unheard = talk(talkerInterface(), firstKey, 0, 400);
    const std::size_t expected = frames * 6 + amount;
    const bool complete = testsupport::spinUntil(
        [&] { return delivered(*other, 0) >= expected && delivered(*other, 1) >= expected; }, 30s);
    EXPECT_TRUE(talkerSucceeded(unheard, 30s));
    testsupport::spinFor(200ms);
    const std::string diagnosis = complete ? "" : whereFramesWent({&misrouted});
    EXPECT_TRUE(complete) << delivered(*other, 0) << " and " << delivered(*other, 1) << " of " << expected
                          << diagnosis;
    expectEverySample(*other, 1, frames, diagnosis);
    EXPECT_EQ(delivered(*first, 0), 0U);
    EXPECT_EQ(delivered(*first, 1), 0U);
}

TEST_F(TwoAdaptersLive, BothCaptureThreadsFeedingOneReceiverTakeTurns) {
    // Both networks send the second stream's frames at full rate at the same time, so that both capture
    // threads call into the one receiver for two seconds; the sanitizer builds watch them. The sequence
    // numbers of the two talkers interleave, so only the survival and the flow of deliveries are judged.
    addStream(captureInterface(), firstKey);
    const auto other = addStream(second->rootEnd(), secondKey);
    const auto hammer = [&](const std::string& interface) {
        return &startTalkerOn(interface,
                              {"--source-mac", macOf(secondKey), "--channels", "2", "--duration", "2"});
    };
    auto* one = hammer(talkerInterface());
    auto* two = hammer(second->namespaceEnd());
    EXPECT_TRUE(talkerSucceeded(*one, 30s));
    EXPECT_TRUE(talkerSucceeded(*two, 30s));
    testsupport::spinFor(300ms);
    EXPECT_GT(delivered(*other, 0), 2 * 8000U * 6U) << whereFramesWent({one, two});
}

TEST_F(TwoAdaptersLive, PerAdapterCaptureChosenAfterTheFirstStreamWarnsAndStaysOff) {
    addStream(captureInterface(), firstKey);
    testsupport::LogCapture capture;
    core->setPerAdapterCapture(true);
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{"setPerAdapterCapture Per-adapter capture is chosen before the first "
                                       "stream is added; it stays off"});
}

} // namespace
