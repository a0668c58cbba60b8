#pragma once

#include "sonacore/IBaseMessage.h"
#include "sonacore/SonaCoreExport.h"

#include <string>

namespace sonacore {

// The common fields of every message. Immutable, so it crosses threads without a lock: every call may run on
// any thread, and none throws.
class SONACORE_EXPORT BaseMessage : public imessages::IBaseMessage {
public:
    BaseMessage(std::string id, std::string type, std::string sender);
    ~BaseMessage() override;

    std::string getMessageClass() const override;
    std::string getMessageId() const override;
    std::string getMessageType() const override;
    std::string getMessageSender() const override;
    // Empty: only a status message carries a free text.
    std::string getMessageText() const override;
    // "\n\tMessage ID: " id "\n\tMessage type: " type "\n\tMessage sender: " sender
    std::string toString() const override;

protected:
    // Set by the derived constructor.
    std::string messageClass;

private:
    std::string id;
    std::string type;
    std::string sender;
};

} // namespace sonacore
