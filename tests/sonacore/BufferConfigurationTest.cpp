#include "sonacore/BufferConfiguration.h"
#include "exceptions/SonaCoreException.h"
#include "sonacore/ConfigurationRegistry.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

// Collects every notice the configuration sends.
struct NoticeRecorder {
    explicit NoticeRecorder(sonacore::BufferConfiguration& configuration) {
        QObject::connect(&configuration, &sonacore::ConfigurationData::configurationChanged,
                         [this](const std::string& parameter) { notices.push_back(parameter); });
    }
    std::vector<std::string> notices;
};

} // namespace

TEST(BufferConfiguration, ShortFactoryTurnsSignalingOff) {
    auto* configuration = sonacore::IBufferConfiguration::createInstance("buffer", 4800);
    EXPECT_EQ(configuration->getBufferSize(), 4800U);
    EXPECT_EQ(configuration->getClockSignalingSampleAmount(), 0U);
    EXPECT_FALSE(configuration->isClockSignalingActive());
}

TEST(BufferConfiguration, LongFactoryTurnsSignalingOn) {
    auto* configuration = sonacore::IBufferConfiguration::createInstance("buffer", 4800, 48);
    EXPECT_EQ(configuration->getClockSignalingSampleAmount(), 48U);
    EXPECT_TRUE(configuration->isClockSignalingActive());
}

TEST(BufferConfiguration, SettingTheHeldValueEmitsNothing) {
    sonacore::BufferConfiguration configuration("buffer", 100, 10);
    NoticeRecorder recorder(configuration);
    configuration.setClockSignalingSampleAmount(10);
    EXPECT_TRUE(recorder.notices.empty());
}

TEST(BufferConfiguration, SettingANewValueStoresItAndEmitsOnce) {
    sonacore::BufferConfiguration configuration("buffer", 100, 10);
    NoticeRecorder recorder(configuration);
    std::uint64_t seenInListener = 0;
    QObject::connect(
        &configuration, &sonacore::ConfigurationData::configurationChanged,
        [&](const std::string&) { seenInListener = configuration.getClockSignalingSampleAmount(); });
    configuration.setClockSignalingSampleAmount(20);
    EXPECT_EQ(recorder.notices, std::vector<std::string>{"SignalingSampleAmountChnaged"});
    EXPECT_EQ(configuration.getClockSignalingSampleAmount(), 20U);
    // The value is in place before the notice goes out.
    EXPECT_EQ(seenInListener, 20U);
}

TEST(BufferConfiguration, SettingZeroTurnsSignalingOffAndChangesTheText) {
    sonacore::BufferConfiguration configuration("buf", 4800, 48);
    EXPECT_EQ(configuration.toString(), "[buf]\n\tBuffer size: 4800\n\tClock signaling sample amount: 48");
    configuration.setClockSignalingSampleAmount(0);
    EXPECT_FALSE(configuration.isClockSignalingActive());
    EXPECT_EQ(configuration.toString(), "[buf]\n\tBuffer size: 4800\n\tBuffer clock signaling deactivated!");
}

TEST(BufferConfiguration, InterfaceTextEqualsClassText) {
    sonacore::IBufferConfiguration* configuration = sonacore::IBufferConfiguration::createInstance("b", 1, 1);
    EXPECT_EQ(configuration->toString(), "[b]\n\tBuffer size: 1\n\tClock signaling sample amount: 1");
}

namespace {

// One way a host makes a buffer configuration, with a size of 0.
struct ZeroSizeRoute {
    const char* name;
    std::function<void()> make;
};

class BufferConfigurationOfSizeZero : public ::testing::TestWithParam<ZeroSizeRoute> {};

const std::string zeroSizeText =
    "Buffer size 0 given for buffer configuration 'empty' holds no sample: pass the "
    "capacity of one audio buffer in float samples, at least 1.";

} // namespace

TEST_P(BufferConfigurationOfSizeZero, IsRefusedWithAWarningAndTheSameTextAndNothingIsRegistered) {
    const std::size_t registered = sonacore::registry::bufferConfigurations.size();
    testsupport::LogCapture capture;
    try {
        GetParam().make();
        FAIL() << "no exception";
    } catch (const exceptions::InstanceNotCreateable& error) {
        EXPECT_EQ(std::string(error.what()), zeroSizeText);
    }
    EXPECT_EQ(capture.texts(QtWarningMsg), std::vector<std::string>{"BufferConfiguration " + zeroSizeText});
    EXPECT_EQ(sonacore::registry::bufferConfigurations.size(), registered);
}

INSTANTIATE_TEST_SUITE_P(
    EveryRoute, BufferConfigurationOfSizeZero,
    ::testing::Values(
        ZeroSizeRoute{"ShortFactory", [] { sonacore::IBufferConfiguration::createInstance("empty", 0); }},
        ZeroSizeRoute{"LongFactory", [] { sonacore::IBufferConfiguration::createInstance("empty", 0, 48); }},
        ZeroSizeRoute{"Constructor", [] { sonacore::BufferConfiguration configuration("empty", 0, 0); }}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(BufferConfiguration, SizeOneIsTheSmallestAccepted) {
    testsupport::LogCapture capture;
    auto* configuration = sonacore::IBufferConfiguration::createInstance("one", 1);
    EXPECT_EQ(configuration->getBufferSize(), 1U);
    EXPECT_TRUE(capture.texts(QtWarningMsg).empty());
}

TEST(BufferConfiguration, SignalingAmountAboveTheSizeIsAccepted) {
    sonacore::BufferConfiguration configuration("small", 8, 12);
    EXPECT_EQ(configuration.getClockSignalingSampleAmount(), 12U);
    configuration.setClockSignalingSampleAmount(100);
    EXPECT_EQ(configuration.getClockSignalingSampleAmount(), 100U);
}
