#include "sonacore/BaseMessage.h"

#include "sonacore/SonaCoreConstants.h"

#include <utility>

namespace sonacore {

namespace imessages {
IBaseMessage::~IBaseMessage() = default;
} // namespace imessages

BaseMessage::BaseMessage(std::string id, std::string type, std::string sender)
    : messageClass(constants::baseMessageWord), id(std::move(id)), type(std::move(type)),
      sender(std::move(sender)) {}

BaseMessage::~BaseMessage() = default;

std::string BaseMessage::getMessageClass() const {
    return messageClass;
}

std::string BaseMessage::getMessageId() const {
    return id;
}

std::string BaseMessage::getMessageType() const {
    return type;
}

std::string BaseMessage::getMessageSender() const {
    return sender;
}

std::string BaseMessage::getMessageText() const {
    return {};
}

std::string BaseMessage::toString() const {
    return "\n\tMessage ID: " + id + "\n\tMessage type: " + type + "\n\tMessage sender: " + sender;
}

} // namespace sonacore
