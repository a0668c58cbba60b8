#include "engine/streaming/NetworkReceiver.h"
#include "sonacore/StatusMessage.h"
#include "support/EventLoop.h"
#include "support/LogCapture.h"
#include "support/NetnsFixture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>

namespace {

using namespace std::chrono_literals;

class NetworkReceiverLive : public testsupport::NetnsFixture {
protected:
    std::unique_ptr<engine::streaming::NetworkReceiver>
    makeReceiver(const std::string& filter = "ether proto 0x22f0") {
        return std::make_unique<engine::streaming::NetworkReceiver>(
            pcapplus::PcapDeviceInfo(3, captureInterface(), "Not available"), 2, filter);
    }
};

} // namespace

TEST_F(NetworkReceiverLive, NewReceiverIsConfiguredFilteredRegisteredButIdle) {
    testsupport::LogCapture capture;
    auto receiver = makeReceiver();
    auto& sniffer = static_cast<pcapplus::PcapPacketSniffer&>(*receiver);
    EXPECT_TRUE(sniffer.isConfigured());
    EXPECT_TRUE(sniffer.isFilterActive());
    EXPECT_EQ(sniffer.getFilterExpression(), "ether proto 0x22f0");
    EXPECT_EQ(sniffer.getReceiverName(), "AvtpPacketReceiver (eth3)");
    EXPECT_FALSE(receiver->getReceiverHandle().isRunning());
    EXPECT_TRUE(capture.contains(QtDebugMsg, "NetworkReceiverHandle Handle initialized!"));
    EXPECT_EQ(receiver->toString(), "NetworkReceiver: AvtpPacketReceiver (eth3)");
    EXPECT_EQ(receiver->getReceiverHandle().getReceiverUid(), captureInterface());
    EXPECT_EQ(receiver->getReceiverHandle().toString(),
              "NetworkReceiverHandle\n\tControlled Network Receiver UID: " + captureInterface());
}

TEST_F(NetworkReceiverLive, IsRunningFollowsStartAndStop) {
    auto receiver = makeReceiver();
    auto& handle = receiver->getReceiverHandle();
    EXPECT_FALSE(handle.isRunning());
    handle.start();
    EXPECT_TRUE(handle.isRunning());
    handle.stop();
    EXPECT_FALSE(handle.isRunning());
}

TEST_F(NetworkReceiverLive, StartTwiceWarnsOnce) {
    auto receiver = makeReceiver();
    testsupport::LogCapture capture;
    receiver->getReceiverHandle().start();
    receiver->getReceiverHandle().start();
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{
                  "start \"PcapPacketSniffer (eth3)\" Sniffer already listening, cannot be started!"});
}

TEST_F(NetworkReceiverLive, HandleReachesOnlyItsOwnReceiver) {
    auto receiver = makeReceiver();
    auto& handle = receiver->getReceiverHandle();
    emit handle.start(std::string("another-interface"));
    EXPECT_FALSE(handle.isRunning());
    emit handle.start(captureInterface());
    EXPECT_TRUE(handle.isRunning());
}

TEST_F(NetworkReceiverLive, EmptyFilterSetsNoFilterAndTheSubtypeIsTheOnlyGate) {
    testsupport::LogCapture capture;
    auto receiver = makeReceiver("");
    auto& sniffer = static_cast<pcapplus::PcapPacketSniffer&>(*receiver);
    EXPECT_FALSE(sniffer.isFilterActive());
    EXPECT_EQ(sniffer.getFilterExpression(), "None");
    for (const auto& line : capture.texts(QtDebugMsg)) {
        EXPECT_EQ(line.find("setFilter"), std::string::npos) << line;
    }
    sonacore::BufferConfiguration buffer("buf", 4800);
    sonacore::DeviceConfiguration device("dev", &buffer, 2, 1, 6);
    receiver->addStreamingDevice("00a0c9112233", &device);
    receiver->getReceiverHandle().start();
    ASSERT_TRUE(talkerSucceeded(startTalker({"--source-mac", "00:a0:c9:11:22:33", "--channels", "1",
                                             "--count", "100", "--insert-ethertype", "50:0x0800"}),
                                20s));
    // Without a filter the frame of another EtherType reaches the receiver, and its byte 14 says AAF: it is
    // taken as frame 50, and the real frame 50 that follows is refused as a repeated sequence number.
    auto* channel = receiver->getAudioBuffer("00a0c9112233", 0);
    ASSERT_TRUE(testsupport::spinUntil([&] { return channel->getWritePosition() == 600; }));
    testsupport::spinFor(100ms);
    EXPECT_EQ(channel->getWritePosition(), 600U);
    EXPECT_EQ(receiver->getMissedPackets(), 1U);
}

TEST_F(NetworkReceiverLive, SnifferStatusLeavesThroughTheReceiversMessageSignal) {
    auto receiver = makeReceiver();
    std::vector<std::string> texts;
    QObject objectOnThisThread;
    QObject::connect(
        static_cast<avb::AvtpPacketReceiver*>(receiver.get()), &avb::AvtpPacketReceiver::message,
        &objectOnThisThread, [&](auto message) { texts.push_back(message->getMessageText()); },
        Qt::AutoConnection);
    receiver->getReceiverHandle().start();
    receiver->getReceiverHandle().stop();
    ASSERT_TRUE(
        testsupport::spinUntil([&] { return texts.size() >= 2 && texts.back() == "Stop listening"; }));
    // The registration's message of the constructor may come first, depending on when the receiver's thread
    // passed it on.
    ASSERT_GE(texts.size(), 2U);
    EXPECT_EQ(texts[texts.size() - 2], "Start listening");
}

TEST_F(NetworkReceiverLive, AdapterThatCannotBeOpenedLeavesTheObjectUnconfigured) {
    engine::streaming::NetworkReceiver receiver(pcapplus::PcapDeviceInfo(9, "sonacore-none9", "x"), 2,
                                                "ether proto 0x22f0");
    EXPECT_FALSE(static_cast<pcapplus::PcapPacketSniffer&>(receiver).isConfigured());
    EXPECT_FALSE(receiver.getReceiverHandle().isRunning());
}
