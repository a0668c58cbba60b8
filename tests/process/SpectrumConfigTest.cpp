#include "process/SpectrumConfig.h"
#include "exceptions/SonaCoreException.h"
#include "process/WaveformConfig.h"
#include "sonacore/ConfigurationRegistry.h"
#include "sonacore/ISpectrumConfig.h"
#include "support/LogCapture.h"

#include <QObject>

#include <gtest/gtest.h>

#include <cstddef>
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

using Texts = std::vector<std::string>;

} // namespace

TEST(SpectrumConfig, DefaultsAreOrderFourteenAndItsFrameLength) {
    process::SpectrumConfig configuration("spectrum", 100);
    EXPECT_EQ(configuration.getProcessorType(), "SpectrumProcessor");
    EXPECT_EQ(configuration.getFftOrder(), 14U);
    EXPECT_EQ(configuration.getFftSize(), 16384U);
    EXPECT_FLOAT_EQ(configuration.getPowerSpectrumFactor(), 5.334f);
    EXPECT_FALSE(configuration.getMovingAverageActivity());
    EXPECT_EQ(configuration.getMovingAverageWindowSize(), 16U);
    EXPECT_EQ(configuration.getMovingAverageWindowLength(), 10000U);
}

TEST(SpectrumConfig, TheSampleAmountOfCreationCountsForNothing) {
    process::SpectrumConfig external("spectrum", 100);
    EXPECT_EQ(external.getSampleAmount(), 16384U);
    process::SpectrumConfig internal("spectrum", 7, 250);
    EXPECT_EQ(internal.getSampleAmount(), 16384U);
    EXPECT_TRUE(internal.isInternalClock());
    EXPECT_EQ(internal.getRefreshRate(), 250U);
}

TEST(SpectrumConfig, ConstructionLogsTheOrderAndTheSize) {
    testsupport::LogCapture capture;
    process::SpectrumConfig configuration("spectrum", 100);
    EXPECT_EQ(capture.texts(QtDebugMsg),
              (Texts{"SampleProcessorConfigBase Configuration created. External clock active",
                     "setFftOrder \"spectrum\" FFT order is set to:  14",
                     "setFftOrder \"spectrum\" FFT size is set to:  16384"}));
    EXPECT_TRUE(capture.texts(QtWarningMsg).empty());
}

TEST(SpectrumConfig, ANewOrderSetsTheSizeAndTheSampleAmountAndIsAnnounced) {
    process::SpectrumConfig configuration("spectrum", 100);
    NoticeRecorder recorder(configuration);
    testsupport::LogCapture capture;
    configuration.setFftOrder(10);
    EXPECT_EQ(configuration.getFftOrder(), 10U);
    EXPECT_EQ(configuration.getFftSize(), 1024U);
    EXPECT_EQ(configuration.getSampleAmount(), 1024U);
    EXPECT_EQ(recorder.notices, (Texts{"SampleAmountChanged", "FFTOrderChanged"}));
    EXPECT_EQ(capture.texts(QtDebugMsg), (Texts{"setFftOrder \"spectrum\" FFT order is set to:  10",
                                                "setFftOrder \"spectrum\" FFT size is set to:  1024"}));
}

TEST(SpectrumConfig, TheCurrentOrderAgainEmitsAndLogsNothing) {
    process::SpectrumConfig configuration("spectrum", 100);
    NoticeRecorder recorder(configuration);
    testsupport::LogCapture capture;
    configuration.setFftOrder(14);
    EXPECT_TRUE(recorder.notices.empty());
    EXPECT_TRUE(capture.lines().empty());
}

TEST(SpectrumConfig, OrderZeroIsRefusedWithAWarning) {
    process::SpectrumConfig configuration("spectrum", 100);
    NoticeRecorder recorder(configuration);
    testsupport::LogCapture capture;
    configuration.setFftOrder(0);
    EXPECT_EQ(configuration.getFftOrder(), 14U);
    EXPECT_EQ(configuration.getFftSize(), 16384U);
    EXPECT_TRUE(recorder.notices.empty());
    EXPECT_EQ(
        capture.texts(QtWarningMsg),
        Texts{"setFftOrder \"spectrum\" FFT order zero not supported! Please pass a valid order value"});
}

