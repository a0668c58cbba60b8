#include "process/WaveformConfig.h"

#include "sonacore/ConfigurationRegistry.h"
#include "sonacore/SonaCoreConstants.h"

#include <utility>

namespace sonacore::iprocess {

IWaveformConfig::~IWaveformConfig() = default;

IWaveformConfig* IWaveformConfig::createInstance(std::string name, unsigned long sampleAmount) {
    auto* configuration = new process::WaveformConfig(std::move(name), sampleAmount);
    registry::waveformConfigurations.push_back(configuration);
    return configuration;
}

IWaveformConfig* IWaveformConfig::createInstance(std::string name, unsigned long sampleAmount,
                                                 unsigned long refreshRate) {
    auto* configuration = new process::WaveformConfig(std::move(name), sampleAmount, refreshRate);
    registry::waveformConfigurations.push_back(configuration);
    return configuration;
}

} // namespace sonacore::iprocess

namespace process {

WaveformConfig::WaveformConfig(std::string name, std::size_t sampleAmount)
    : SampleProcessorConfigBase(std::move(name), sonacore::constants::waveformProcessor, sampleAmount) {}

WaveformConfig::WaveformConfig(std::string name, std::size_t sampleAmount, std::size_t refreshRate)
    : SampleProcessorConfigBase(std::move(name), sonacore::constants::waveformProcessor, sampleAmount,
                                refreshRate) {}

WaveformConfig::~WaveformConfig() = default;

WaveformConfig& WaveformConfig::fromBase(ProcessorConfigBase& configuration) {
    checkProcessorType(configuration, sonacore::constants::waveformProcessor);
    return dynamic_cast<WaveformConfig&>(configuration);
}

std::string WaveformConfig::getProcessorType() const {
    return SampleProcessorConfigBase::getProcessorType();
}

std::uint64_t WaveformConfig::getRefreshRate() const {
    return SampleProcessorConfigBase::getRefreshRate();
}

void WaveformConfig::setRefreshRate(std::uint64_t refreshRate) {
    SampleProcessorConfigBase::setRefreshRate(refreshRate);
}

bool WaveformConfig::isInternalClock() const {
    return SampleProcessorConfigBase::isInternalClock();
}

std::uint64_t WaveformConfig::getSampleAmount() const {
    return SampleProcessorConfigBase::getSampleAmount();
}

void WaveformConfig::setSampleAmount(std::uint64_t sampleAmount) {
    SampleProcessorConfigBase::setSampleAmount(sampleAmount);
}

std::string WaveformConfig::getClockType() const {
    return SampleProcessorConfigBase::getClockType();
}

void WaveformConfig::setClockType(std::string clockType) {
    SampleProcessorConfigBase::setClockType(std::move(clockType));
}

std::string WaveformConfig::toString() const {
    return getProcessorType() + ": " + getName() + "\n" + SampleProcessorConfigBase::toString();
}

} // namespace process
