#include "engine/processing/ProcessorHandle.h"

#include "sonacore/Log.h"
#include "sonacore/SonaCoreConstants.h"

#include <utility>

namespace sonacore::ihandles {
IProcessorHandle::~IProcessorHandle() = default;
} // namespace sonacore::ihandles

namespace engine::processing {

namespace {
bool inactive() {
    return false;
}

void warnRetired(const char* method, const std::string& uniqueId) {
    sonacore::log::warning(method, sonacore::log::name(uniqueId),
                           sonacore::constants::destroyedLibraryWarning);
}
} // namespace

ProcessorHandle::ProcessorHandle(std::string uniqueId, QObject* parent)
    : QObject(parent), uniqueId(std::move(uniqueId)), activityFunction(&inactive), handleBound(false) {
    sonacore::log::debug("ProcessorHandle", "Handle initialized!");
}

ProcessorHandle::~ProcessorHandle() = default;

void ProcessorHandle::start() {
    if (retired) {
        warnRetired("start", uniqueId);
        return;
    }
    emit start(uniqueId);
}

void ProcessorHandle::stop() {
    if (retired) {
        warnRetired("stop", uniqueId);
        return;
    }
    emit stop(uniqueId);
}

bool ProcessorHandle::isActive() const {
    if (retired) {
        warnRetired("isActive", uniqueId);
        return false;
    }
    return activityFunction();
}

std::string ProcessorHandle::getUniqueId() const {
    return uniqueId;
}

bool ProcessorHandle::isBound() const {
    if (retired) {
        warnRetired("isBound", uniqueId);
        return false;
    }
    return handleBound;
}

std::string ProcessorHandle::toString() const {
    return "ProcessorHandle\n\tControlled Processor UID: " + uniqueId;
}

void ProcessorHandle::setActivityFunction(std::function<bool()> function) {
    activityFunction = std::move(function);
}

void ProcessorHandle::setHandleBound(bool bound) {
    handleBound = bound;
    if (bound) {
        return;
    }
    unlink();
    sonacore::log::debug("setHandleBound", "Handle unbound!");
}

void ProcessorHandle::retire() {
    // The processor stays in place, stopped, but the settings it would start with are deleted next: no path
    // from the handle may reach it again.
    handleBound = false;
    unlink();
    retired = true;
}

void ProcessorHandle::unlink() {
    // The links call into a socket that is about to be deleted; without them a later start() or stop(), or
    // the engine's stop of every handle, reaches nothing instead of a dead socket. A handle bound again gets
    // fresh links from its new socket.
    disconnect(this, qOverload<std::string>(&ProcessorHandle::start), nullptr, nullptr);
    disconnect(this, qOverload<std::string>(&ProcessorHandle::stop), nullptr, nullptr);
    activityFunction = &inactive;
}

} // namespace engine::processing
