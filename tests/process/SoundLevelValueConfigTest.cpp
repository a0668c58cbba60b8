#include "process/SoundLevelValueConfig.h"
#include "exceptions/SonaCoreException.h"
#include "process/WaveformConfig.h"
#include "sonacore/ConfigurationRegistry.h"
#include "sonacore/ISoundLevelValueConfig.h"
#include "support/LogCapture.h"

#include <QObject>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <typeinfo>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

// Records every change notice of one configuration, in order.
class NoticeRecorder {
public:
    explicit NoticeRecorder(sonacore::ConfigurationData& configuration) {
        connection =
            QObject::connect(&configuration, &sonacore::ConfigurationData::configurationChanged,
                             [this](std::string parameter) { notices.push_back(std::move(parameter)); });
    }
    ~NoticeRecorder() { QObject::disconnect(connection); }

    Texts notices;

private:
    QMetaObject::Connection connection;
};

// Deletes the configurations a test's factory calls entered in the registry, and takes them out again.
class RegistryRestorer {
public:
    RegistryRestorer() : before(sonacore::registry::soundLevelValueConfigurations.size()) {}
    ~RegistryRestorer() {
        auto& registry = sonacore::registry::soundLevelValueConfigurations;
        for (std::size_t i = before; i < registry.size(); ++i) {
            delete registry[i];
        }
        registry.resize(before);
    }
    const std::size_t before;
};

const std::string externalCreated = "SampleProcessorConfigBase Configuration created. External clock active";
const std::string internalCreated = "SampleProcessorConfigBase Configuration created. Internal clock active";

// One value type: short name, long name, index into a delivery's y series.
struct ValueTypeRow {
    const sonacore::iprocess::SoundLevelValueType* type;
    std::string shortName;
    std::string longName;
    std::uint32_t index;
};

void PrintTo(const ValueTypeRow& row, std::ostream* out) {
    *out << row.shortName;
}

class SoundLevelValueTypeTable : public ::testing::TestWithParam<ValueTypeRow> {};

} // namespace

TEST_P(SoundLevelValueTypeTable, EachTypeHasItsNamesAndIndex) {
    const ValueTypeRow& row = GetParam();
    EXPECT_EQ(row.type->shortLabel, row.shortName);
    EXPECT_EQ(row.type->longLabel, row.longName);
    EXPECT_EQ(row.type->identifier, row.index);
    const auto& mapped = sonacore::iprocess::soundLevelValueTypes.at(row.shortName);
    EXPECT_EQ(mapped.longLabel, row.longName);
    EXPECT_EQ(mapped.identifier, row.index);
}

INSTANTIATE_TEST_SUITE_P(
    SoundLevelValueTypes, SoundLevelValueTypeTable,
    ::testing::Values(ValueTypeRow{&sonacore::iprocess::dbaSplFast, "dBA SPL f", "dBA SPL fast", 0},
                      ValueTypeRow{&sonacore::iprocess::dbaSplSlow, "dBA SPL s", "dBA SPL slow", 1},
                      ValueTypeRow{&sonacore::iprocess::dbcSplFast, "dBC SPL f", "dBC SPL fast", 2},
                      ValueTypeRow{&sonacore::iprocess::dbcSplSlow, "dBC SPL s", "dBC SPL slow", 3},
                      ValueTypeRow{&sonacore::iprocess::dbzSplFast, "dBZ SPL f", "dBZ SPL fast", 4},
                      ValueTypeRow{&sonacore::iprocess::dbzSplSlow, "dBZ SPL s", "dBZ SPL slow", 5},
                      ValueTypeRow{&sonacore::iprocess::dbfs, "dBFS", "dBFS", 6}));

TEST(SoundLevelValueTypes, TheMapHoldsSevenEntriesAndIsTheLibrarysOneTable) {
    EXPECT_EQ(sonacore::iprocess::soundLevelValueTypes.size(), 7U);
    EXPECT_EQ(&sonacore::iprocess::soundLevelValueTypes, &sonacore::constants::soundLevelUnitsByShortLabel);
    EXPECT_EQ(&sonacore::iprocess::dbfs, &sonacore::constants::soundLevelUnits[6]);
}

