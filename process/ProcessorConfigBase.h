#pragma once

#include "sonacore/ConfigurationData.h"
#include "sonacore/IProcessorConfigBase.h"

#include <string>

namespace process {

// Base of every analyser's settings: which kind of processor they are for, fixed at construction.
class ProcessorConfigBase : public sonacore::ConfigurationData, public sonacore::iprocess::IProcessorConfigBase {
    Q_OBJECT

public:
    ProcessorConfigBase(std::string name, std::string processorType);
    ~ProcessorConfigBase() override;

    std::string getProcessorType() const override;
    std::string toString() const override;

protected:
    const std::string processorType;
};

} // namespace process
