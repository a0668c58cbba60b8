// A host that keeps its handles and metering data sources past ISonaCore::destroy(), and calls every one of
// them while our talker's frames still arrive on the adapter: each call warns once and does nothing, and
// none of them reaches memory that destroy freed (the sanitizer build runs these too).
#include "e2e/LiveAdapter.h"
#include "exceptions/SonaCoreException.h"
#include "sonacore/ISonaCore.h"
#include "sonacore/IWaveformConfig.h"
#include "support/EventLoop.h"
#include "support/LogCapture.h"
#include "support/NetnsFixture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

namespace {

using namespace std::chrono_literals;

const std::string streamKey = "00a0c9112301";
const std::string warningText = "The library has been destroyed, so this call does nothing";

class DestroyedLibraryLive : public testsupport::NetnsFixture {
protected:
    void SetUp() override {
        testsupport::NetnsFixture::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        core = ISonaCore::createInstance();
        auto* adapter = e2etest::adapterNamed(captureInterface());
        ASSERT_NE(adapter, nullptr);
        auto* buffer = sonacore::IBufferConfiguration::createInstance("buffer", 48000, 48);
        auto* device = sonacore::IDeviceConfiguration::createInstance("device", *buffer, 2, 2, 6);
        stream = sonacore::IStreamConfiguration::createInstance("stream", streamKey, *adapter, *device);
        receiver = core->addRemoteStreamReceiver(*stream);
        auto* waveform = sonacore::iprocess::IWaveformConfig::createInstance("wave", 48);
        process = sonacore::IProcessConfiguration::createInstance("wave 0", *waveform, streamKey, 0);
        handle = core->addProcessor(*process);
        source = core->getMeteringDataSource(*handle);
        source->bindChannelCallback([count = deliveries](sonacore::IChannelData&) { ++*count; });
        handle->start();
        receiver->start();
        // Frames go on arriving for the whole test, long after destroy.
        startTalker({"--source-mac", "00:a0:c9:11:23:01", "--channels", "2", "--duration", "30"});
        ASSERT_TRUE(testsupport::spinUntil([this] { return *deliveries > 10; }, 10s))
            << "no delivery before destroy: " << *deliveries;
        ISonaCore::destroy();
    }

    // The one line a call logged: the warning under the call's name and the object's name.
    static std::string warningOf(const std::string& method, const std::string& object) {
        return method + " \"" + object + "\" " + warningText;
    }

    ISonaCore* core = nullptr;
    sonacore::IStreamConfiguration* stream = nullptr;
    sonacore::IProcessConfiguration* process = nullptr;
    sonacore::ihandles::INetworkReceiverHandle* receiver = nullptr;
    sonacore::ihandles::IProcessorHandle* handle = nullptr;
    sonacore::IMeteringDataSource* source = nullptr;
    std::shared_ptr<std::atomic<int>> deliveries = std::make_shared<std::atomic<int>>(0);
};

const std::string processorId = "WaveformProcessor_" + streamKey + "_0";

TEST_F(DestroyedLibraryLive, ProcessorHandleStartWarnsAndStartsNothing) {
    testsupport::LogCapture capture;
    handle->start();
    EXPECT_EQ(capture.texts(QtWarningMsg), std::vector<std::string>{warningOf("start", processorId)});
    testsupport::spinFor(300ms);
    const int settled = *deliveries;
    testsupport::spinFor(300ms);
    EXPECT_EQ(*deliveries, settled) << "the processor delivers again after a start on a destroyed library";
}

TEST_F(DestroyedLibraryLive, ProcessorHandleStopWarnsOnce) {
    testsupport::LogCapture capture;
    handle->stop();
    EXPECT_EQ(capture.texts(QtWarningMsg), std::vector<std::string>{warningOf("stop", processorId)});
}

TEST_F(DestroyedLibraryLive, ProcessorHandleAnswersInactiveAndUnbound) {
    testsupport::LogCapture capture;
    EXPECT_FALSE(handle->isActive());
    EXPECT_FALSE(handle->isBound());
    EXPECT_EQ(capture.texts(QtWarningMsg), (std::vector<std::string>{warningOf("isActive", processorId),
                                                                     warningOf("isBound", processorId)}));
}

TEST_F(DestroyedLibraryLive, ProcessorHandleKeepsItsUniqueIdWithoutAWarning) {
    testsupport::LogCapture capture;
    EXPECT_EQ(handle->getUniqueId(), processorId);
    EXPECT_TRUE(capture.texts(QtWarningMsg).empty());
}

TEST_F(DestroyedLibraryLive, ReceiverHandleStartWarnsAndCaptureStaysStopped) {
    testsupport::LogCapture capture;
    receiver->start();
    EXPECT_EQ(capture.texts(QtWarningMsg), std::vector<std::string>{warningOf("start", captureInterface())});
    capture.clear();
    EXPECT_FALSE(receiver->isRunning());
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{warningOf("isRunning", captureInterface())});
    // Frames keep arriving; had the capture started, they would be written with deleted settings.
    testsupport::spinFor(500ms);
}

