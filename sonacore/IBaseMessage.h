#pragma once

#include "sonacore/SonaCoreExport.h"

#include <string>

namespace sonacore::imessages {

// A status report from the network side. Immutable once built, held by std::shared_ptr. Tell the kinds
// apart by getMessageClass(), then convert the pointer (std::dynamic_pointer_cast) to IStatusMessage or
// IChannelAmountChanged.
//
// Built on the capture thread and handed to the host's message receiver on the host's thread. A message
// never changes, so every call below may run on any thread while the host holds the pointer; none throws.
class SONACORE_EXPORT IBaseMessage {
public:
    virtual ~IBaseMessage();

    // "BaseMessage", "StatusMessage" or "ChannelAmountChanged".
    virtual std::string getMessageClass() const = 0;
    // The emitter's object name; for a channel change, the streaming device's key.
    virtual std::string getMessageId() const = 0;
    // The severity: "INFORMATION", "WARNING" or "CRITICAL".
    virtual std::string getMessageType() const = 0;
    // The emitting class, such as "PcapPacketSniffer".
    virtual std::string getMessageSender() const = 0;
    // The free text of a status message; empty for the other kinds.
    virtual std::string getMessageText() const = 0;
    virtual std::string toString() const = 0;
};

} // namespace sonacore::imessages
