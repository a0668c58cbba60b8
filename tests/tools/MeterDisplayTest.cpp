// The monitor's plain lines: one per channel for each second of the stream, counted from the samples its
// levels stand for, whenever the deliveries arrive.
#include "MeterDisplay.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

using host::MeterDisplay;

namespace {

constexpr std::uint64_t levelSamples = 2880;

// Seven levels in the order of a delivery: dBA f, dBA s, dBC f, dBC s, dBZ f, dBZ s, dBFS.
const std::vector<double> sine{-3.01, -3.01, -2.99, -2.99, -3.0103, -3.0103, -3.0103};

// A file in memory that collects what the display prints.
class Printed {
public:
    Printed() : file(std::tmpfile()) {}
    ~Printed() {
        if (file != nullptr) {
            std::fclose(file);
        }
    }
    Printed(const Printed&) = delete;
    Printed& operator=(const Printed&) = delete;

    std::FILE* handle() const { return file; }
    std::string text() const {
        std::fflush(file);
        std::rewind(file);
        std::string all;
        char chunk[4096];
        for (std::size_t got; (got = std::fread(chunk, 1, sizeof chunk, file)) > 0;) {
            all.append(chunk, got);
        }
        return all;
    }

private:
    std::FILE* file;
};

TEST(MeterDisplay, PrintsNoLineBeforeASecondOfTheStream) {
    Printed printed;
    MeterDisplay display({0}, levelSamples, 48000.0, printed.handle());
    // 16 levels are 46080 samples, 0.96 s.
    for (int level = 0; level < 16; ++level) {
        display.levels(0, sine);
    }
    EXPECT_EQ(printed.text(), "");
}

TEST(MeterDisplay, LinesStepByOneSecondOfTheStream) {
    Printed printed;
    MeterDisplay display({0}, levelSamples, 48000.0, printed.handle());
    // 50 levels are 144000 samples: three seconds, passed at the 17th, 34th and 50th level.
    for (int level = 0; level < 50; ++level) {
        display.levels(0, sine);
    }
    const std::string line = " ch0 dBA SPL f  -3.01 dBC SPL f  -2.99 dBZ SPL f  -3.01 peak      -- Hz\n";
    EXPECT_EQ(printed.text(), "t=  1.0s" + line + "t=  2.0s" + line + "t=  3.0s" + line);
}

TEST(MeterDisplay, LineOfEachChannelCarriesItsLatestReadings) {
    Printed printed;
    MeterDisplay display({0, 2}, levelSamples, 48000.0, printed.handle());
    std::vector<double> power(8192, 0.0);
    power[341] = 1.0;
    display.spectrum(0, power);
    display.levels(2, {-20, -20, -21, -21, -22, -22, -22});
    for (int level = 0; level < 17; ++level) {
        display.levels(0, sine);
    }
    EXPECT_EQ(printed.text(),
              "t=  1.0s ch0 dBA SPL f  -3.01 dBC SPL f  -2.99 dBZ SPL f  -3.01 peak   999.0 Hz\n"
              "t=  1.0s ch2 dBA SPL f -20.00 dBC SPL f -21.00 dBZ SPL f -22.00 peak      -- Hz\n");
}

TEST(MeterDisplay, LevelsOfOtherChannelsDoNotAdvanceTheClock) {
    Printed printed;
    MeterDisplay display({0, 1}, levelSamples, 48000.0, printed.handle());
    for (int level = 0; level < 40; ++level) {
        display.levels(1, sine);
    }
    EXPECT_EQ(printed.text(), "");
    EXPECT_DOUBLE_EQ(display.streamSeconds(), 0.0);
}

TEST(MeterDisplay, LevelLongerThanASecondPrintsTheLastSecondItPassed) {
    Printed printed;
    // Levels of 2.5 s each end at 2.5 s and at 5 s.
    MeterDisplay display({0}, 120000, 48000.0, printed.handle());
    display.levels(0, sine);
    display.levels(0, sine);
    const std::string line = " ch0 dBA SPL f  -3.01 dBC SPL f  -2.99 dBZ SPL f  -3.01 peak      -- Hz\n";
    EXPECT_EQ(printed.text(), "t=  2.0s" + line + "t=  5.0s" + line);
}

TEST(MeterDisplay, SpectraAloneAreNoAudio) {
    MeterDisplay display({0}, levelSamples, 48000.0, nullptr);
    display.spectrum(0, std::vector<double>(8192, 0.0));
    EXPECT_FALSE(display.sawAudio());
    display.levels(0, sine);
    EXPECT_TRUE(display.sawAudio());
}

} // namespace
