// A host that knows only the public interface runs a sound level processor and a spectrum processor on every
// channel of two live 8-channel streams from our talker, at real rate, and checks every delivery: each level
// against an independent long-double meter run over the samples the talker dumped, each spectrum's peak
// against the talker's frequency, and the number of deliveries against the number of buffer signals.
#include "e2e/LiveAdapter.h"
#include "sonacore/ISonaCore.h"
#include "sonacore/ISoundLevelValueConfig.h"
#include "sonacore/ISpectrumConfig.h"
#include "support/EventLoop.h"
#include "support/NetnsFixture.h"
#include "support/SoundLevelReference.h"
#include "support/Tolerances.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using namespace std::chrono_literals;

constexpr unsigned channels = 8;
constexpr std::uint64_t seconds = 20;
constexpr std::uint64_t samplesPerChannel = seconds * 48000;
// The level stream signals every 10 ms; the meter works on six signals' worth of samples.
constexpr std::uint64_t levelSignaling = 480;
constexpr std::uint64_t levelSampleAmount = 2880;
// The spectrum stream signals every 100 ms; each spectrum is one frame of 2^14 samples.
constexpr std::uint64_t spectrumSignaling = 4800;
constexpr std::size_t fftOrder = 14;
constexpr std::size_t fftSize = std::size_t{1} << fftOrder;

const std::string levelKey = "020000000a01";
const std::string spectrumKey = "020000000b01";

// Sines sit exactly on a bin of the 2^14-point transform at 48000 Hz (k · 48000 / 16384 Hz), so that their
// bin is unambiguous; the last two channels carry seeded noise.
struct ChannelSignal {
    std::string text;
    long double binOfPeak; // negative for noise
};

std::vector<ChannelSignal> channelSignals() {
    const std::vector<std::pair<unsigned, double>> sines{{21, 0.9},   {85, 0.5},   {341, 0.25},
                                                         {1024, 0.7}, {2731, 0.1}, {5461, 0.4}};
    std::vector<ChannelSignal> signals;
    for (const auto& [bin, amplitude] : sines) {
        std::ostringstream text;
        text.precision(17);
        text << "sine:" << static_cast<double>(bin) * 48000.0 / static_cast<double>(fftSize) << ":"
             << amplitude;
        signals.push_back(ChannelSignal{text.str(), static_cast<long double>(bin)});
    }
    signals.push_back(ChannelSignal{"noise:4242:0.5", -1.0L});
    signals.push_back(ChannelSignal{"noise:777:0.05", -1.0L});
    return signals;
}

std::string mac(const std::string& key) {
    std::string text;
    for (std::size_t index = 0; index < key.size(); index += 2) {
        text += (index == 0 ? "" : ":") + key.substr(index, 2);
    }
    return text;
}

// The samples of each channel, as the library converts them, from a talker's dump: one line per frame,
// "FRAME SEQUENCE CHANNELS : SAMPLE ...", samples interleaved by channel.
std::vector<std::vector<float>> readDump(const std::string& path, std::string& error) {
    std::vector<std::vector<float>> samples(channels);
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
        std::istringstream fields(line);
        std::string frame, sequence, count, colon;
        fields >> frame >> sequence >> count >> colon;
        if (colon != ":" || frame.find('*') != std::string::npos) {
            error = "unexpected dump line: " + line;
            return {};
        }
        long value = 0;
        for (std::size_t index = 0; fields >> value; ++index) {
            samples[index % channels].push_back(static_cast<float>(value) / 32768.0f);
        }
    }
    return samples;
}

struct ChannelResults {
    std::vector<std::vector<double>> levels;
    std::vector<std::size_t> peakBins;
    std::size_t spectrumBins = 0;
};

class AnalyserLive : public testsupport::NetnsFixture {
protected:
    void SetUp() override {
        testsupport::NetnsFixture::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        core = ISonaCore::createInstance();
        adapter = e2etest::adapterNamed(captureInterface());
        ASSERT_NE(adapter, nullptr);
    }

