#include "engine/processing/ProcessorEngine.h"

#include "engine/processing/ProcessorHandle.h"
#include "engine/processing/ProcessorSocket.h"
#include "exceptions/SonaCoreException.h"
#include "process/Processor.h"
#include "process/ProcessorConfigBase.h"
#include "sonacore/IProcessorHandle.h"
#include "sonacore/Log.h"
#include "sonacore/ProcessConfiguration.h"

#include <condition_variable>
#include <memory>
#include <mutex>

namespace engine::processing {

ProcessorEngine::ProcessorEngine() = default;

ProcessorEngine::~ProcessorEngine() {
    for (auto& [uniqueId, socket] : processorSockets) {
        socket.reset();
    }
    sonacore::log::debug("~ProcessorEngine", "Processor sockets cleared!");
    sonacore::log::debug("~ProcessorEngine", "Deleted!");
}

std::string ProcessorEngine::makeUniqueId(const sonacore::ProcessConfiguration& processConfiguration) {
    return processConfiguration.getProcessorConfig()->getProcessorType() + "_" +
           processConfiguration.getStreamDevice() + "_" +
           std::to_string(static_cast<unsigned>(processConfiguration.getAudioChannel()));
}

ProcessorHandle* ProcessorEngine::addProcessor(const sonacore::ProcessConfiguration& processConfiguration,
                                               avb::AvbAudioBuffer* buffer) {
    return addBuiltProcessor(
        processConfiguration,
        [this, buffer](const std::string& name, process::ProcessorConfigBase& configuration) {
            return processorFactory.createProcessor(name, configuration, *buffer);
        });
}

ProcessorHandle*
ProcessorEngine::addGeneratorProcessor(const sonacore::ProcessConfiguration& processConfiguration) {
    return addBuiltProcessor(
        processConfiguration, [this](const std::string& name, process::ProcessorConfigBase& configuration) {
            process::Processor* processor = processorFactory.createProcessor(name, configuration);
            // Before the socket opens the thread: the loop is entered only then.
            processor->start();
            return processor;
        });
}

ProcessorHandle* ProcessorEngine::addBuiltProcessor(
    const sonacore::ProcessConfiguration& processConfiguration,
    const std::function<process::Processor*(const std::string& name, process::ProcessorConfigBase&)>& build) {
    process::ProcessorConfigBase& configuration = *processConfiguration.getProcessorConfig();
    const std::string name = processConfiguration.getName();
    const std::string uniqueId = makeUniqueId(processConfiguration);

    if (processorSockets.find(uniqueId) != processorSockets.end()) {
        const std::string message =
            "Processor for the given process configuration '" + name + "' already exists";
        sonacore::log::warning("addProcessor", message, " by processor unique ID: ", uniqueId);
        throw exceptions::ProcessorAlreadyExists(message, uniqueId);
    }

    process::Processor* processor = build(name, configuration);
    auto* socket =
        processorSockets.emplace(uniqueId, std::make_unique<ProcessorSocket>(name, uniqueId, processor))
            .first->second.get();
    sonacore::log::debug("addProcessor", "Successfully added new Processor instance '", name,
                         "' for streaming device '", processConfiguration.getStreamDevice(),
                         "' processing channel: ", processConfiguration.getAudioChannel());
    return processorHandleManager.bindHandle(socket);
}

void ProcessorEngine::removeProcessor(sonacore::ihandles::IProcessorHandle* processorHandle) {
    const std::string uniqueId = processorHandle->getUniqueId();
    const auto found = processorSockets.find(uniqueId);
    if (found == processorSockets.end()) {
        sonacore::log::raise<exceptions::ResourceNotAvailable>(
            "removeProcessor", "ProcessorSocket for the given processor handle (unique ID '" + uniqueId +
                                   "') don't " + "exists! Processor cannot be removed");
    }
    // Unbinding first takes the handle's links away, so nothing reaches the socket while it ends.
    processorHandleManager.deactivateProcessorHandle(found->second.get());
    found->second.reset();
    processorSockets.erase(found);
}

process::ProcessConnection*
ProcessorEngine::getProcessConnection(sonacore::ihandles::IProcessorHandle* processorHandle) {
    const std::string uniqueId = processorHandle->getUniqueId();
    const auto found = processorSockets.find(uniqueId);
    if (found == processorSockets.end()) {
        sonacore::log::raise<exceptions::ResourceNotAvailable>(
            "getProcessConnection", "ProcessorSocket for the given processor handle unique ID '" + uniqueId +
                                        "' don't exists! Process connection cannot be found!");
    }
    return found->second->getProcessConnection();
}

void ProcessorEngine::stop() {
    processorHandleManager.stopAllHandles();
    sonacore::log::debug("stop", "Processor engine stopped!");
}

void ProcessorEngine::retireHandles() {
    processorHandleManager.retireAllHandles();
}

void ProcessorEngine::waitForProcessorsIdle(std::chrono::milliseconds limit) {
    // Each processor thread answers a queued marker once the event in hand is done; all are asked first, so
    // that they finish in parallel.
    struct Pending {
        std::mutex mutex;
        std::condition_variable answered;
        std::size_t count = 0;
    };
    const auto pending = std::make_shared<Pending>();
    for (const auto& [uniqueId, socket] : processorSockets) {
        if (socket == nullptr || socket->getProcessor() == nullptr || !socket->isWorkerThreadRunning()) {
            continue;
        }
        {
            std::lock_guard<std::mutex> lock(pending->mutex);
            ++pending->count;
        }
        QMetaObject::invokeMethod(
            socket->getProcessor(),
            [pending] {
                std::lock_guard<std::mutex> lock(pending->mutex);
                --pending->count;
                pending->answered.notify_all();
            },
            Qt::QueuedConnection);
    }
    std::unique_lock<std::mutex> lock(pending->mutex);
    pending->answered.wait_for(lock, limit, [&] { return pending->count == 0; });
}

ProcessorSocket* ProcessorEngine::findSocket(const std::string& uniqueId) const {
    const auto found = processorSockets.find(uniqueId);
    return found == processorSockets.end() ? nullptr : found->second.get();
}

} // namespace engine::processing
