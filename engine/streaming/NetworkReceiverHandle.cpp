#include "engine/streaming/NetworkReceiverHandle.h"

#include "sonacore/Log.h"
#include "sonacore/SonaCoreConstants.h"

#include <utility>

namespace sonacore::ihandles {
INetworkReceiverHandle::~INetworkReceiverHandle() = default;
} // namespace sonacore::ihandles

namespace engine::streaming {
namespace {

void warnRetired(const char* method, const std::string& receiverUid) {
    sonacore::log::warning(method, sonacore::log::name(receiverUid),
                           sonacore::constants::destroyedLibraryWarning);
}

} // namespace

NetworkReceiverHandle::NetworkReceiverHandle(std::string receiverUid, std::function<bool()> runningQuery,
                                             QObject* parent)
    : QObject(parent), receiverUid(std::move(receiverUid)), runningQuery(std::move(runningQuery)) {
    sonacore::log::debug("NetworkReceiverHandle", "Handle initialized!");
}

NetworkReceiverHandle::~NetworkReceiverHandle() = default;

void NetworkReceiverHandle::start() {
    if (retired) {
        warnRetired("start", receiverUid);
        return;
    }
    emit start(receiverUid);
}

void NetworkReceiverHandle::stop() {
    if (retired) {
        warnRetired("stop", receiverUid);
        return;
    }
    emit stop(receiverUid);
}

bool NetworkReceiverHandle::isRunning() const {
    if (retired) {
        warnRetired("isRunning", receiverUid);
        return false;
    }
    return runningQuery();
}

void NetworkReceiverHandle::retire() {
    disconnect(this, qOverload<std::string>(&NetworkReceiverHandle::start), nullptr, nullptr);
    disconnect(this, qOverload<std::string>(&NetworkReceiverHandle::stop), nullptr, nullptr);
    retired = true;
}

std::string NetworkReceiverHandle::getReceiverUid() const {
    return receiverUid;
}

std::string NetworkReceiverHandle::toString() const {
    return "NetworkReceiverHandle\n\tControlled Network Receiver UID: " + receiverUid;
}

} // namespace engine::streaming
