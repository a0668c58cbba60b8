#include "process/ProcessorConfigBase.h"

#include <utility>

namespace sonacore::iprocess {
IProcessorConfigBase::~IProcessorConfigBase() = default;
} // namespace sonacore::iprocess

namespace process {

ProcessorConfigBase::ProcessorConfigBase(std::string name, std::string processorType)
    : ConfigurationData(std::move(name)), processorType(std::move(processorType)) {}

ProcessorConfigBase::~ProcessorConfigBase() = default;

std::string ProcessorConfigBase::getProcessorType() const {
    return processorType;
}

std::string ProcessorConfigBase::toString() const {
    return DataObjectBase::toString() + "\n\tProcessor type: " + processorType;
}

} // namespace process
