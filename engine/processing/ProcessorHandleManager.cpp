#include "engine/processing/ProcessorHandleManager.h"

#include "engine/processing/ProcessorHandle.h"
#include "engine/processing/ProcessorSocket.h"
#include "exceptions/SonaCoreException.h"
#include "sonacore/Log.h"

namespace engine::processing {

ProcessorHandleManager::ProcessorHandleManager() = default;

ProcessorHandleManager::~ProcessorHandleManager() {
    for (auto& [uniqueId, handle] : processorHandles) {
        handle.reset();
    }
    sonacore::log::debug("~ProcessorHandleManager", "Processor handles cleared!");
    sonacore::log::debug("~ProcessorHandleManager", "Deleted!");
}

ProcessorHandle* ProcessorHandleManager::bindHandle(ProcessorSocket* socket) {
    if (processorHandles.find(socket->getUniqueId()) == processorHandles.end()) {
        return addHandle(socket);
    }
    return enableHandle(socket);
}

ProcessorHandle* ProcessorHandleManager::addHandle(ProcessorSocket* socket) {
    const std::string uniqueId = socket->getUniqueId();
    auto* handle = (processorHandles[uniqueId] = std::make_unique<ProcessorHandle>(uniqueId, nullptr)).get();
    socket->setProcessorHandle(*handle);
    sonacore::log::debug("addHandle", "Created new Processor handle with unique ID '", uniqueId,
                         "' and added to processor socket: ", socket->getName());
    return handle;
}

ProcessorHandle* ProcessorHandleManager::enableHandle(ProcessorSocket* socket) {
    const std::string uniqueId = socket->getUniqueId();
    ProcessorHandle* handle = processorHandles.at(uniqueId).get();
    if (handle->isBound()) {
        sonacore::log::raise<exceptions::ResourceNotAvailable>(
            "enableHandle", "Processor handle with unique ID '" + uniqueId + "' is already bound and " +
                                "cannot be bind to processor socket: " + socket->getName());
    }
    socket->setProcessorHandle(*handle);
    sonacore::log::debug("enableHandle", "Processor handle with unique ID '", uniqueId,
                         "' reactivated to processor socket: ", socket->getName());
    return handle;
}

bool ProcessorHandleManager::deactivateProcessorHandle(ProcessorSocket* socket) {
    const std::string uniqueId = socket->getUniqueId();
    const auto found = processorHandles.find(uniqueId);
    if (found == processorHandles.end()) {
        sonacore::log::warning(
            "deactivateProcessorHandle", "Processor handle with unique ID '", uniqueId,
            "' is not available and cannot be deactiaved by processor socket: ", socket->getName());
        return false;
    }
    found->second->setHandleBound(false);
    sonacore::log::debug("deactivateProcessorHandle", "Processor handle with unique ID '", uniqueId,
                         "' is unbound now!");
    return true;
}

void ProcessorHandleManager::stopAllHandles() {
    for (const auto& [uniqueId, handle] : processorHandles) {
        // A retired handle reaches nothing, and would only warn: the engine stops again at exit.
        if (!handle->isRetired()) {
            handle->stop();
        }
    }
}

void ProcessorHandleManager::retireAllHandles() {
    for (const auto& [uniqueId, handle] : processorHandles) {
        handle->retire();
    }
}

ProcessorHandle* ProcessorHandleManager::findHandle(const std::string& uniqueId) const {
    const auto found = processorHandles.find(uniqueId);
    return found == processorHandles.end() ? nullptr : found->second.get();
}

std::string ProcessorHandleManager::toString() const {
    std::string text = "ProcessorHandleManager\n\tList of managed processor handles (UID's):\n";
    for (const auto& [uniqueId, handle] : processorHandles) {
        text += "\t\t" + uniqueId + "\n";
    }
    return text;
}

} // namespace engine::processing
