#include "exceptions/SonaCoreException.h"
#include "process/DemoConfig.h"
#include "process/SampleProcessorConfigBase.h"
#include "process/WaveformConfig.h"
#include "sonacore/ConfigurationRegistry.h"
#include "sonacore/IDemoConfig.h"
#include "sonacore/IWaveformConfig.h"
#include "support/LogCapture.h"

#include <QObject>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <typeinfo>
#include <vector>

namespace {

// Records every change notice of one configuration, in order.
class NoticeRecorder {
public:
    explicit NoticeRecorder(sonacore::ConfigurationData& configuration) {
        connection =
            QObject::connect(&configuration, &sonacore::ConfigurationData::configurationChanged,
                             [this](std::string parameter) { notices.push_back(std::move(parameter)); });
    }
    ~NoticeRecorder() { QObject::disconnect(connection); }

    std::vector<std::string> notices;

private:
    QMetaObject::Connection connection;
};

// The check a spectrum analyser's creation function makes, for a configuration that is not a spectrum's.
class SpectrumCheck : public process::ProcessorConfigBase {
public:
    static void check(ProcessorConfigBase& configuration) {
        checkProcessorType(configuration, "SpectrumProcessor");
    }
};

const std::string externalCreated = "SampleProcessorConfigBase Configuration created. External clock active";
const std::string internalCreated = "SampleProcessorConfigBase Configuration created. Internal clock active";

} // namespace

TEST(SampleProcessorConfigBase, ExternalFormTakesTheBufferClockAndTheDefaultRate) {
    testsupport::LogCapture capture;
    process::WaveformConfig configuration("wave", 64);
    EXPECT_EQ(configuration.getProcessorType(), "WaveformProcessor");
    EXPECT_EQ(configuration.getClockType(), "External clock");
    EXPECT_FALSE(configuration.isInternalClock());
    EXPECT_EQ(configuration.getRefreshRate(), 500U);
    EXPECT_EQ(configuration.getSampleAmount(), 64U);
    EXPECT_EQ(capture.texts(QtDebugMsg), std::vector<std::string>{externalCreated});
    EXPECT_TRUE(capture.texts(QtWarningMsg).empty());
}

TEST(SampleProcessorConfigBase, InternalFormTakesTheTimerAtTheGivenRate) {
    testsupport::LogCapture capture;
    process::WaveformConfig configuration("wave", 64, 20);
    EXPECT_EQ(configuration.getClockType(), "Internal clock");
    EXPECT_TRUE(configuration.isInternalClock());
    EXPECT_EQ(configuration.getRefreshRate(), 20U);
    EXPECT_EQ(capture.texts(QtDebugMsg), std::vector<std::string>{internalCreated});
}

TEST(SampleProcessorConfigBase, RateZeroAtConstructionFallsBackToTheExternalClock) {
    testsupport::LogCapture capture;
    process::WaveformConfig configuration("wave", 64, 0);
    EXPECT_EQ(configuration.getClockType(), "External clock");
    EXPECT_EQ(configuration.getRefreshRate(), 500U);
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{"SampleProcessorConfigBase The given refresh rate is invalid! "
                                       "External clock will be activated!"});
    EXPECT_EQ(capture.texts(QtDebugMsg), std::vector<std::string>{externalCreated});
}

TEST(SampleProcessorConfigBase, RateZeroIsRefusedWithAWarning) {
    process::WaveformConfig configuration("wave", 64, 20);
    NoticeRecorder recorder(configuration);
    testsupport::LogCapture capture;
    configuration.setRefreshRate(0);
    EXPECT_EQ(configuration.getRefreshRate(), 20U);
    EXPECT_TRUE(recorder.notices.empty());
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{
                  "setRefreshRate Refresh rate equal to zero is not allowed! Refresh rate will be ignored!"});
}

TEST(SampleProcessorConfigBase, TheStoredRateAgainSendsNothing) {
    process::WaveformConfig configuration("wave", 64, 20);
    NoticeRecorder recorder(configuration);
    configuration.setRefreshRate(20);
    EXPECT_TRUE(recorder.notices.empty());
}

TEST(SampleProcessorConfigBase, ANewRateUnderTheInternalClockIsAnnounced) {
    process::WaveformConfig configuration("wave", 64, 20);
    NoticeRecorder recorder(configuration);
    configuration.setRefreshRate(30);
    EXPECT_EQ(configuration.getRefreshRate(), 30U);
    EXPECT_EQ(recorder.notices, std::vector<std::string>{"ClockRefreshRateChanged"});
}

