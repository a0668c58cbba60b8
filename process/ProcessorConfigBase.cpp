#include "process/ProcessorConfigBase.h"

#include "exceptions/SonaCoreException.h"
#include "sonacore/Log.h"

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

void ProcessorConfigBase::checkProcessorType(const ProcessorConfigBase& configuration,
                                             const std::string& neededType) {
    const std::string givenType = configuration.getProcessorType();
    if (givenType == neededType) {
        return;
    }
    // The two halves meet without a space; hosts may compare the text as it is.
    sonacore::log::raise<exceptions::InstanceNotConvertable>(
        "fromBase", "Argument from processor type '" + givenType + "' doesn't match" +
                        "the processor type '" + neededType + "' which is needed for the convert progress!");
}

} // namespace process
