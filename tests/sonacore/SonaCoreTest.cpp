#include "sonacore/SonaCore.h"
#include "exceptions/SonaCoreException.h"
#include "sonacore/ChannelAmountChanged.h"
#include "sonacore/ConfigurationRegistry.h"
#include "sonacore/IDemoConfig.h"
#include "sonacore/INetworkDeviceManager.h"
#include "sonacore/StatusMessage.h"
#include "support/DestroyLog.h"
#include "support/LogCapture.h"

#include <QMetaType>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

sonacore::SonaCore& core() {
    return *dynamic_cast<sonacore::SonaCore*>(ISonaCore::createInstance());
}

// A handle as a host could hold it, for look-ups by unique ID.
class HandleStub : public sonacore::ihandles::IProcessorHandle {
public:
    explicit HandleStub(std::string id) : id(std::move(id)) {}
    void start() override {}
    void stop() override {}
    bool isActive() const override { return false; }
    std::string getUniqueId() const override { return id; }
    bool isBound() const override { return false; }
    std::string toString() const override { return {}; }

private:
    std::string id;
};

using Received = std::vector<std::shared_ptr<sonacore::imessages::IBaseMessage>>;

std::shared_ptr<sonacore::BaseMessage> statusMessage(const std::string& text) {
    return std::make_shared<sonacore::StatusMessage>("eth0", "INFORMATION", "PcapPacketSniffer", text);
}

// Leaves the core without a receiver for the next test.
class SonaCoreFixture : public ::testing::Test {
protected:
    void TearDown() override { core().setMessageReceiver({}); }
};

} // namespace

TEST(SonaCore, CreateInstanceTwiceYieldsTheSamePointer) {
    EXPECT_EQ(ISonaCore::createInstance(), ISonaCore::createInstance());
    EXPECT_NE(ISonaCore::createInstance(), nullptr);
}

TEST(SonaCore, GetVersionTwiceYieldsTheSameObject) {
    EXPECT_EQ(ISonaCore::getVersion(), ISonaCore::getVersion());
    EXPECT_EQ(ISonaCore::getVersion()->getVersion(), "1.6.0.3");
}

TEST(SonaCore, DeviceManagerFactoryYieldsTheSameObject) {
    EXPECT_EQ(sonacore::INetworkDeviceManager::createInstance(),
              sonacore::INetworkDeviceManager::createInstance());
}

TEST(SonaCore, RegistersQueuedTypesUnderTheirExactNames) {
    EXPECT_EQ(QMetaType::type("std::size_t"), QMetaType::type("unsigned long"));
    EXPECT_NE(QMetaType::type("std::string"), QMetaType::UnknownType);
    EXPECT_NE(QMetaType::type("sonacore::ChannelData"), QMetaType::UnknownType);
    EXPECT_NE(QMetaType::type("std::shared_ptr<sonacore::BaseMessage>"), QMetaType::UnknownType);
    EXPECT_NE(QMetaType::type("std::shared_ptr<sonacore::ChannelAmountChanged"), QMetaType::UnknownType);
}

TEST(SonaCore, GetMeteringDataSourceBeforeAnyProcessorThrowsWithIdAtTheEnd) {
    testsupport::LogCapture capture;
    HandleStub handle("WaveformProcessor_00a0c9112233_0");
    const std::string expected =
        "The requested MeteringDataSource is not available for processor handle unique "
        "ID: WaveformProcessor_00a0c9112233_0";
    try {
        core().getMeteringDataSource(handle);
        FAIL() << "no exception";
    } catch (const exceptions::ResourceNotAvailable& error) {
        EXPECT_EQ(std::string(error.what()), expected);
    }
    EXPECT_EQ(capture.texts(QtWarningMsg), std::vector<std::string>{"getMeteringDataSource " + expected});
}

TEST_F(SonaCoreFixture, SetMessageReceiverLogsRegistration) {
    testsupport::LogCapture capture;
    core().setMessageReceiver([](std::shared_ptr<sonacore::imessages::IBaseMessage>) {});
    EXPECT_TRUE(capture.contains(
        QtDebugMsg, "setMessageReceiver Successfully registered the main application message receiver"));
}

TEST_F(SonaCoreFixture, EmptyReceiverIsAcceptedAndLoggedTheSameWay) {
    testsupport::LogCapture capture;
    core().setMessageReceiver({});
    EXPECT_EQ(
        capture.count(QtDebugMsg,
                      "setMessageReceiver Successfully registered the main application message receiver"),
        1U);
}

