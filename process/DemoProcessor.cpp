#include "process/DemoProcessor.h"

#include "process/DemoConfig.h"
#include "sonacore/ChannelData.h"
#include "sonacore/Log.h"
#include "sonacore/VectorData.h"

#include <chrono>
#include <cmath>
#include <thread>
#include <utility>

namespace process {

namespace {
// Both vectors begin with this element; the first delivery carries it in front of the first point.
constexpr double initialElement = 100.0;
} // namespace

Processor* DemoProcessor::create(std::string name, ProcessorConfigBase& configuration) {
    DemoConfig& demoConfig = DemoConfig::fromBase(configuration);
    return new DemoProcessor(std::move(name), &demoConfig, nullptr);
}

DemoProcessor::DemoProcessor(std::string name, DemoConfig* configuration, QObject* parent)
    : Processor("DemoProcessor (SinGen) - " + name, parent),
      demoConfiguration(configuration), xValues{initialElement}, yValues{initialElement}, phase(0.0),
      currentValue(0.0), passCounter(0) {}

DemoProcessor::~DemoProcessor() = default;

std::string DemoProcessor::toString() const {
    return Processor::toString() + "\n" + demoConfiguration->toString();
}

double DemoProcessor::getPhase() const {
    return phase;
}

void DemoProcessor::progress() {
    sonacore::log::debug("progress", sonacore::log::name(getWorkerName()), " Processor ACTIVE");
    while (isActive()) {
        runPass();
    }
    sonacore::log::debug("progress", sonacore::log::name(getWorkerName()), "Processor FINISHED");
    emit finished();
}

void DemoProcessor::runPass() {
    const double s = std::sin(phase);
    const std::uint32_t amplitude = demoConfiguration->getAmplitude();
    currentValue = static_cast<double>(amplitude) * s;
    // The x value is the phase after the step, the y value was taken before it; repeated addition, so the
    // x values carry the rounding of 0.1.
    phase = phase + phaseStep;
    xValues.push_back(phase);
    yValues.push_back(currentValue);
    // The counter is set back after every delivery, so this test never holds a pass back; it stays for a
    // generator that would deliver blocks of passes.
    const std::uint32_t previousPasses = passCounter++;
    if (previousPasses != 0) {
        return;
    }
    emit newProcessData(sonacore::ChannelData(getWorkerName(), sonacore::VectorData(xValues, yValues)));
    passCounter = 0;
    xValues.clear();
    yValues.clear();
    pauseAfterDelivery();
}

void DemoProcessor::pauseAfterDelivery() {
    std::this_thread::sleep_for(std::chrono::nanoseconds(pauseNanoseconds));
}

} // namespace process
