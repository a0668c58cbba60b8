#include "sonacore/ChannelAmountChanged.h"

#include "sonacore/SonaCoreConstants.h"

#include <string>
#include <utility>

namespace sonacore {

namespace imessages {
IChannelAmountChanged::~IChannelAmountChanged() = default;
} // namespace imessages

ChannelAmountChanged::ChannelAmountChanged(std::string id, std::string type, std::string sender,
                                           std::uint32_t configuredAmount, std::uint32_t amountBefore,
                                           std::uint32_t amountAfter)
    : BaseMessage(std::move(id), std::move(type), std::move(sender)), configuredAmount(configuredAmount),
      amountBefore(amountBefore), amountAfter(amountAfter) {
    messageClass = constants::channelAmountChangedWord;
}

ChannelAmountChanged::~ChannelAmountChanged() = default;

std::string ChannelAmountChanged::getMessageClass() const {
    return BaseMessage::getMessageClass();
}

std::string ChannelAmountChanged::getMessageId() const {
    return BaseMessage::getMessageId();
}

std::string ChannelAmountChanged::getMessageType() const {
    return BaseMessage::getMessageType();
}

std::string ChannelAmountChanged::getMessageSender() const {
    return BaseMessage::getMessageSender();
}

std::string ChannelAmountChanged::getMessageText() const {
    return BaseMessage::getMessageText();
}

std::string ChannelAmountChanged::toString() const {
    return BaseMessage::toString() + "\n\tChannel amount before the change: " + std::to_string(amountBefore) +
           "\n\tChannel amount after the change: " + std::to_string(amountAfter);
}

std::uint32_t ChannelAmountChanged::getConfiguredChannelAmount() const {
    return configuredAmount;
}

std::uint32_t ChannelAmountChanged::getChannelAmountBefore() const {
    return amountBefore;
}

std::uint32_t ChannelAmountChanged::getChannelAmountAfter() const {
    return amountAfter;
}

} // namespace sonacore