TEST_F(SonaCoreFixture, MessageWithoutReceiverIsDroppedInSilence) {
    core().setMessageReceiver({});
    testsupport::LogCapture capture;
    core().relayMessage(statusMessage("lost"));
    EXPECT_TRUE(capture.lines().empty());

    Received received;
    core().setMessageReceiver([&](auto message) { received.push_back(message); });
    EXPECT_TRUE(received.empty());
}

TEST_F(SonaCoreFixture, ReceiverGetsTheMessageAtItsOwnAddress) {
    Received received;
    core().setMessageReceiver([&](auto message) { received.push_back(message); });
    auto message = statusMessage("hello");
    core().relayMessage(message);
    ASSERT_EQ(received.size(), 1U);
    EXPECT_EQ(static_cast<void*>(received[0].get()), static_cast<void*>(message.get()));
    EXPECT_EQ(received[0]->getMessageText(), "hello");
}

TEST_F(SonaCoreFixture, SecondReceiverReplacesTheFirstAndEmptyStopsDelivery) {
    Received first;
    Received second;
    core().setMessageReceiver([&](auto message) { first.push_back(message); });
    core().setMessageReceiver([&](auto message) { second.push_back(message); });
    core().relayMessage(statusMessage("one"));
    EXPECT_TRUE(first.empty());
    EXPECT_EQ(second.size(), 1U);

    core().setMessageReceiver({});
    core().relayMessage(statusMessage("two"));
    EXPECT_EQ(second.size(), 1U);
}

TEST_F(SonaCoreFixture, ReplacedReceiverIsReleased) {
    auto token = std::make_shared<int>(1);
    std::weak_ptr<int> watch = token;
    core().setMessageReceiver([token](auto) {});
    token.reset();
    EXPECT_FALSE(watch.expired());
    core().setMessageReceiver({});
    EXPECT_TRUE(watch.expired());
}

TEST(SonaCoreDestroy, LogsEveryStepInOrder) {
    testsupport::LogCapture capture;
    ISonaCore::destroy();
    // The engines log their own stop between the first line and the deletions.
    EXPECT_EQ(capture.textsStartingWith(QtDebugMsg, "destroy "), testsupport::destroyLogLines);
    EXPECT_TRUE(capture.contains(QtDebugMsg, "stop Network receivers stopped!"));
}

TEST(SonaCoreDestroy, DeletesEveryConfigurationAndKeepsRegistrySizes) {
    auto* buffer = sonacore::IBufferConfiguration::createInstance("buf", 10);
    auto* device = sonacore::IDeviceConfiguration::createInstance("dev", *buffer, 2, 2, 6);
    pcapplus::PcapDeviceInfo adapter(1, "lo", "Not available");
    sonacore::IStreamConfiguration::createInstance("stream", "00a0c9112233", adapter, *device);

    // Deletion is observed through the objects' QObject part.
    int destroyed = 0;
    for (QObject* object : std::vector<QObject*>{sonacore::registry::bufferConfigurations.back(),
                                                 sonacore::registry::deviceConfigurations.back(),
                                                 sonacore::registry::streamConfigurations.back()}) {
        QObject::connect(object, &QObject::destroyed, [&] { ++destroyed; });
    }
    const auto streams = sonacore::registry::streamConfigurations.size();
    const auto devices = sonacore::registry::deviceConfigurations.size();
    const auto buffers = sonacore::registry::bufferConfigurations.size();

    ISonaCore::destroy();
    EXPECT_EQ(destroyed, 3);
    EXPECT_EQ(sonacore::registry::streamConfigurations.size(), streams);
    EXPECT_EQ(sonacore::registry::deviceConfigurations.size(), devices);
    EXPECT_EQ(sonacore::registry::bufferConfigurations.size(), buffers);
    EXPECT_EQ(sonacore::registry::bufferConfigurations.back(), nullptr);

    // A second call finds only null entries and deletes nothing twice.
    ISonaCore::destroy();
    EXPECT_EQ(destroyed, 3);
}

TEST(SonaCoreDestroy, DeletesSineGeneratorSettingsWithoutALineOfTheirOwn) {
    sonacore::iprocess::IDemoConfig::createInstance("generator settings", 4);
    ASSERT_NE(sonacore::registry::demoConfigurations.back(), nullptr);
    int destroyed = 0;
    QObject::connect(sonacore::registry::demoConfigurations.back(), &QObject::destroyed,
                     [&] { ++destroyed; });
    testsupport::LogCapture capture;
    ISonaCore::destroy();
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(sonacore::registry::demoConfigurations.back(), nullptr);
    EXPECT_EQ(capture.textsStartingWith(QtDebugMsg, "destroy "), testsupport::destroyLogLines);
}
