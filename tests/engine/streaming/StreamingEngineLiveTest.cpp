#include "engine/streaming/StreamingEngine.h"
#include "exceptions/SonaCoreException.h"
#include "support/EventLoop.h"
#include "support/LogCapture.h"
#include "support/NetnsFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace {

using namespace std::chrono_literals;

class StreamingEngineLive : public testsupport::NetnsFixture {
protected:
    sonacore::StreamConfiguration& stream(const std::string& name, const std::string& mac,
                                          const pcapplus::PcapDeviceInfo& adapter,
                                          std::uint64_t channels = 2) {
        devices.push_back(
            std::make_unique<sonacore::DeviceConfiguration>("dev-" + name, &buffer, 2, channels, 6));
        streams.push_back(
            std::make_unique<sonacore::StreamConfiguration>(name, mac, adapter, devices.back().get()));
        return *streams.back();
    }
    pcapplus::PcapDeviceInfo veth() const {
        return pcapplus::PcapDeviceInfo(2, captureInterface(), "veth end");
    }
    static pcapplus::PcapDeviceInfo loopback() { return pcapplus::PcapDeviceInfo(1, "lo", "Not available"); }

    sonacore::BufferConfiguration buffer{"buf", 4800, 48};
    std::vector<std::unique_ptr<sonacore::DeviceConfiguration>> devices;
    std::vector<std::unique_ptr<sonacore::StreamConfiguration>> streams;
};

} // namespace

TEST_F(StreamingEngineLive, TwoStreamsOnOneInterfaceShareOneReceiver) {
    engine::streaming::StreamingEngine engine;
    testsupport::LogCapture capture;
    engine.addRemoteStreamReceiver(stream("a", "00a0c9112233", veth()));
    engine.addRemoteStreamReceiver(stream("b", "001b21aabbcc", veth()));
    const std::string name = captureInterface();
    EXPECT_TRUE(capture.contains(QtDebugMsg,
                                 "initiateNetworkReceiver Network receiver initialized by configuration ' "
                                 "a '' for streaming device : 00a0c9112233"));
    EXPECT_TRUE(capture.contains(
        QtDebugMsg, "initiateNetworkReceiver Registered on network device:  veth end ' ( " + name + " )"));
    EXPECT_TRUE(
        capture.contains(QtDebugMsg, "addRemoteStreamReceiver Network receiver for network device ' veth end "
                                     "' ( " +
                                         name + " ) already available, the device stream can be added"));
    EXPECT_TRUE(capture.contains(QtDebugMsg,
                                 "addNetworkStreamToNetworkReceiver Network stream successfully added by "
                                 "configuration ' b '' for streaming device : 001b21aabbcc"));
    EXPECT_TRUE(capture.contains(QtDebugMsg, "addNetworkStreamToNetworkReceiver Receiver is:  veth end ' ( " +
                                                 name + " )"));
    auto& handle = engine.getNetworkDeviceHandle(name);
    EXPECT_EQ(handle.getReceiverUid(), name);
    EXPECT_NE(engine.getAudioBuffer("00a0c9112233", 1), engine.getAudioBuffer("001b21aabbcc", 1));
    EXPECT_EQ(engine.getAudioBuffer("001b21aabbcc", 1)->getBufferName(), "001b21aabbcc_Ch1");
}

TEST_F(StreamingEngineLive, TwoInterfacesGetTwoReceiversAndTheLastRegisteredTakesAllFrames) {
    engine::streaming::StreamingEngine engine;
    engine.addRemoteStreamReceiver(stream("a", "00a0c9112233", veth(), 1));
    engine.addRemoteStreamReceiver(stream("b", "001b21aabbcc", loopback(), 1));
    EXPECT_NE(&engine.getNetworkDeviceHandle(captureInterface()), &engine.getNetworkDeviceHandle("lo"));
    // Frames captured on the veth end go to the receiver registered last, the loopback one, which does not
    // know the veth stream's device: nothing reaches the veth receiver's buffers.
    engine.getNetworkDeviceHandle(captureInterface()).start();
    ASSERT_TRUE(talkerSucceeded(
        startTalker({"--source-mac", "00:a0:c9:11:22:33", "--channels", "1", "--count", "50"}), 20s));
    testsupport::spinFor(200ms);
    EXPECT_EQ(engine.getAudioBuffer("00a0c9112233", 0)->getWritePosition(), 0U);
    engine.stop();
}

TEST_F(StreamingEngineLive, SameAddressTwiceThrowsAlsoOnAnotherInterface) {
    engine::streaming::StreamingEngine engine;
    engine.addRemoteStreamReceiver(stream("a", "00a0c9112233", veth()));
    testsupport::LogCapture capture;
    const std::string expected =
        "Streaming device already exists: 00a0c9112233' already registered to 'veth end' (" +
        captureInterface() + "). No action will be performed!";
    for (const auto& adapter : {veth(), loopback()}) {
        try {
            engine.addRemoteStreamReceiver(stream("again", "00a0c9112233", adapter));
            FAIL() << "no exception";
        } catch (const exceptions::StreamingDeviceAlreadyExists& error) {
            EXPECT_EQ(std::string(error.what()), expected);
            EXPECT_EQ(error.getStreamingDevice(), "00a0c9112233");
            EXPECT_EQ(error.getNetworkDevice(), captureInterface());
        }
    }
    EXPECT_EQ(capture.count(QtWarningMsg, "addNetworkStreamToNetworkReceiver " + expected), 2U);
}

