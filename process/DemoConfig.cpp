#include "process/DemoConfig.h"

#include "sonacore/ConfigurationRegistry.h"

#include <utility>

namespace sonacore::iprocess {

IDemoConfig::~IDemoConfig() = default;

IDemoConfig* IDemoConfig::createInstance(std::string name, std::uint32_t amplitude) {
    auto* configuration = new process::DemoConfig(std::move(name), amplitude);
    registry::demoConfigurations.push_back(configuration);
    return configuration;
}

} // namespace sonacore::iprocess

namespace process {

DemoConfig::DemoConfig() : DemoConfig("Demo Configuration", defaultAmplitude) {}

DemoConfig::DemoConfig(std::string name, std::uint32_t amplitude)
    : ProcessorConfigBase(std::move(name), demoProcessorType), amplitude(amplitude) {}

DemoConfig::~DemoConfig() = default;

DemoConfig& DemoConfig::fromBase(ProcessorConfigBase& configuration) {
    checkProcessorType(configuration, demoProcessorType);
    return dynamic_cast<DemoConfig&>(configuration);
}

std::string DemoConfig::getProcessorType() const {
    return ProcessorConfigBase::getProcessorType();
}

void DemoConfig::setAmplitude(std::uint32_t value) {
    amplitude.store(value);
}

std::uint32_t DemoConfig::getAmplitude() const {
    return amplitude.load();
}

std::string DemoConfig::toString() const {
    return "DemoConfig: " + getName() + "\n\tProcessor type: " + getProcessorType() +
           "\n\tAmplitude: " + std::to_string(getAmplitude());
}

} // namespace process