TEST(SpectrumConfig, AnOrderAboveTheTransformsLimitIsStoredAllTheSame) {
    process::SpectrumConfig configuration("spectrum", 100);
    configuration.setFftOrder(28);
    EXPECT_EQ(configuration.getFftOrder(), 28U);
    EXPECT_EQ(configuration.getFftSize(), std::size_t{1} << 28);
    EXPECT_EQ(configuration.getSampleAmount(), std::size_t{1} << 28);
}

TEST(SpectrumConfig, AnOrderWhoseFrameLengthHasNoSizeGivesLengthZero) {
    process::SpectrumConfig configuration("spectrum", 100);
    configuration.setFftOrder(64);
    EXPECT_EQ(configuration.getFftOrder(), 64U);
    EXPECT_EQ(configuration.getFftSize(), 0U);
    EXPECT_EQ(configuration.getSampleAmount(), 0U);
    configuration.setFftOrder(1000);
    EXPECT_EQ(configuration.getFftSize(), 0U);
}

TEST(SpectrumConfig, SizesThatAreNoPowerOfTwoChangeNothingAndWarnTwice) {
    process::SpectrumConfig configuration("spectrum", 100);
    NoticeRecorder recorder(configuration);
    for (const std::size_t size : {std::size_t{0}, std::size_t{3}}) {
        testsupport::LogCapture capture;
        configuration.setFftSize(size);
        const std::string value = std::to_string(size);
        EXPECT_EQ(capture.texts(QtWarningMsg),
                  (Texts{"isValuePowerOfTwo \"spectrum\" Value is no power of two:  " + value,
                         "setFftSize \"spectrum\" Invalid FFT size set! Size ignored:  " + value}));
    }
    EXPECT_EQ(configuration.getFftOrder(), 14U);
    EXPECT_TRUE(recorder.notices.empty());
}

TEST(SpectrumConfig, SizeOneEndsInTheRefusalOfOrderZero) {
    process::SpectrumConfig configuration("spectrum", 100);
    testsupport::LogCapture capture;
    configuration.setFftSize(1);
    EXPECT_EQ(configuration.getFftOrder(), 14U);
    EXPECT_EQ(
        capture.texts(QtWarningMsg),
        Texts{"setFftOrder \"spectrum\" FFT order zero not supported! Please pass a valid order value"});
}

TEST(SpectrumConfig, APowerOfTwoSizeSetsItsOrder) {
    process::SpectrumConfig configuration("spectrum", 100);
    configuration.setFftSize(4096);
    EXPECT_EQ(configuration.getFftOrder(), 12U);
    EXPECT_EQ(configuration.getFftSize(), 4096U);
    EXPECT_EQ(configuration.getSampleAmount(), 4096U);
}

TEST(SpectrumConfig, SetSampleAmountHasNoEffectWhateverTheValue) {
    process::SpectrumConfig configuration("spectrum", 100);
    NoticeRecorder recorder(configuration);
    for (const std::uint64_t amount : {std::uint64_t{0}, std::uint64_t{16384}, std::uint64_t{48}}) {
        testsupport::LogCapture capture;
        configuration.setSampleAmount(amount);
        EXPECT_EQ(capture.texts(QtWarningMsg),
                  Texts{"setSampleAmount \"spectrum\" Sample amount ignored by internal sample amount auto "
                        "detection!"});
    }
    sonacore::iprocess::ISpectrumConfig& publicView = configuration;
    publicView.setSampleAmount(7);
    EXPECT_EQ(configuration.getSampleAmount(), 16384U);
    EXPECT_TRUE(recorder.notices.empty());
}

