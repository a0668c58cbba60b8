#pragma once

#include "process/DemoConfig.h"
#include "process/ProcessorConfigBase.h"
#include "process/WaveformConfig.h"
#include "sonacore/BufferConfiguration.h"
#include "sonacore/DeviceConfiguration.h"
#include "sonacore/ProcessConfiguration.h"
#include "sonacore/StreamConfiguration.h"

#include <vector>

// The owners of every configuration object a host creates. Each factory appends its new object to one of
// them; ISonaCore::destroy() deletes their objects. They belong to the host's thread and have no lock.
namespace sonacore::registry {

extern std::vector<StreamConfiguration*> streamConfigurations;
extern std::vector<ProcessConfiguration*> processConfigurations;
extern std::vector<DeviceConfiguration*> deviceConfigurations;
extern std::vector<BufferConfiguration*> bufferConfigurations;
extern std::vector<process::ProcessorConfigBase*> spectrumConfigurations;
extern std::vector<process::WaveformConfig*> waveformConfigurations;
extern std::vector<process::ProcessorConfigBase*> soundLevelValueConfigurations;
// Sine generator settings, made by IDemoConfig::createInstance.
extern std::vector<process::DemoConfig*> demoConfigurations;

} // namespace sonacore::registry
