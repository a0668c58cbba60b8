#include "sonacore/SonaCoreConstants.h"

#include <gtest/gtest.h>

namespace c = sonacore::constants;

TEST(SonaCoreConstants, SoundLevelUnitsHaveTheirLabelsAndIdentifiers) {
    const std::pair<const char*, const char*> expected[] = {{"dBA SPL f", "dBA SPL fast"},
                                                            {"dBA SPL s", "dBA SPL slow"},
                                                            {"dBC SPL f", "dBC SPL fast"},
                                                            {"dBC SPL s", "dBC SPL slow"},
                                                            {"dBZ SPL f", "dBZ SPL fast"},
                                                            {"dBZ SPL s", "dBZ SPL slow"},
                                                            {"dBFS", "dBFS"}};
    ASSERT_EQ(c::soundLevelUnits.size(), 7U);
    for (std::uint32_t id = 0; id < 7; ++id) {
        EXPECT_EQ(c::soundLevelUnits[id].shortLabel, expected[id].first);
        EXPECT_EQ(c::soundLevelUnits[id].longLabel, expected[id].second);
        EXPECT_EQ(c::soundLevelUnits[id].identifier, id);
    }
}

TEST(SonaCoreConstants, SoundLevelUnitsAreKeyedByShortLabel) {
    ASSERT_EQ(c::soundLevelUnitsByShortLabel.size(), 7U);
    EXPECT_EQ(c::soundLevelUnitsByShortLabel.at("dBC SPL s").identifier, 3U);
    EXPECT_EQ(c::soundLevelUnitsByShortLabel.at("dBFS").longLabel, "dBFS");
}

TEST(SonaCoreConstants, MessageWordsAndSeverities) {
    EXPECT_EQ(c::messageTypeInformation, "INFORMATION");
    EXPECT_EQ(c::messageTypeWarning, "WARNING");
    EXPECT_EQ(c::messageTypeCritical, "CRITICAL");
    EXPECT_EQ(c::baseMessageWord, "BaseMessage");
    EXPECT_EQ(c::statusMessageWord, "StatusMessage");
    EXPECT_EQ(c::channelAmountChangedWord, "ChannelAmountChanged");
}

TEST(SonaCoreConstants, ParameterNamesKeepTheirExactSpelling) {
    EXPECT_EQ(c::signalingSampleAmountChanged, "SignalingSampleAmountChnaged");
    EXPECT_EQ(c::clockRefreshRateChanged, "ClockRefreshRateChanged");
    EXPECT_EQ(c::sampleAmountChanged, "SampleAmountChanged");
    EXPECT_EQ(c::fftOrderChanged, "FFTOrderChanged");
    EXPECT_EQ(c::movingAverageActivityChanged, "MovingAverageActivityChanged");
    EXPECT_EQ(c::movingAverageWindowSizeChanged, "MovingAverageWindowSizeChanged");
    EXPECT_EQ(c::movingAverageWindowLengthChanged, "MovingAverageWindowLengthChanged");
}

TEST(SonaCoreConstants, ClockAndProcessorNames) {
    EXPECT_EQ(c::internalClock, "Internal clock");
    EXPECT_EQ(c::externalClock, "External clock");
    EXPECT_EQ(c::spectrumProcessor, "SpectrumProcessor");
    EXPECT_EQ(c::waveformProcessor, "WaveformProcessor");
    EXPECT_EQ(c::soundLevelValueProcessor, "SoundLevelValueProcessor");
}