    void TearDown() override {
        for (auto* receiver : receivers) {
            receiver->stop();
        }
        testsupport::NetnsFixture::TearDown();
    }

    void addStream(const std::string& key, std::uint64_t signaling) {
        auto* buffer =
            sonacore::IBufferConfiguration::createInstance("analyser buffer " + key, 48000, signaling);
        auto* device =
            sonacore::IDeviceConfiguration::createInstance("analyser device " + key, *buffer, 2, channels, 6);
        auto* stream =
            sonacore::IStreamConfiguration::createInstance("analyser stream " + key, key, *adapter, *device);
        receivers.push_back(core->addRemoteStreamReceiver(*stream));
    }

    void addLevelMeter(unsigned channel) {
        auto* settings =
            sonacore::iprocess::ISoundLevelValueConfig::createInstance("level", levelSampleAmount);
        auto* process = sonacore::IProcessConfiguration::createInstance(
            "level " + std::to_string(channel), *settings, levelKey, static_cast<unsigned char>(channel));
        sonacore::ihandles::IProcessorHandle* handle = core->addProcessor(*process);
        core->getMeteringDataSource(*handle)->bindChannelCallback(
            [this, channel](sonacore::IChannelData& data) {
                results[channel].levels.push_back(data.getVectorData().getY());
            });
        handle->start();
    }

    void addSpectrum(unsigned channel) {
        auto* settings = sonacore::iprocess::ISpectrumConfig::createInstance("spectrum", fftSize);
        settings->setMovingAverageWindowSize(8);
        settings->setMovingAverageActivity(true);
        auto* process =
            sonacore::IProcessConfiguration::createInstance("spectrum " + std::to_string(channel), *settings,
                                                            spectrumKey, static_cast<unsigned char>(channel));
        sonacore::ihandles::IProcessorHandle* handle = core->addProcessor(*process);
        core->getMeteringDataSource(*handle)->bindChannelCallback(
            [this, channel](sonacore::IChannelData& data) {
                const std::vector<double> y = data.getVectorData().getY();
                results[channel].spectrumBins = y.size();
                results[channel].peakBins.push_back(
                    static_cast<std::size_t>(std::max_element(y.begin(), y.end()) - y.begin()));
            });
        handle->start();
    }

    std::size_t fewestLevels() {
        std::size_t fewest = SIZE_MAX;
        for (unsigned channel = 0; channel < channels; ++channel) {
            fewest = std::min(fewest, results[channel].levels.size());
        }
        return fewest;
    }

    std::size_t fewestSpectra() {
        std::size_t fewest = SIZE_MAX;
        for (unsigned channel = 0; channel < channels; ++channel) {
            fewest = std::min(fewest, results[channel].peakBins.size());
        }
        return fewest;
    }

    ISonaCore* core = nullptr;
    sonacore::INetworkDeviceInfo* adapter = nullptr;
    std::vector<sonacore::ihandles::INetworkReceiverHandle*> receivers;
    std::map<unsigned, ChannelResults> results;
};

} // namespace

