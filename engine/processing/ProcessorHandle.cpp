#include "engine/processing/ProcessorHandle.h"

#include "sonacore/Log.h"

#include <utility>

namespace sonacore::ihandles {
IProcessorHandle::~IProcessorHandle() = default;
} // namespace sonacore::ihandles

namespace engine::processing {

namespace {
bool inactive() {
    return false;
}
} // namespace

ProcessorHandle::ProcessorHandle(std::string uniqueId, QObject* parent)
    : QObject(parent), uniqueId(std::move(uniqueId)), activityFunction(&inactive), handleBound(false) {
    sonacore::log::debug("ProcessorHandle", "Handle initialized!");
}

ProcessorHandle::~ProcessorHandle() = default;

void ProcessorHandle::start() {
    emit start(uniqueId);
}

void ProcessorHandle::stop() {
    emit stop(uniqueId);
}

bool ProcessorHandle::isActive() const {
    return activityFunction();
}

std::string ProcessorHandle::getUniqueId() const {
    return uniqueId;
}

bool ProcessorHandle::isBound() const {
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
    // The links call into a socket that is about to be deleted; without them a later start() or stop(), or
    // the engine's stop of every handle, reaches nothing instead of a dead socket. A handle bound again gets
    // fresh links from its new socket.
    disconnect(this, qOverload<std::string>(&ProcessorHandle::start), nullptr, nullptr);
    disconnect(this, qOverload<std::string>(&ProcessorHandle::stop), nullptr, nullptr);
    activityFunction = &inactive;
    sonacore::log::debug("setHandleBound", "Handle unbound!");
}

} // namespace engine::processing