TEST(SpectrumConfig, MovingAverageSettersCompareFirstLogAndAnnounce) {
    process::SpectrumConfig configuration("spectrum", 100);
    NoticeRecorder recorder(configuration);
    testsupport::LogCapture capture;
    configuration.setMovingAverageActivity(false);
    configuration.setMovingAverageWindowSize(16);
    configuration.setMovingAverageWindowLength(10000);
    EXPECT_TRUE(recorder.notices.empty());
    EXPECT_TRUE(capture.lines().empty());

    configuration.setMovingAverageActivity(true);
    configuration.setMovingAverageWindowSize(8);
    configuration.setMovingAverageWindowLength(2000);
    EXPECT_TRUE(configuration.getMovingAverageActivity());
    EXPECT_EQ(configuration.getMovingAverageWindowSize(), 8U);
    EXPECT_EQ(configuration.getMovingAverageWindowLength(), 2000U);
    EXPECT_EQ(recorder.notices, (Texts{"MovingAverageActivityChanged", "MovingAverageWindowSizeChanged",
                                       "MovingAverageWindowLengthChanged"}));
    EXPECT_EQ(capture.texts(QtDebugMsg),
              (Texts{"setMovingAverageWindowSize \"spectrum\" Moving average window Size changed to:  8",
                     "setMovingAverageWindowLength \"spectrum\" Window Size changed to:  2000"}));
}

TEST(SpectrumConfig, NotifyAllParametersAnnouncesItsOwnSettingsThenTheBases) {
    process::SpectrumConfig configuration("spectrum", 100);
    NoticeRecorder recorder(configuration);
    configuration.notifyAllParameters();
    EXPECT_EQ(recorder.notices, (Texts{"FFTOrderChanged", "MovingAverageWindowLengthChanged",
                                       "MovingAverageWindowSizeChanged", "MovingAverageActivityChanged",
                                       "SampleAmountChanged", "ClockRefreshRateChanged", "External clock"}));
}

TEST(SpectrumConfig, TextEndsWithTheOrderAndNoLineBreak) {
    process::SpectrumConfig configuration("spectrum", 100);
    EXPECT_EQ(configuration.toString(), "SpectrumProcessor: spectrum\n\tProcessor type: SpectrumProcessor\n"
                                        "\tRefresh rate: 500\n\tSample amount: 16384\n\tClock type: External "
                                        "clock\n\tFFT order: 14");
}

TEST(SpectrumConfig, FromBaseReturnsTheSameObject) {
    process::SpectrumConfig configuration("spectrum", 100);
    process::ProcessorConfigBase& base = configuration;
    EXPECT_EQ(&process::SpectrumConfig::fromBase(base), &configuration);
}

TEST(SpectrumConfig, AWaveformConfigurationGivenToTheSpectrumConversionNamesBothTypes) {
    process::WaveformConfig waveform("wave", 64);
    testsupport::LogCapture capture;
    const std::string text = "Argument from processor type 'WaveformProcessor' doesn't matchthe processor "
                             "type 'SpectrumProcessor' which is needed for the convert progress!";
    try {
        process::SpectrumConfig::fromBase(waveform);
        FAIL() << "no exception";
    } catch (const exceptions::InstanceNotConvertable& error) {
        EXPECT_EQ(std::string(error.what()), text);
    }
    EXPECT_EQ(capture.texts(QtWarningMsg), Texts{"fromBase " + text});
}

TEST(SpectrumConfig, FactoriesEnterTheRegistryAndChooseTheClock) {
    const std::size_t before = sonacore::registry::spectrumConfigurations.size();
    sonacore::iprocess::ISpectrumConfig* external =
        sonacore::iprocess::ISpectrumConfig::createInstance("external", 100);
    sonacore::iprocess::ISpectrumConfig* internal =
        sonacore::iprocess::ISpectrumConfig::createInstance("internal", 100, 40);
    ASSERT_EQ(sonacore::registry::spectrumConfigurations.size(), before + 2);
    EXPECT_EQ(sonacore::registry::spectrumConfigurations[before],
              dynamic_cast<process::SpectrumConfig*>(external));
    EXPECT_FALSE(external->isInternalClock());
    EXPECT_TRUE(internal->isInternalClock());
    EXPECT_EQ(internal->getRefreshRate(), 40U);
    EXPECT_EQ(external->getSampleAmount(), 16384U);
    for (std::size_t i = before; i < sonacore::registry::spectrumConfigurations.size(); ++i) {
        delete sonacore::registry::spectrumConfigurations[i];
    }
    sonacore::registry::spectrumConfigurations.resize(before);
}