TEST_F(AnalyserLive, TwentySecondsOfEightChannelsAtRealRateGiveExactLevelsAndSpectraPeakingAtTheTalkersBins) {
    const std::vector<ChannelSignal> signals = channelSignals();
    addStream(levelKey, levelSignaling);
    addStream(spectrumKey, spectrumSignaling);
    for (unsigned channel = 0; channel < channels; ++channel) {
        addLevelMeter(channel);
        addSpectrum(channel);
    }
    for (auto* receiver : receivers) {
        receiver->start();
    }

    const std::string dumpPath = "/tmp/sonacore-analyser-dump-" + std::to_string(::getpid());
    std::vector<std::string> common{"--channels", std::to_string(channels), "--duration",
                                    std::to_string(seconds)};
    for (unsigned channel = 0; channel < channels; ++channel) {
        common.push_back("--channel-signal");
        common.push_back(std::to_string(channel) + "=" + signals[channel].text);
    }
    std::vector<std::string> levelTalker{"--source-mac", mac(levelKey), "--dump-samples", dumpPath};
    levelTalker.insert(levelTalker.end(), common.begin(), common.end());
    std::vector<std::string> spectrumTalker{"--source-mac", mac(spectrumKey)};
    spectrumTalker.insert(spectrumTalker.end(), common.begin(), common.end());
    testsupport::ChildProcess& levels = startTalker(levelTalker);
    testsupport::ChildProcess& spectra = startTalker(spectrumTalker);

    // While the talkers run, this thread's event loop delivers the results.
    ASSERT_TRUE(testsupport::spinUntil([&] { return levels.waitFor(0ms) && spectra.waitFor(0ms); }, 60s))
        << "the talkers did not end within 60 s";
    ASSERT_TRUE(talkerSucceeded(levels, 5s));
    ASSERT_TRUE(talkerSucceeded(spectra, 5s));

    // Every signal of the level stream is one trigger: the first builds the filters, every sixth after it
    // delivers. The spectrum stream delivers once per signal.
    const std::size_t signalsOfLevels = samplesPerChannel / levelSignaling;
    const std::size_t expectedLevels = (signalsOfLevels - 1) / 6;
    const std::size_t expectedSpectra = samplesPerChannel / spectrumSignaling;
    testsupport::spinUntil(
        [&] { return fewestLevels() >= expectedLevels && fewestSpectra() >= expectedSpectra; }, 10s);
    testsupport::spinFor(300ms);
    const std::string whereFrom = "\ntalker of the level stream:\n" + levels.output() +
                                  "\ntalker of the spectrum stream:\n" + spectra.output();

    std::string error;
    const std::vector<std::vector<float>> dumped = readDump(dumpPath, error);
    ::unlink(dumpPath.c_str());
    ASSERT_TRUE(error.empty()) << error;
    for (unsigned channel = 0; channel < channels; ++channel) {
        ASSERT_EQ(dumped[channel].size(), samplesPerChannel) << "channel " << channel << whereFrom;
        const ChannelResults& result = results[channel];
        EXPECT_EQ(result.levels.size(), expectedLevels) << "channel " << channel << whereFrom;
        EXPECT_EQ(result.peakBins.size(), expectedSpectra) << "channel " << channel << whereFrom;

        const std::vector<std::size_t> triggers(signalsOfLevels, levelSignaling);
        const std::vector<soundlevelreference::Levels> expected = soundlevelreference::expectedLevels(
            soundlevelreference::expectedBlocks(dumped[channel], triggers, levelSampleAmount));
        ASSERT_EQ(expected.size(), expectedLevels);
        for (std::size_t delivery = 0; delivery < std::min(expected.size(), result.levels.size());
             ++delivery) {
            ASSERT_EQ(result.levels[delivery].size(), soundlevelreference::valueCount);
            for (std::size_t value = 0; value < soundlevelreference::valueCount; ++value) {
                ASSERT_NEAR(static_cast<long double>(result.levels[delivery][value]),
                            expected[delivery][value], testsupport::tolerance::levelDecibels)
                    << "channel " << channel << ", delivery " << delivery << ", value " << value;
            }
        }

        EXPECT_EQ(result.spectrumBins, fftSize / 2) << "channel " << channel;
        if (signals[channel].binOfPeak >= 0.0L) {
            for (std::size_t delivery = 0; delivery < result.peakBins.size(); ++delivery) {
                ASSERT_EQ(result.peakBins[delivery], static_cast<std::size_t>(signals[channel].binOfPeak))
                    << "channel " << channel << ", spectrum " << delivery;
            }
        }
    }
}