TEST(SampleProcessorConfigBase, ARateSetUnderTheExternalClockIsStoredSilentlyAndOnlyTheClockTypeIsAnnounced) {
    process::WaveformConfig configuration("wave", 64);
    NoticeRecorder recorder(configuration);
    configuration.setRefreshRate(30);
    EXPECT_EQ(configuration.getRefreshRate(), 30U);
    EXPECT_TRUE(recorder.notices.empty());
    configuration.setClockType("Internal clock");
    EXPECT_TRUE(configuration.isInternalClock());
    EXPECT_EQ(recorder.notices, std::vector<std::string>{"Internal clock"});
}

TEST(SampleProcessorConfigBase, SampleAmountChangesAreAnnouncedAndZeroIsAllowed) {
    process::WaveformConfig configuration("wave", 64);
    NoticeRecorder recorder(configuration);
    configuration.setSampleAmount(64);
    EXPECT_TRUE(recorder.notices.empty());
    configuration.setSampleAmount(0);
    EXPECT_EQ(configuration.getSampleAmount(), 0U);
    EXPECT_EQ(recorder.notices, std::vector<std::string>{"SampleAmountChanged"});
}

TEST(SampleProcessorConfigBase, ASecondChangeToTheSameClockTypeSendsNothing) {
    process::WaveformConfig configuration("wave", 64);
    NoticeRecorder recorder(configuration);
    configuration.setClockType("Internal clock");
    configuration.setClockType("Internal clock");
    configuration.setClockType("External clock");
    configuration.setClockType("External clock");
    EXPECT_EQ(recorder.notices, (std::vector<std::string>{"Internal clock", "External clock"}));
}

TEST(SampleProcessorConfigBase, AnUnknownClockTypeIsStoredAnnouncedAndReadsAsExternal) {
    process::WaveformConfig configuration("wave", 64, 20);
    NoticeRecorder recorder(configuration);
    configuration.setClockType("internal clock");
    EXPECT_EQ(configuration.getClockType(), "internal clock");
    EXPECT_FALSE(configuration.isInternalClock());
    EXPECT_EQ(recorder.notices, std::vector<std::string>{"internal clock"});
}

TEST(SampleProcessorConfigBase, NotifyAllParametersTwiceSendsAllThreeNoticesTwice) {
    process::WaveformConfig configuration("wave", 64);
    NoticeRecorder recorder(configuration);
    configuration.notifyAllParameters();
    configuration.notifyAllParameters();
    EXPECT_EQ(recorder.notices,
              (std::vector<std::string>{"SampleAmountChanged", "ClockRefreshRateChanged", "External clock",
                                        "SampleAmountChanged", "ClockRefreshRateChanged", "External clock"}));
}

TEST(SampleProcessorConfigBase, NotifyAllParametersSendsTheRateNoticeUnderTheExternalClockToo) {
    process::WaveformConfig configuration("wave", 64, 20);
    configuration.setClockType("External clock");
    NoticeRecorder recorder(configuration);
    configuration.notifyAllParameters();
    EXPECT_EQ(recorder.notices,
              (std::vector<std::string>{"SampleAmountChanged", "ClockRefreshRateChanged", "External clock"}));
}

TEST(SampleProcessorConfigBase, TextListsTypeRateAmountAndClock) {
    process::SampleProcessorConfigBase configuration("base", "WaveformProcessor", 8, 25);
    EXPECT_EQ(
        configuration.toString(),
        "\tProcessor type: WaveformProcessor\n\tRefresh rate: 25\n\tSample amount: 8\n\tClock type: Internal "
        "clock");
}

TEST(WaveformConfig, TextStartsWithTypeAndName) {
    process::WaveformConfig configuration("wave", 64);
    EXPECT_EQ(configuration.toString(),
              "WaveformProcessor: wave\n\tProcessor type: WaveformProcessor\n\tRefresh "
              "rate: 500\n\tSample amount: 64\n\tClock type: External clock");
}

TEST(WaveformConfig, FromBaseReturnsTheSameObject) {
    process::WaveformConfig configuration("wave", 64);
    process::ProcessorConfigBase& base = configuration;
    EXPECT_EQ(&process::WaveformConfig::fromBase(base), &configuration);
}

TEST(WaveformConfig, FromBaseOfASpectrumConfigurationNamesBothTypes) {
    process::SampleProcessorConfigBase spectrum("spectrum", "SpectrumProcessor", 1024);
    testsupport::LogCapture capture;
    const std::string text =
        "Argument from processor type 'SpectrumProcessor' doesn't matchthe processor type "
        "'WaveformProcessor' which is needed for the convert progress!";
    try {
        process::WaveformConfig::fromBase(spectrum);
        FAIL() << "no exception";
    } catch (const exceptions::InstanceNotConvertable& error) {
        EXPECT_EQ(std::string(error.what()), text);
    }
    EXPECT_EQ(capture.texts(QtWarningMsg), std::vector<std::string>{"fromBase " + text});
}

