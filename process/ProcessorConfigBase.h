#pragma once

#include "sonacore/ConfigurationData.h"
#include "sonacore/IProcessorConfigBase.h"

#include <string>

namespace process {

// Base of every analyser's settings: which kind of processor they are for, fixed at construction. The
// processor type is also the key under which the processor factory builds the processor.
class ProcessorConfigBase : public sonacore::ConfigurationData,
                            public sonacore::iprocess::IProcessorConfigBase {
    Q_OBJECT

public:
    ProcessorConfigBase(std::string name, std::string processorType);
    ~ProcessorConfigBase() override;

    std::string getProcessorType() const override;
    std::string toString() const override;

protected:
    // The check of every concrete class's fromBase: returns when the configuration is of neededType, and
    // otherwise logs a warning under "fromBase" and throws exceptions::InstanceNotConvertable with the text
    // "Argument from processor type '<type>' doesn't matchthe processor type '<neededType>' which is needed
    // for the convert progress!".
    static void checkProcessorType(const ProcessorConfigBase& configuration, const std::string& neededType);

    const std::string processorType;
};

} // namespace process
