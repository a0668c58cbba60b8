#include "sonacore/StatusMessage.h"

#include "sonacore/SonaCoreConstants.h"

#include <utility>

namespace sonacore {

namespace imessages {
IStatusMessage::~IStatusMessage() = default;
} // namespace imessages

StatusMessage::StatusMessage(std::string id, std::string type, std::string sender, std::string text)
    : BaseMessage(std::move(id), std::move(type), std::move(sender)), text(std::move(text)) {
    messageClass = constants::statusMessageWord;
}

StatusMessage::~StatusMessage() = default;

// The interface of a status message repeats the base interface, so each operation is forwarded once here.
std::string StatusMessage::getMessageClass() const {
    return BaseMessage::getMessageClass();
}

std::string StatusMessage::getMessageId() const {
    return BaseMessage::getMessageId();
}

std::string StatusMessage::getMessageType() const {
    return BaseMessage::getMessageType();
}

std::string StatusMessage::getMessageSender() const {
    return BaseMessage::getMessageSender();
}

std::string StatusMessage::getMessageText() const {
    return text;
}

std::string StatusMessage::toString() const {
    return BaseMessage::toString() + "\n\tMessage: " + text;
}

std::string StatusMessage::getMessage() const {
    return text;
}

} // namespace sonacore
