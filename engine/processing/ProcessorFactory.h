#pragma once

#include <functional>
#include <map>
#include <string>

namespace avb {
class AvbAudioBuffer;
} // namespace avb

namespace process {
class Processor;
class ProcessorConfigBase;
} // namespace process

namespace engine::processing {

// Turns a processor type text into a processor. It has no state: its two definition tables are shared by
// the whole library and filled once at load, one for processors that work on an audio buffer and one for
// those without.
class ProcessorFactory {
public:
    using DefinitionWithBuffer =
        std::function<process::Processor*(std::string, process::ProcessorConfigBase&, avb::AvbAudioBuffer&)>;
    using Definition = std::function<process::Processor*(std::string, process::ProcessorConfigBase&)>;

    ProcessorFactory();
    ~ProcessorFactory();

    // A new processor of the configuration's type on the buffer, complete (its configuration replayed) and
    // without a parent; the caller takes it over. An unknown type is warned about under "createProcessor"
    // and throws exceptions::InstanceNotCreateable with "There is no definition available to build a
    // processor of type: <type>"; a configuration of another class throws exceptions::InstanceNotConvertable.
    process::Processor* createProcessor(std::string name, process::ProcessorConfigBase& configuration,
                                        avb::AvbAudioBuffer& buffer);
    // The same for processors without a buffer.
    process::Processor* createProcessor(std::string name, process::ProcessorConfigBase& configuration);

    static const std::map<std::string, DefinitionWithBuffer>& definitionsWithBuffer();
    static const std::map<std::string, Definition>& definitions();
};

} // namespace engine::processing
