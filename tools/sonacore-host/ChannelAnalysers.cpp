#include "ChannelAnalysers.h"

#include "sonacore/IChannelData.h"
#include "sonacore/IMeteringDataSource.h"
#include "sonacore/IProcessConfiguration.h"
#include "sonacore/IProcessorHandle.h"
#include "sonacore/ISonaCore.h"
#include "sonacore/ISoundLevelValueConfig.h"
#include "sonacore/ISpectrumConfig.h"

#include <algorithm>

namespace host {
namespace {

// The library turns a moving average of fewer spectra off.
constexpr std::size_t smallestWindow = 2;
// The library's processor reckons the time between two spectra under the buffer's signal in whole
// milliseconds of 48 samples.
constexpr std::uint64_t samplesPerMillisecond = 48;

} // namespace

ChannelAnalysers::ChannelAnalysers(ISonaCore& core, unsigned channel, const Settings& settings,
                                   DeliverySink& sink)
    : channelNumber(channel), sink(sink),
      readiness(settings.levelSamples, settings.order, settings.averaging,
                averagingWindow(settings.averagingMs, settings.clockPeriodMs, settings.signalingAmount)) {
    addLevelProcessor(core, settings);
    addSpectrumProcessor(core, settings);
}

std::size_t ChannelAnalysers::averagingWindow(std::uint64_t averagingMs, std::uint64_t clockPeriodMs,
                                              std::uint64_t signalingAmount) {
    const std::uint64_t interval = std::max<std::uint64_t>(
        clockPeriodMs > 0 ? clockPeriodMs : signalingAmount / samplesPerMillisecond, 1);
    return std::max<std::size_t>(static_cast<std::size_t>(averagingMs / interval), smallestWindow);
}

void ChannelAnalysers::addLevelProcessor(ISonaCore& core, const Settings& settings) {
    const std::string name = "level " + std::to_string(channelNumber);
    auto* level = sonacore::iprocess::ISoundLevelValueConfig::createInstance(name, settings.levelSamples);
    levelHandle = core.addProcessor(*sonacore::IProcessConfiguration::createInstance(
        name, *level, settings.deviceKey, static_cast<unsigned char>(channelNumber)));
    core.getMeteringDataSource(*levelHandle)->bindChannelCallback([this](sonacore::IChannelData& data) {
        levelArrived(data.getVectorData().getY());
    });
}

// By default a spectrum every 200 ms on the processor's own timer: 5 transforms of 16384 points and 5
// deliveries of 8192 bins a second per channel, where the buffer's signal every 480 samples would ask for 100
// of each, while the display shows no more than 10 a second.
void ChannelAnalysers::addSpectrumProcessor(ISonaCore& core, const Settings& settings) {
    const std::string name = "spectrum " + std::to_string(channelNumber);
    const unsigned long frameLength = 1ul << settings.order;
    spectrum =
        settings.clockPeriodMs > 0
            ? sonacore::iprocess::ISpectrumConfig::createInstance(name, frameLength, settings.clockPeriodMs)
            : sonacore::iprocess::ISpectrumConfig::createInstance(name, frameLength);
    spectrum->setFftOrder(settings.order);
    // Both forms of the window, since the processor applies the time and then the count as its notices
    // arrive, and a count left at its default would win.
    const std::size_t window = readiness.averaging().window;
    spectrum->setMovingAverageWindowLength(window * (settings.clockPeriodMs > 0
                                                         ? settings.clockPeriodMs
                                                         : settings.signalingAmount / samplesPerMillisecond));
    spectrum->setMovingAverageWindowSize(window);
    spectrum->setMovingAverageActivity(settings.averaging);
    spectrumHandle = core.addProcessor(*sonacore::IProcessConfiguration::createInstance(
        name, *spectrum, settings.deviceKey, static_cast<unsigned char>(channelNumber)));
    core.getMeteringDataSource(*spectrumHandle)->bindChannelCallback([this](sonacore::IChannelData& data) {
        spectrumArrived(data.getVectorData().getY());
    });
}

void ChannelAnalysers::start() {
    levelHandle->start();
}

void ChannelAnalysers::setFftOrder(std::size_t order) {
    // Stopped before the order changes, so that no calculation of the new order can start on a frame the
    // stream has not filled; one of the old order may still be under way, and its frame is full.
    if (readiness.orderChanged(order)) {
        spectrumHandle->stop();
    }
    spectrum->setFftOrder(order);
}

void ChannelAnalysers::setAveraging(bool on) {
    readiness.averagingChanged(on);
    spectrum->setMovingAverageActivity(on);
}

void ChannelAnalysers::levelArrived(const std::vector<double>& levels) {
    // The level is counted before the processor starts: once it is delivered, the buffer holds its samples.
    if (readiness.levelArrived()) {
        spectrumHandle->start();
    }
    sink.levels(channelNumber, levels);
}

void ChannelAnalysers::spectrumArrived(const std::vector<double>& power) {
    readiness.spectrumArrived(power.size());
    sink.spectrum(channelNumber, power);
}

} // namespace host
