#pragma once

#include "process/ProcessorConfigBase.h"
#include "sonacore/IDemoConfig.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace process {

// The settings of the sine generator; processor type "DemoProcessor". Hosts make one through
// IDemoConfig::createInstance, which enters it in the demo registry.
//
// Thread affinity: set on the host's thread; the amplitude is read by the generator on its worker thread at
// every pass, so it is atomic. Setting it sends no notice.
class DemoConfig : public ProcessorConfigBase, public sonacore::iprocess::IDemoConfig {
    Q_OBJECT

public:
    // The processor type of the sine generator.
    static constexpr const char* demoProcessorType = "DemoProcessor";
    static constexpr std::uint32_t defaultAmplitude = 2;

    // Name "Demo Configuration", amplitude 2.
    DemoConfig();
    DemoConfig(std::string name, std::uint32_t amplitude);
    ~DemoConfig() override;

    // The same object as a DemoConfig. A configuration of another processor type is warned about and throws
    // exceptions::InstanceNotConvertable; one that claims the type but is of another class throws
    // std::bad_cast.
    static DemoConfig& fromBase(ProcessorConfigBase& configuration);

    std::string getProcessorType() const override;
    void setAmplitude(std::uint32_t amplitude) override;
    std::uint32_t getAmplitude() const override;
    // "DemoConfig: <name>\n\tProcessor type: DemoProcessor\n\tAmplitude: <amplitude>".
    std::string toString() const override;

private:
    std::atomic<std::uint32_t> amplitude;
};

} // namespace process