TEST(WaveformConfig, AWaveformConfigurationGivenToTheSpectrumCheckRunsTheTwoHalvesTogether) {
    process::WaveformConfig configuration("wave", 64);
    try {
        SpectrumCheck::check(configuration);
        FAIL() << "no exception";
    } catch (const exceptions::InstanceNotConvertable& error) {
        EXPECT_EQ(std::string(error.what()),
                  "Argument from processor type 'WaveformProcessor' doesn't matchthe "
                  "processor type 'SpectrumProcessor' which is needed for the convert "
                  "progress!");
    }
}

TEST(WaveformConfig, FromBaseOfAnotherClassClaimingTheTypeThrowsBadCast) {
    process::SampleProcessorConfigBase impostor("impostor", "WaveformProcessor", 8);
    EXPECT_THROW(process::WaveformConfig::fromBase(impostor), std::bad_cast);
}

TEST(WaveformConfig, FactoriesEnterTheRegistryAndChooseTheClock) {
    const std::size_t before = sonacore::registry::waveformConfigurations.size();
    sonacore::iprocess::IWaveformConfig* external =
        sonacore::iprocess::IWaveformConfig::createInstance("a", 48);
    sonacore::iprocess::IWaveformConfig* internal =
        sonacore::iprocess::IWaveformConfig::createInstance("b", 96, 40);
    ASSERT_EQ(sonacore::registry::waveformConfigurations.size(), before + 2);
    EXPECT_EQ(
        static_cast<sonacore::iprocess::IWaveformConfig*>(sonacore::registry::waveformConfigurations[before]),
        external);
    EXPECT_EQ(external->getProcessorType(), "WaveformProcessor");
    EXPECT_FALSE(external->isInternalClock());
    EXPECT_EQ(external->getSampleAmount(), 48U);
    EXPECT_TRUE(internal->isInternalClock());
    EXPECT_EQ(internal->getRefreshRate(), 40U);
    EXPECT_EQ(internal->getSampleAmount(), 96U);
}

TEST(WaveformConfig, ThePublicInterfaceForwardsToTheConfiguration) {
    process::WaveformConfig configuration("wave", 64);
    NoticeRecorder recorder(configuration);
    sonacore::iprocess::IWaveformConfig& publicView = configuration;
    publicView.setSampleAmount(32);
    publicView.setRefreshRate(10);
    publicView.setClockType("Internal clock");
    EXPECT_EQ(publicView.getSampleAmount(), 32U);
    EXPECT_EQ(publicView.getRefreshRate(), 10U);
    EXPECT_EQ(publicView.getClockType(), "Internal clock");
    EXPECT_EQ(publicView.toString(), configuration.toString());
    EXPECT_EQ(recorder.notices, (std::vector<std::string>{"SampleAmountChanged", "Internal clock"}));
}

TEST(DemoConfig, DefaultsToItsNameAndAmplitudeTwo) {
    process::DemoConfig configuration;
    EXPECT_EQ(configuration.getName(), "Demo Configuration");
    EXPECT_EQ(configuration.getProcessorType(), "DemoProcessor");
    EXPECT_EQ(configuration.getAmplitude(), 2U);
    EXPECT_EQ(configuration.toString(),
              "DemoConfig: Demo Configuration\n\tProcessor type: DemoProcessor\n\tAmplitude: 2");
}

TEST(DemoConfig, SetAmplitudeStoresWithoutANotice) {
    process::DemoConfig configuration("demo", 7);
    NoticeRecorder recorder(configuration);
    sonacore::iprocess::IDemoConfig& publicView = configuration;
    publicView.setAmplitude(0);
    EXPECT_EQ(publicView.getAmplitude(), 0U);
    EXPECT_TRUE(recorder.notices.empty());
}

TEST(DemoConfig, FromBaseChecksTheType) {
    process::DemoConfig demo("demo", 3);
    process::WaveformConfig wave("wave", 64);
    EXPECT_EQ(&process::DemoConfig::fromBase(demo), &demo);
    try {
        process::DemoConfig::fromBase(wave);
        FAIL() << "no exception";
    } catch (const exceptions::InstanceNotConvertable& error) {
        EXPECT_EQ(std::string(error.what()),
                  "Argument from processor type 'WaveformProcessor' doesn't matchthe "
                  "processor type 'DemoProcessor' which is needed for the convert "
                  "progress!");
    }
}
