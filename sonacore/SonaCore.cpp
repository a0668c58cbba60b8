#include "sonacore/SonaCore.h"

#include "exceptions/SonaCoreException.h"
#include "pcapplus/PcapDeviceManager.h"
#include "sonacore/ChannelAmountChanged.h"
#include "sonacore/ConfigurationRegistry.h"
#include "sonacore/Log.h"
#include "version/VersionInfo.h"

#include <QCoreApplication>
#include <QMetaType>

#include <chrono>
#include <cstddef>
#include <utility>

// The library's static state, in the order it is built at load. Defined in one unit so that the order is
// fixed; the core is built last and ends first.
namespace {
version::VersionInfo versionInfo;
pcapplus::PcapDeviceManager deviceManager;
} // namespace

namespace sonacore::registry {
std::vector<StreamConfiguration*> streamConfigurations;
std::vector<ProcessConfiguration*> processConfigurations;
std::vector<DeviceConfiguration*> deviceConfigurations;
std::vector<BufferConfiguration*> bufferConfigurations;
std::vector<process::ProcessorConfigBase*> spectrumConfigurations;
std::vector<process::WaveformConfig*> waveformConfigurations;
std::vector<process::ProcessorConfigBase*> soundLevelValueConfigurations;
std::vector<process::DemoConfig*> demoConfigurations;
} // namespace sonacore::registry

namespace {
sonacore::SonaCore core;

// The entries are nulled, not erased: the registries keep their size, and a second call deletes nothing.
const std::string addingRefusal = "no stream or processor can be added any more";

template <typename T> void deleteAll(std::vector<T*>& objects) {
    for (T*& object : objects) {
        if (object != nullptr) {
            delete object;
            object = nullptr;
        }
    }
}
} // namespace

ISonaCore::~ISonaCore() = default;

ISonaCore* ISonaCore::createInstance() {
    return &core;
}

sonacore::IVersionInfo* ISonaCore::getVersion() {
    return &versionInfo;
}

void ISonaCore::destroy() {
    core.destroy();
}

sonacore::INetworkDeviceManager* sonacore::INetworkDeviceManager::createInstance() {
    return &deviceManager;
}

