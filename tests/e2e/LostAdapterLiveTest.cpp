// A host capturing on an adapter that goes down, or disappears, while our talker sends: the capture ends,
// the handle says it no longer runs, and a status message names the adapter with libpcap's reason. A start
// once the adapter is back captures again; a start while it is missing says why it cannot.
#include "e2e/LiveAdapter.h"
#include "sonacore/ISonaCore.h"
#include "sonacore/IWaveformConfig.h"
#include "support/ChildProcess.h"
#include "support/EventLoop.h"
#include "support/NetnsFixture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;

const std::string streamKey = "00a0c9112501";

// Runs `ip` with `arguments`; true when it exits with 0.
bool ip(const std::vector<std::string>& arguments) {
    std::vector<std::string> command{"ip"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    testsupport::ChildProcess child;
    std::string error;
    return child.start(command, error) && child.waitFor(10s) && child.exitStatus() == 0;
}

class LostAdapterLive : public testsupport::NetnsFixture {
protected:
    void SetUp() override {
        testsupport::NetnsFixture::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        core = ISonaCore::createInstance();
        core->setMessageReceiver([this](std::shared_ptr<sonacore::imessages::IBaseMessage> message) {
            messages.push_back({message->getMessageType(), message->getMessageText()});
        });
        adapter = e2etest::adapterNamed(captureInterface());
        ASSERT_NE(adapter, nullptr);
        auto* buffer = sonacore::IBufferConfiguration::createInstance("buffer", 48000, 48);
        auto* device = sonacore::IDeviceConfiguration::createInstance("device", *buffer, 2, 2, 6);
        auto* stream = sonacore::IStreamConfiguration::createInstance("stream", streamKey, *adapter, *device);
        receiver = core->addRemoteStreamReceiver(*stream);
        auto* waveform = sonacore::iprocess::IWaveformConfig::createInstance("wave", 48);
        auto* process = sonacore::IProcessConfiguration::createInstance("wave 0", *waveform, streamKey, 0);
        handle = core->addProcessor(*process);
        core->getMeteringDataSource(*handle)->bindChannelCallback(
            [count = deliveries](sonacore::IChannelData&) { ++*count; });
        handle->start();
        receiver->start();
        startTalker({"--source-mac", "00:a0:c9:11:25:01", "--channels", "2", "--duration", "60"});
        ASSERT_TRUE(testsupport::spinUntil([this] { return *deliveries > 10; }, 10s)) << allMessages();
    }

    void TearDown() override {
        if (core != nullptr) {
            core->setMessageReceiver({});
            receiver->stop();
            handle->stop();
        }
        testsupport::NetnsFixture::TearDown();
    }

    // The text of the first "WARNING" message that starts with `prefix`, or an empty text.
    std::string warningStartingWith(const std::string& prefix) const {
        for (const auto& [type, text] : messages) {
            if (type == "WARNING" && text.rfind(prefix, 0) == 0) {
                return text;
            }
        }
        return {};
    }

    bool hasMessage(const std::string& text) const {
        for (const auto& message : messages) {
            if (message.second == text) {
                return true;
            }
        }
        return false;
    }

    std::string allMessages() const {
        std::string text = "\nmessages:";
        for (const auto& [type, message] : messages) {
            text += "\n    " + type + ": " + message;
        }
        return text;
    }

    // Waits for the capture's end and its message; returns the message.
    std::string lossReported() {
        const std::string prefix = "Capture on adapter '" + captureInterface() + "' failed and has stopped: ";
        EXPECT_TRUE(testsupport::spinUntil([&] { return !warningStartingWith(prefix).empty(); }, 10s))
            << allMessages();
        EXPECT_FALSE(receiver->isRunning());
        const std::string text = warningStartingWith(prefix);
        // libpcap's reason follows the adapter's name.
        EXPECT_GT(text.size(), prefix.size()) << text;
        return text;
    }

    ISonaCore* core = nullptr;
    sonacore::INetworkDeviceInfo* adapter = nullptr;
    sonacore::ihandles::INetworkReceiverHandle* receiver = nullptr;
    sonacore::ihandles::IProcessorHandle* handle = nullptr;
    std::shared_ptr<std::atomic<int>> deliveries = std::make_shared<std::atomic<int>>(0);
    std::vector<std::pair<std::string, std::string>> messages;
};

TEST_F(LostAdapterLive, AnAdapterThatGoesDownEndsTheCaptureWithAMessage) {
    ASSERT_TRUE(ip({"link", "set", captureInterface(), "down"}));
    const std::string text = lossReported();
    std::cout << "reported: " << text << "\n";
}

TEST_F(LostAdapterLive, AStartOnceTheAdapterIsUpAgainCapturesAgain) {
    ASSERT_TRUE(ip({"link", "set", captureInterface(), "down"}));
    lossReported();
    ASSERT_TRUE(ip({"link", "set", captureInterface(), "up"}));
    messages.clear();
    receiver->start();
    EXPECT_TRUE(receiver->isRunning());
    const int before = *deliveries;
    EXPECT_TRUE(testsupport::spinUntil([&] { return *deliveries > before + 10; }, 10s))
        << *deliveries << " deliveries, " << before << " before the start" << allMessages();
    // The adapter is opened anew, with the stream's filter, before the capture starts.
    EXPECT_TRUE(
        hasMessage("Successfully configured adapter number " + std::to_string(adapter->getDeviceNumber())))
        << allMessages();
    EXPECT_TRUE(hasMessage("Filter 'ether proto 0x22f0' enabled")) << allMessages();
    EXPECT_TRUE(hasMessage("Start listening")) << allMessages();
}

TEST_F(LostAdapterLive, AnAdapterThatDisappearsEndsTheCaptureAndAStartSaysWhyItCannot) {
    ASSERT_TRUE(ip({"link", "del", captureInterface()}));
    lossReported();
    messages.clear();
    receiver->start();
    testsupport::spinFor(200ms);
    EXPECT_FALSE(receiver->isRunning());
    const std::string prefix = "Unable to open the adapter number " +
                               std::to_string(adapter->getDeviceNumber()) + ". Error message: ";
    bool refused = false;
    for (const auto& message : messages) {
        refused = refused || message.second.rfind(prefix, 0) == 0;
    }
    EXPECT_TRUE(refused) << allMessages();
    EXPECT_FALSE(hasMessage("Start listening")) << allMessages();
}

} // namespace