TEST_F(DestroyedLibraryLive, ReceiverHandleStopWarnsOnce) {
    testsupport::LogCapture capture;
    receiver->stop();
    EXPECT_EQ(capture.texts(QtWarningMsg), std::vector<std::string>{warningOf("stop", captureInterface())});
    EXPECT_EQ(receiver->getReceiverUid(), captureInterface());
}

TEST_F(DestroyedLibraryLive, MeteringDataSourceBindsNothing) {
    testsupport::LogCapture capture;
    EXPECT_FALSE(source->bindChannelCallback([](sonacore::IChannelData&) {}));
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{"bindChannelCallback \"wave 0\" " + warningText});
}

TEST_F(DestroyedLibraryLive, RemoveProcessorThrowsResourceNotAvailable) {
    testsupport::LogCapture capture;
    const std::string text = "The library has been destroyed, so processor handle unique ID '" + processorId +
                             "' has no processor to remove";
    try {
        core->removeProcessor(*handle);
        FAIL() << "removeProcessor did not throw";
    } catch (const exceptions::ResourceNotAvailable& error) {
        EXPECT_EQ(error.what(), text);
    }
    EXPECT_EQ(capture.texts(QtWarningMsg), std::vector<std::string>{"removeProcessor " + text});
}

TEST_F(DestroyedLibraryLive, GetMeteringDataSourceThrowsResourceNotAvailable) {
    testsupport::LogCapture capture;
    const std::string text =
        "The library has been destroyed, so no MeteringDataSource is available for processor handle unique "
        "ID: " +
        processorId;
    try {
        core->getMeteringDataSource(*handle);
        FAIL() << "getMeteringDataSource did not throw";
    } catch (const exceptions::ResourceNotAvailable& error) {
        EXPECT_EQ(error.what(), text);
    }
    EXPECT_EQ(capture.texts(QtWarningMsg), std::vector<std::string>{"getMeteringDataSource " + text});
}

TEST_F(DestroyedLibraryLive, AddingRefusesBeforeTouchingTheDeletedConfigurations) {
    const std::string text =
        "The library has been destroyed, so no stream or processor can be added any more";
    testsupport::LogCapture capture;
    // Both configurations were deleted by destroy: the refusal must come before any use of them.
    EXPECT_THROW(core->addRemoteStreamReceiver(*stream), exceptions::InstanceNotCreateable);
    EXPECT_THROW(core->addProcessor(*process), exceptions::InstanceNotCreateable);
    EXPECT_THROW(core->addGeneratorProcessor(*process), exceptions::InstanceNotCreateable);
    EXPECT_EQ(capture.texts(QtWarningMsg),
              (std::vector<std::string>{"addRemoteStreamReceiver " + text, "addProcessor " + text,
                                        "addGeneratorProcessor " + text}));
}

TEST_F(DestroyedLibraryLive, EveryCallAgainWhileFramesArriveStaysInert) {
    // A host's loop that goes on polling and poking for a while: the sanitizer build finds any stray access.
    for (int round = 0; round < 50; ++round) {
        handle->start();
        handle->stop();
        static_cast<void>(handle->isActive());
        receiver->start();
        static_cast<void>(receiver->isRunning());
        source->bindChannelCallback([](sonacore::IChannelData&) {});
        testsupport::spinFor(10ms);
    }
    EXPECT_FALSE(receiver->isRunning());
    EXPECT_FALSE(handle->isActive());
}

} // namespace
