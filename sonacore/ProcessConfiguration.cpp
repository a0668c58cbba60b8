#include "sonacore/ProcessConfiguration.h"

#include "sonacore/ConfigurationRegistry.h"
#include "sonacore/Log.h"

#include <utility>

namespace sonacore {

IProcessConfiguration::~IProcessConfiguration() = default;

IProcessConfiguration*
IProcessConfiguration::createInstance(std::string name,
                                      iprocess::IProcessorConfigBase& processorConfiguration,
                                      std::string streamDevice, unsigned char audioChannel) {
    // Converted before allocating, so that a foreign object leaves the registry unchanged.
    auto& processor = dynamic_cast<process::ProcessorConfigBase&>(processorConfiguration);
    auto* configuration =
        new ProcessConfiguration(std::move(name), &processor, std::move(streamDevice), audioChannel);
    registry::processConfigurations.push_back(configuration);
    return configuration;
}

ProcessConfiguration::ProcessConfiguration(std::string name,
                                           process::ProcessorConfigBase* processorConfiguration,
                                           std::string streamDevice, std::uint8_t audioChannel)
    : ConfigurationData(std::move(name)), processorConfiguration(processorConfiguration),
      streamDevice(std::move(streamDevice)), audioChannel(audioChannel) {
    log::debug("ProcessConfiguration", "Object CREATED");
}

ProcessConfiguration::~ProcessConfiguration() = default;

std::string ProcessConfiguration::getName() const {
    return DataObjectBase::getName();
}

process::ProcessorConfigBase* ProcessConfiguration::getProcessorConfig() const {
    return processorConfiguration;
}

std::string ProcessConfiguration::getStreamDevice() const {
    return streamDevice;
}

std::uint8_t ProcessConfiguration::getAudioChannel() const {
    return audioChannel;
}

std::string ProcessConfiguration::toString() const {
    return DataObjectBase::toString() +
           "ProcessConfiguration: " + "\n\tReceives stream from device: " + streamDevice +
           "\n\tCalculates sample data from audio channel: " + std::to_string(audioChannel) + "\n" +
           processorConfiguration->toString();
}

} // namespace sonacore
