#pragma once

#include "sonacore/ConfigurationData.h"
#include "sonacore/IBufferConfiguration.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace sonacore {

// The size of a device's audio buffers and the amount of written samples after which they signal.
// Lives on the host's thread; the setter emits configurationChanged("SignalingSampleAmountChnaged") there,
// and buffers on the capture thread receive it queued.
class BufferConfiguration : public ConfigurationData, public IBufferConfiguration {
    Q_OBJECT

public:
    // Throws exceptions::InstanceNotCreateable, after a warning with the same text, for a bufferSize of 0.
    BufferConfiguration(std::string name, std::uint64_t bufferSize,
                        std::uint64_t clockSignalingSampleAmount = 0);
    ~BufferConfiguration() override;

    std::uint64_t getBufferSize() const override;
    std::uint64_t getClockSignalingSampleAmount() const override;
    void setClockSignalingSampleAmount(std::uint64_t amount) override;
    bool isClockSignalingActive() const override;
    std::string toString() const override;

private:
    std::uint64_t bufferSize;
    // Set on the host's thread and read by the capture thread at every written sample.
    std::atomic<std::uint64_t> clockSignalingSampleAmount;
};

} // namespace sonacore