TEST(SoundLevelValueConfig, ExternalFormTakesTheBufferClockAndTheDefaultRate) {
    testsupport::LogCapture capture;
    process::SoundLevelValueConfig configuration("level", 2880);
    EXPECT_EQ(configuration.getProcessorType(), "SoundLevelValueProcessor");
    EXPECT_EQ(configuration.getClockType(), "External clock");
    EXPECT_FALSE(configuration.isInternalClock());
    EXPECT_EQ(configuration.getRefreshRate(), 500U);
    EXPECT_EQ(configuration.getSampleAmount(), 2880U);
    EXPECT_EQ(capture.texts(QtDebugMsg), Texts{externalCreated});
    EXPECT_TRUE(capture.texts(QtWarningMsg).empty());
}

TEST(SoundLevelValueConfig, InternalFormTakesTheTimerAtTheGivenPeriod) {
    testsupport::LogCapture capture;
    process::SoundLevelValueConfig configuration("level", 2880, 100);
    EXPECT_TRUE(configuration.isInternalClock());
    EXPECT_EQ(configuration.getClockType(), "Internal clock");
    EXPECT_EQ(configuration.getRefreshRate(), 100U);
    EXPECT_EQ(capture.texts(QtDebugMsg), Texts{internalCreated});
}

TEST(SoundLevelValueConfig, PeriodZeroIsWarnedAboutAndGivesTheExternalClock) {
    testsupport::LogCapture capture;
    process::SoundLevelValueConfig configuration("level", 2880, 0);
    EXPECT_FALSE(configuration.isInternalClock());
    EXPECT_EQ(configuration.getRefreshRate(), 500U);
    EXPECT_EQ(capture.texts(QtWarningMsg),
              Texts{"SampleProcessorConfigBase The given refresh rate is invalid! External clock will be "
                    "activated!"});
    EXPECT_EQ(capture.texts(QtDebugMsg), Texts{externalCreated});
}

TEST(SoundLevelValueConfig, TextListsTheValueTypesInTheOrderOfTheirShortNames) {
    process::SoundLevelValueConfig configuration("level", 2880);
    EXPECT_EQ(configuration.toString(),
              "\tProcessor type: SoundLevelValueProcessor\n\tRefresh rate: 500\n\tSample amount: 2880\n"
              "\tClock type: External clock\n\tThe following sound level value types are being generated:"
              "\n\t\t0: dBA SPL fast\n\t\t1: dBA SPL slow\n\t\t2: dBC SPL fast\n\t\t3: dBC SPL slow"
              "\n\t\t6: dBFS\n\t\t4: dBZ SPL fast\n\t\t5: dBZ SPL slow");
}

TEST(SoundLevelValueConfig, FromBaseReturnsTheSameObject) {
    process::SoundLevelValueConfig configuration("level", 2880);
    process::ProcessorConfigBase& base = configuration;
    EXPECT_EQ(&process::SoundLevelValueConfig::fromBase(base), &configuration);
}

TEST(SoundLevelValueConfig, FromBaseOfAWaveformConfigurationNamesBothTypes) {
    process::WaveformConfig waveform("wave", 64);
    testsupport::LogCapture capture;
    const std::string text = "Argument from processor type 'WaveformProcessor' doesn't matchthe processor "
                             "type 'SoundLevelValueProcessor' which is needed for the convert progress!";
    try {
        process::SoundLevelValueConfig::fromBase(waveform);
        FAIL() << "no exception";
    } catch (const exceptions::InstanceNotConvertable& error) {
        EXPECT_EQ(std::string(error.what()), text);
    }
    EXPECT_EQ(capture.texts(QtWarningMsg), Texts{"fromBase " + text});
}

