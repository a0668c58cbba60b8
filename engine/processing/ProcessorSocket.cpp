#include "engine/processing/ProcessorSocket.h"

#include "engine/processing/ProcessorHandle.h"
#include "process/Processor.h"
#include "sonacore/Log.h"

#include <utility>

namespace engine::processing {

ProcessorSocket::ProcessorSocket(std::string name, std::string uniqueId, process::Processor* processor)
    : Controller(processor), name(std::move(name)), uniqueId(std::move(uniqueId)), processor(processor),
      processConnection(this->name) {
    // The processor lives on its worker thread from here on, so each result is queued to the connection,
    // which stays on this thread.
    resultLink = connect(processor, &process::Processor::newProcessData, &processConnection,
                         &process::ProcessConnection::signalToCallbackConnector, Qt::AutoConnection);
    sonacore::log::debug("ProcessorSocket", sonacore::log::name(this->name), "Created!");
}

// The members go before the Controller base ends the thread, so the links that lead into them are cut
// first: no result is queued to a connection being destroyed, and no handle reaches a processor on its way
// out. On the removal path the handle has been unbound already and its links are gone; on the engine's
// destruction it is still bound, and is made to answer false from here on.
ProcessorSocket::~ProcessorSocket() {
    disconnect(resultLink);
    disconnect(startLink);
    disconnect(stopLink);
    if (!boundHandle.isNull() && boundHandle->isBound()) {
        boundHandle->setActivityFunction([] { return false; });
    }
}

std::string ProcessorSocket::toString() const {
    return "ProcessorSocket: " + name + "\n" + processor->toString();
}

std::string ProcessorSocket::getName() const {
    return name;
}

std::string ProcessorSocket::getUniqueId() const {
    return uniqueId;
}

process::Processor* ProcessorSocket::getProcessor() const {
    return processor;
}

process::ProcessConnection* ProcessorSocket::getProcessConnection() {
    return &processConnection;
}

// The handle is the links' context, and the links are direct: the processor's start and stop run inside the
// handle's call, on the caller's thread. Comparing the unique ID lets one signal text serve every link.
void ProcessorSocket::setProcessorHandle(ProcessorHandle& handle) {
    process::Processor* const linkedProcessor = processor;
    handle.setActivityFunction([linkedProcessor] { return linkedProcessor->isActive(); });
    handle.setHandleBound(true);
    const std::string linkedId = uniqueId;
    startLink = connect(
        &handle, qOverload<std::string>(&ProcessorHandle::start), &handle,
        [linkedProcessor, linkedId](std::string id) {
            if (id == linkedId) {
                linkedProcessor->start();
            }
        },
        Qt::DirectConnection);
    stopLink = connect(
        &handle, qOverload<std::string>(&ProcessorHandle::stop), &handle,
        [linkedProcessor, linkedId](std::string id) {
            if (id == linkedId) {
                linkedProcessor->stop();
            }
        },
        Qt::DirectConnection);
    boundHandle = &handle;
}

} // namespace engine::processing
