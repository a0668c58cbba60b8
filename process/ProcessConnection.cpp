#include "process/ProcessConnection.h"

#include "sonacore/Log.h"

#include <utility>

namespace process {

ProcessConnection::ProcessConnection(std::string name, QObject* parent)
    : QObject(parent), DataObjectBase(std::move(name)), callbackSet(false) {
    sonacore::log::debug("ProcessConnection", "Object created");
}

ProcessConnection::~ProcessConnection() = default;

void ProcessConnection::setCallbackMethod(std::function<void(sonacore::ChannelData&)> callback) {
    callbackMethod = std::move(callback);
    callbackSet = true;
    sonacore::log::debug("setCallbackMethod", "Callback initialized!");
}

void ProcessConnection::signalToCallbackConnector(sonacore::ChannelData channel) {
    if (!callbackSet) {
        sonacore::log::warning("signalToCallbackConnector",
                               "Callback not initialized! Please set a valid callback");
        return;
    }
    callbackMethod(channel);
}

} // namespace process
