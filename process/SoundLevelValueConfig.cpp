#include "process/SoundLevelValueConfig.h"

#include "sonacore/ConfigurationRegistry.h"
#include "sonacore/SonaCoreConstants.h"

#include <utility>

namespace sonacore::iprocess {

ISoundLevelValueConfig::~ISoundLevelValueConfig() = default;

ISoundLevelValueConfig* ISoundLevelValueConfig::createInstance(std::string name, unsigned long sampleAmount) {
    auto* configuration = new process::SoundLevelValueConfig(std::move(name), sampleAmount);
    registry::soundLevelValueConfigurations.push_back(configuration);
    return configuration;
}

ISoundLevelValueConfig* ISoundLevelValueConfig::createInstance(std::string name, unsigned long sampleAmount,
                                                               unsigned long refreshRate) {
    auto* configuration = new process::SoundLevelValueConfig(std::move(name), sampleAmount, refreshRate);
    registry::soundLevelValueConfigurations.push_back(configuration);
    return configuration;
}

} // namespace sonacore::iprocess

namespace process {

SoundLevelValueConfig::SoundLevelValueConfig(std::string name, std::size_t sampleAmount)
    : SampleProcessorConfigBase(std::move(name), sonacore::constants::soundLevelValueProcessor,
                                sampleAmount) {}

SoundLevelValueConfig::SoundLevelValueConfig(std::string name, std::size_t sampleAmount,
                                             std::size_t refreshRate)
    : SampleProcessorConfigBase(std::move(name), sonacore::constants::soundLevelValueProcessor, sampleAmount,
                                refreshRate) {}

SoundLevelValueConfig::~SoundLevelValueConfig() = default;

SoundLevelValueConfig& SoundLevelValueConfig::fromBase(ProcessorConfigBase& configuration) {
    checkProcessorType(configuration, sonacore::constants::soundLevelValueProcessor);
    return dynamic_cast<SoundLevelValueConfig&>(configuration);
}

std::string SoundLevelValueConfig::getProcessorType() const {
    return SampleProcessorConfigBase::getProcessorType();
}

std::uint64_t SoundLevelValueConfig::getRefreshRate() const {
    return SampleProcessorConfigBase::getRefreshRate();
}

void SoundLevelValueConfig::setRefreshRate(std::uint64_t refreshRate) {
    SampleProcessorConfigBase::setRefreshRate(refreshRate);
}

bool SoundLevelValueConfig::isInternalClock() const {
    return SampleProcessorConfigBase::isInternalClock();
}

std::uint64_t SoundLevelValueConfig::getSampleAmount() const {
    return SampleProcessorConfigBase::getSampleAmount();
}

void SoundLevelValueConfig::setSampleAmount(std::uint64_t sampleAmount) {
    SampleProcessorConfigBase::setSampleAmount(sampleAmount);
}

std::string SoundLevelValueConfig::getClockType() const {
    return SampleProcessorConfigBase::getClockType();
}

void SoundLevelValueConfig::setClockType(std::string clockType) {
    SampleProcessorConfigBase::setClockType(std::move(clockType));
}

// The map's key order, not the index, decides the order of the lines, so "dBFS" (index 6) comes between the
// dBC and the dBZ entries.
std::string SoundLevelValueConfig::toString() const {
    std::string text = SampleProcessorConfigBase::toString() +
                       "\n\tThe following sound level value types are being generated:";
    for (const auto& entry : sonacore::iprocess::soundLevelValueTypes) {
        text += "\n\t\t" + std::to_string(entry.second.identifier) + ": " + entry.second.longLabel;
    }
    return text;
}

} // namespace process
