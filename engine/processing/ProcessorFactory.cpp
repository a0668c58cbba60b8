#include "engine/processing/ProcessorFactory.h"

#include "exceptions/SonaCoreException.h"
#include "process/DemoConfig.h"
#include "process/DemoProcessor.h"
#include "process/ProcessorConfigBase.h"
#include "process/SoundLevelValueProcessor.h"
#include "process/SpectrumProcessor.h"
#include "process/WaveformProcessor.h"
#include "sonacore/Log.h"
#include "sonacore/SonaCoreConstants.h"

#include <utility>

namespace engine::processing {

namespace {

// Each definition wraps the creation function kept with its processor class.
const std::map<std::string, ProcessorFactory::DefinitionWithBuffer> tableWithBuffer{
    {sonacore::constants::waveformProcessor, &process::WaveformProcessor::create},
    {sonacore::constants::spectrumProcessor, &process::SpectrumProcessor::create},
    {sonacore::constants::soundLevelValueProcessor, &process::SoundLevelValueProcessor::create},
};

// Processors without a buffer: sources of their own, reached through the engine's generator path.
const std::map<std::string, ProcessorFactory::Definition> tableWithoutBuffer{
    {process::DemoConfig::demoProcessorType, &process::DemoProcessor::create},
};

[[noreturn]] void unknownType(const std::string& processorType) {
    sonacore::log::raise<exceptions::InstanceNotCreateable>(
        "createProcessor", "There is no definition available to build a processor of type: " + processorType);
}

} // namespace

ProcessorFactory::ProcessorFactory() = default;

ProcessorFactory::~ProcessorFactory() = default;

process::Processor* ProcessorFactory::createProcessor(std::string name,
                                                      process::ProcessorConfigBase& configuration,
                                                      avb::AvbAudioBuffer& buffer) {
    const std::string processorType = configuration.getProcessorType();
    const auto found = tableWithBuffer.find(processorType);
    if (found == tableWithBuffer.end()) {
        unknownType(processorType);
    }
    return found->second(std::move(name), configuration, buffer);
}

process::Processor* ProcessorFactory::createProcessor(std::string name,
                                                      process::ProcessorConfigBase& configuration) {
    const std::string processorType = configuration.getProcessorType();
    const auto found = tableWithoutBuffer.find(processorType);
    if (found == tableWithoutBuffer.end()) {
        unknownType(processorType);
    }
    return found->second(std::move(name), configuration);
}

const std::map<std::string, ProcessorFactory::DefinitionWithBuffer>&
ProcessorFactory::definitionsWithBuffer() {
    return tableWithBuffer;
}

const std::map<std::string, ProcessorFactory::Definition>& ProcessorFactory::definitions() {
    return tableWithoutBuffer;
}

} // namespace engine::processing