TEST(SoundLevelValueConfig, FromBaseOfAnotherClassClaimingTheTypeThrowsBadCast) {
    process::SampleProcessorConfigBase impostor("impostor", "SoundLevelValueProcessor", 8);
    EXPECT_THROW(process::SoundLevelValueConfig::fromBase(impostor), std::bad_cast);
}

TEST(SoundLevelValueConfig, TheTwoArgumentFactoryGivesTheBuffersSignalAndEntersTheRegistry) {
    RegistryRestorer restorer;
    sonacore::iprocess::ISoundLevelValueConfig* configuration =
        sonacore::iprocess::ISoundLevelValueConfig::createInstance("external", 2880);
    ASSERT_EQ(sonacore::registry::soundLevelValueConfigurations.size(), restorer.before + 1);
    EXPECT_EQ(sonacore::registry::soundLevelValueConfigurations[restorer.before],
              dynamic_cast<process::SoundLevelValueConfig*>(configuration));
    EXPECT_EQ(configuration->getProcessorType(), "SoundLevelValueProcessor");
    EXPECT_FALSE(configuration->isInternalClock());
    EXPECT_EQ(configuration->getSampleAmount(), 2880U);
}

TEST(SoundLevelValueConfig, TheThreeArgumentFactoryGivesTheTimerWithThePeriodInMilliseconds) {
    RegistryRestorer restorer;
    sonacore::iprocess::ISoundLevelValueConfig* configuration =
        sonacore::iprocess::ISoundLevelValueConfig::createInstance("internal", 2880, 40);
    ASSERT_EQ(sonacore::registry::soundLevelValueConfigurations.size(), restorer.before + 1);
    EXPECT_TRUE(configuration->isInternalClock());
    EXPECT_EQ(configuration->getRefreshRate(), 40U);
    EXPECT_EQ(configuration->getSampleAmount(), 2880U);
}

TEST(SoundLevelValueConfig, TheThreeArgumentFactoryWithPeriodZeroGivesTheBuffersSignal) {
    RegistryRestorer restorer;
    testsupport::LogCapture capture;
    sonacore::iprocess::ISoundLevelValueConfig* configuration =
        sonacore::iprocess::ISoundLevelValueConfig::createInstance("fallback", 2880, 0);
    EXPECT_FALSE(configuration->isInternalClock());
    EXPECT_EQ(configuration->getRefreshRate(), 500U);
    EXPECT_EQ(capture.count(QtWarningMsg, "SampleProcessorConfigBase The given refresh rate is invalid! "
                                          "External clock will be activated!"),
              1U);
}

TEST(SoundLevelValueConfig, ThePublicInterfaceForwardsToTheConfiguration) {
    process::SoundLevelValueConfig configuration("level", 2880);
    NoticeRecorder recorder(configuration);
    sonacore::iprocess::ISoundLevelValueConfig& publicView = configuration;
    publicView.setSampleAmount(960);
    publicView.setRefreshRate(10);
    publicView.setClockType("Internal clock");
    EXPECT_EQ(publicView.getSampleAmount(), 960U);
    EXPECT_EQ(publicView.getRefreshRate(), 10U);
    EXPECT_EQ(publicView.getClockType(), "Internal clock");
    EXPECT_TRUE(publicView.isInternalClock());
    EXPECT_EQ(publicView.getProcessorType(), "SoundLevelValueProcessor");
    EXPECT_EQ(publicView.toString(), configuration.toString());
    EXPECT_EQ(recorder.notices, (Texts{"SampleAmountChanged", "Internal clock"}));
}

TEST(SoundLevelValueConfig, NotifyAllParametersAnnouncesTheBasesThreeSettings) {
    process::SoundLevelValueConfig configuration("level", 2880);
    NoticeRecorder recorder(configuration);
    configuration.notifyAllParameters();
    EXPECT_EQ(recorder.notices, (Texts{"SampleAmountChanged", "ClockRefreshRateChanged", "External clock"}));
}