TEST_F(StreamingEngineLive, InterfaceThatCannotBeOpenedThrowsAndStoresNothing) {
    engine::streaming::StreamingEngine engine;
    testsupport::LogCapture capture;
    const std::string expected =
        "Packet receiver cannot be initialized by configuration 'broken' for streaming "
        "device: 00a0c9112233! Wrong configuration passed";
    try {
        engine.addRemoteStreamReceiver(
            stream("broken", "00a0c9112233", pcapplus::PcapDeviceInfo(7, "sonacore-none7", "gone")));
        FAIL() << "no exception";
    } catch (const exceptions::InstanceNotCreateable& error) {
        EXPECT_EQ(std::string(error.what()), expected);
    }
    EXPECT_TRUE(capture.contains(QtWarningMsg, "initiateNetworkReceiver " + expected));
    EXPECT_TRUE(capture.contains(
        QtWarningMsg, "initiateNetworkReceiver Cannot be registered on:  gone ' ( sonacore-none7 )"));
    EXPECT_THROW(engine.getNetworkDeviceHandle("sonacore-none7"), exceptions::ResourceNotAvailable);
    // A new attempt starts from scratch.
    engine.addRemoteStreamReceiver(stream("fine", "00a0c9112233", veth()));
    EXPECT_NE(engine.getAudioBuffer("00a0c9112233", 0), nullptr);
}

TEST_F(StreamingEngineLive, ChannelAmountZeroLeavesTheReceiverAndThrows) {
    engine::streaming::StreamingEngine engine;
    EXPECT_THROW(engine.addRemoteStreamReceiver(stream("zero", "00a0c9112233", veth(), 0)),
                 exceptions::InstanceNotCreateable);
    EXPECT_NO_THROW(engine.getNetworkDeviceHandle(captureInterface()));
    EXPECT_THROW(engine.getAudioBuffer("00a0c9112233", 0), exceptions::ResourceNotAvailable);
}

TEST_F(StreamingEngineLive, UnknownAddressHasNoBufferAndKnownOneFollowsTheReceiver) {
    engine::streaming::StreamingEngine engine;
    engine.addRemoteStreamReceiver(stream("a", "00a0c9112233", veth()));
    testsupport::LogCapture capture;
    const std::string expected =
        "The requested audio buffer for streaming device MAC '001122334455' is NOT available! "
        "The device stream is not received by the engine";
    try {
        engine.getAudioBuffer("001122334455", 0);
        FAIL() << "no exception";
    } catch (const exceptions::ResourceNotAvailable& error) {
        EXPECT_EQ(std::string(error.what()), expected);
    }
    EXPECT_TRUE(capture.contains(QtWarningMsg, "getAudioBuffer " + expected));
    EXPECT_THROW(engine.getAudioBuffer("00a0c9112233", 2), std::out_of_range);
    EXPECT_THROW(engine.getAudioBuffer("00a0c9112233", 3), exceptions::ResourceNotAvailable);
}

TEST_F(StreamingEngineLive, UnknownHandleThrowsWithItsText) {
    engine::streaming::StreamingEngine engine;
    testsupport::LogCapture capture;
    const std::string expected =
        "The requested network receiver handle for network receiver UID 'eth9' is NOT "
        "available! No network receiver for the given ID available by this engine";
    try {
        engine.getNetworkDeviceHandle("eth9");
        FAIL() << "no exception";
    } catch (const exceptions::ResourceNotAvailable& error) {
        EXPECT_EQ(std::string(error.what()), expected);
    }
    EXPECT_TRUE(capture.contains(QtWarningMsg, "getNetworkDeviceHandle " + expected));
}

TEST_F(StreamingEngineLive, StopStopsListeningReceiversAndDestructionCleansUp) {
    auto engine = std::make_unique<engine::streaming::StreamingEngine>();
    engine->addRemoteStreamReceiver(stream("a", "00a0c9112233", veth()));
    auto& handle = engine->getNetworkDeviceHandle(captureInterface());
    handle.start();
    testsupport::LogCapture capture;
    engine->stop();
    EXPECT_FALSE(handle.isRunning());
    EXPECT_TRUE(capture.contains(QtDebugMsg, "stop Network receivers stopped!"));
    engine.reset();
    EXPECT_TRUE(capture.contains(QtDebugMsg, "~StreamingEngine Network receiver cleared!"));
    EXPECT_TRUE(capture.contains(QtDebugMsg, "~StreamingEngine Cleanup completed!"));
}

TEST_F(StreamingEngineLive, MessagesOfAReceiverWithTwoDevicesArriveTwice) {
    engine::streaming::StreamingEngine engine;
    std::vector<std::string> texts;
    QObject::connect(
        &engine, &engine::streaming::StreamingEngine::message, &engine,
        [&](auto message) { texts.push_back(message->getMessageText()); }, Qt::AutoConnection);
    engine.addRemoteStreamReceiver(stream("a", "00a0c9112233", veth()));
    engine.addRemoteStreamReceiver(stream("b", "001b21aabbcc", veth()));
    auto& handle = engine.getNetworkDeviceHandle(captureInterface());
    handle.start();
    const auto starts = [&] { return std::count(texts.begin(), texts.end(), "Start listening"); };
    ASSERT_TRUE(testsupport::spinUntil([&] { return starts() >= 2; }));
    testsupport::spinFor(100ms);
    // The set-up messages of the receiver's construction may also arrive, once or twice, depending on when
    // its thread passed them on; the start came after both connections.
    EXPECT_EQ(starts(), 2);
    engine.stop();
}
