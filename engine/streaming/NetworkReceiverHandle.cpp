#include "engine/streaming/NetworkReceiverHandle.h"

#include "sonacore/Log.h"

#include <utility>

namespace sonacore::ihandles {
INetworkReceiverHandle::~INetworkReceiverHandle() = default;
} // namespace sonacore::ihandles

namespace engine::streaming {

NetworkReceiverHandle::NetworkReceiverHandle(std::string receiverUid, std::function<bool()> runningQuery,
                                             QObject* parent)
    : QObject(parent), receiverUid(std::move(receiverUid)), runningQuery(std::move(runningQuery)) {
    sonacore::log::debug("NetworkReceiverHandle", "Handle initialized!");
}

NetworkReceiverHandle::~NetworkReceiverHandle() = default;

void NetworkReceiverHandle::start() {
    emit start(receiverUid);
}

void NetworkReceiverHandle::stop() {
    emit stop(receiverUid);
}

bool NetworkReceiverHandle::isRunning() const {
    return runningQuery();
}

std::string NetworkReceiverHandle::getReceiverUid() const {
    return receiverUid;
}

std::string NetworkReceiverHandle::toString() const {
    return "NetworkReceiverHandle\n\tControlled Network Receiver UID: " + receiverUid;
}

} // namespace engine::streaming
