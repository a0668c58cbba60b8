#pragma once

#include "process/ProcessorConfigBase.h"
#include "sonacore/ConfigurationData.h"
#include "sonacore/IProcessConfiguration.h"

#include <cstdint>
#include <string>

namespace sonacore {

// Ties a processor configuration (referred to, not owned) to one channel of one streaming device.
class ProcessConfiguration : public ConfigurationData, public IProcessConfiguration {
    Q_OBJECT

public:
    ProcessConfiguration(std::string name, process::ProcessorConfigBase* processorConfiguration,
                         std::string streamDevice, std::uint8_t audioChannel);
    ~ProcessConfiguration() override;

    std::string getName() const override;
    process::ProcessorConfigBase* getProcessorConfig() const override;
    std::string getStreamDevice() const override;
    std::uint8_t getAudioChannel() const override;
    std::string toString() const override;

private:
    process::ProcessorConfigBase* processorConfiguration;
    std::string streamDevice;
    std::uint8_t audioChannel;
};

} // namespace sonacore
