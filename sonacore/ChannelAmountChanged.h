#pragma once

#include "sonacore/BaseMessage.h"
#include "sonacore/IChannelAmountChanged.h"
#include "sonacore/SonaCoreExport.h"

#include <cstdint>
#include <string>

namespace sonacore {

// A changed channel amount of a streaming device, sent by the packet path. Immutable: every call may run on
// any thread, and none throws.
class SONACORE_EXPORT ChannelAmountChanged : public BaseMessage, public imessages::IChannelAmountChanged {
public:
    ChannelAmountChanged(std::string id, std::string type, std::string sender, std::uint32_t configuredAmount,
                         std::uint32_t amountBefore, std::uint32_t amountAfter);
    ~ChannelAmountChanged() override;

    std::string getMessageClass() const override;
    std::string getMessageId() const override;
    std::string getMessageType() const override;
    std::string getMessageSender() const override;
    std::string getMessageText() const override;
    // The base's text, then the amounts before and after the change; the configured amount is not printed.
    std::string toString() const override;
    std::uint32_t getConfiguredChannelAmount() const override;
    std::uint32_t getChannelAmountBefore() const override;
    std::uint32_t getChannelAmountAfter() const override;

private:
    std::uint32_t configuredAmount;
    std::uint32_t amountBefore;
    std::uint32_t amountAfter;
};

} // namespace sonacore