namespace sonacore {

SonaCore::SonaCore() : QObject(nullptr) {
    registerMetaTypes();
    connect(&streamingEngine, &engine::streaming::StreamingEngine::message, this, &SonaCore::relayMessage,
            Qt::AutoConnection);
    // A host that ends without destroy() must not hang at exit: capture loops hold threads of the global
    // pool, which waits for them as the application ends. Stopping never blocks.
    qAddPostRoutine([] { core.stopEngines(); });
}

SonaCore::~SonaCore() {
    log::debug("~SonaCore", "Destructor called!");
    for (auto& [uniqueId, source] : meteringDataSources) {
        source.reset();
    }
    log::debug("~SonaCore", "Metering data sources cleared!");
}

void SonaCore::stopEngines() {
    processorEngine.stop();
    streamingEngine.stop();
}

void SonaCore::registerMetaTypes() {
    qRegisterMetaType<std::size_t>("std::size_t");
    qRegisterMetaType<std::string>("std::string");
    qRegisterMetaType<ChannelData>("sonacore::ChannelData");
    qRegisterMetaType<std::shared_ptr<BaseMessage>>("std::shared_ptr<sonacore::BaseMessage>");
    // The name lacks its closing angle bracket; signals are declared against exactly this name.
    qRegisterMetaType<std::shared_ptr<ChannelAmountChanged>>(
        "std::shared_ptr<sonacore::ChannelAmountChanged");
}

template <typename Exception>
void SonaCore::refuseAfterDestroy(const char* method, const std::string& text) const {
    if (destroyed) {
        log::raise<Exception>(method, "The library has been destroyed, so " + text);
    }
}

ihandles::INetworkReceiverHandle*
SonaCore::addRemoteStreamReceiver(IStreamConfiguration& streamConfiguration) {
    // Checked before the argument is touched: the configuration it names may be deleted already.
    refuseAfterDestroy<exceptions::InstanceNotCreateable>("addRemoteStreamReceiver", addingRefusal);
    auto& configuration = dynamic_cast<StreamConfiguration&>(streamConfiguration);
    streamingEngine.addRemoteStreamReceiver(configuration);
    return &streamingEngine.getNetworkDeviceHandle(configuration.getNetworkDeviceInfo()->getDeviceName());
}

ihandles::IProcessorHandle* SonaCore::addProcessor(IProcessConfiguration& processConfiguration) {
    refuseAfterDestroy<exceptions::InstanceNotCreateable>("addProcessor", addingRefusal);
    // The buffer is looked up first, so that an unknown device or channel throws before anything exists.
    avb::AvbAudioBuffer* buffer = streamingEngine.getAudioBuffer(processConfiguration.getStreamDevice(),
                                                                 processConfiguration.getAudioChannel());
    auto& configuration = dynamic_cast<ProcessConfiguration&>(processConfiguration);
    engine::processing::ProcessorHandle* handle = processorEngine.addProcessor(configuration, buffer);
    attachMeteringDataSource(configuration, handle);
    return handle;
}

ihandles::IProcessorHandle* SonaCore::addGeneratorProcessor(IProcessConfiguration& processConfiguration) {
    refuseAfterDestroy<exceptions::InstanceNotCreateable>("addGeneratorProcessor", addingRefusal);
    auto& configuration = dynamic_cast<ProcessConfiguration&>(processConfiguration);
    engine::processing::ProcessorHandle* handle = processorEngine.addGeneratorProcessor(configuration);
    attachMeteringDataSource(configuration, handle);
    return handle;
}

void SonaCore::attachMeteringDataSource(const ProcessConfiguration& configuration,
                                        engine::processing::ProcessorHandle* handle) {
    auto source = std::make_unique<MeteringDataSource>(configuration.getName());
    processorEngine.getProcessConnection(handle)->setCallbackMethod(source->getChannelCallback());
    const auto [entry, inserted] = meteringDataSources.try_emplace(handle->getUniqueId(), std::move(source));
    static_cast<void>(entry);
    if (!inserted) {
        unmappedSources.push_back(std::move(source));
    }
}

void SonaCore::removeProcessor(ihandles::IProcessorHandle& processorHandle) {
    // The metering source stays in the map: it lives on until the core ends.
    static_cast<void>(dynamic_cast<engine::processing::ProcessorHandle&>(processorHandle));
    refuseAfterDestroy<exceptions::ResourceNotAvailable>(
        "removeProcessor",
        "processor handle unique ID '" + processorHandle.getUniqueId() + "' has no processor to remove");
    processorEngine.removeProcessor(&processorHandle);
}

IMeteringDataSource* SonaCore::getMeteringDataSource(ihandles::IProcessorHandle& processorHandle) {
    const std::string uniqueId = processorHandle.getUniqueId();
    refuseAfterDestroy<exceptions::ResourceNotAvailable>(
        "getMeteringDataSource",
        "no MeteringDataSource is available for processor handle unique ID: " + uniqueId);
    const auto found = meteringDataSources.find(uniqueId);
    if (found == meteringDataSources.end()) {
        log::raise<exceptions::ResourceNotAvailable>(
            "getMeteringDataSource",
            "The requested MeteringDataSource is not available for processor handle unique ID: " + uniqueId);
    }
    return found->second.get();
}

void SonaCore::setPerAdapterCapture(bool enabled) {
    streamingEngine.setPerAdapterCapture(enabled);
}

void SonaCore::setMessageReceiver(std::function<void(std::shared_ptr<imessages::IBaseMessage>)> receiver) {
    // Swapping releases the previous receiver when the argument goes out of scope.
    std::swap(messageReceiver, receiver);
    log::debug("setMessageReceiver", "Successfully registered the main application message receiver");
}

void SonaCore::relayMessage(std::shared_ptr<BaseMessage> message) {
    if (!messageReceiver) {
        return;
    }
    messageReceiver(std::move(message));
}

void SonaCore::destroy() {
    log::debug("destroy", "SonaCore data will be deleted!");
    stopEngines();
    // A stopped capture loop may still be writing its last frame into a buffer whose settings are deleted
    // below, so the deletions wait for every loop to return.
    streamingEngine.waitForCaptureEnd();
    // Likewise a stopped processor may be in the middle of a calculation that reads its configuration.
    processorEngine.waitForProcessorsIdle(std::chrono::seconds(5));
    // Handles and sources that the host keeps must not reach what is deleted below.
    destroyed = true;
    processorEngine.retireHandles();
    streamingEngine.retireHandles();
    for (auto& [uniqueId, source] : meteringDataSources) {
        source->retire();
    }
    for (auto& source : unmappedSources) {
        source->retire();
    }
    // Each kind goes before the kinds it refers to: stream before device, process before processor
    // configurations, device before buffer.
    log::debug("destroy", "Deleting stream configurations...");
    deleteAll(registry::streamConfigurations);
    log::debug("destroy", "Deleting processor configurations...");
    deleteAll(registry::processConfigurations);
    log::debug("destroy", "Deleting device configurations...");
    deleteAll(registry::deviceConfigurations);
    log::debug("destroy", "Deleting spectrum processor configurations...");
    deleteAll(registry::spectrumConfigurations);
    log::debug("destroy", "Deleting waveform processor configurations...");
    deleteAll(registry::waveformConfigurations);
    log::debug("destroy", "Deleting sound level value processor configurations...");
    deleteAll(registry::soundLevelValueConfigurations);
    // The sine generator's settings go with the other processor settings, without a line of their own, so
    // that the tear-down reads the same to hosts that never make one.
    deleteAll(registry::demoConfigurations);
    log::debug("destroy", "Deleting buffer configurations...");
    deleteAll(registry::bufferConfigurations);
}

} // namespace sonacore
