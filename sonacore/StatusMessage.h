#pragma once

#include "sonacore/BaseMessage.h"
#include "sonacore/IStatusMessage.h"
#include "sonacore/SonaCoreExport.h"

#include <string>

namespace sonacore {

// A free status text, sent by the capture. Immutable: every call may run on any thread, and none throws.
class SONACORE_EXPORT StatusMessage : public BaseMessage, public imessages::IStatusMessage {
public:
    StatusMessage(std::string id, std::string type, std::string sender, std::string text);
    ~StatusMessage() override;

    std::string getMessageClass() const override;
    std::string getMessageId() const override;
    std::string getMessageType() const override;
    std::string getMessageSender() const override;
    std::string getMessageText() const override;
    // The base's text, then "\n\tMessage: " and the text.
    std::string toString() const override;
    std::string getMessage() const override;

private:
    std::string text;
};

} // namespace sonacore
