#pragma once

#include "sonacore/SonaCoreExport.h"

#include <string>

namespace sonacore::ihandles {

// The host's control of the capture on one adapter. Never deleted by the host.
class SONACORE_EXPORT INetworkReceiverHandle {
public:
    virtual ~INetworkReceiverHandle();

    // Begins capture on the adapter; runs on the caller's thread.
    virtual void start() = 0;
    // Ends capture; does not wait for the capture thread.
    virtual void stop() = 0;
    virtual bool isRunning() const = 0;
    // The adapter's libpcap name.
    virtual std::string getReceiverUid() const = 0;
    virtual std::string toString() const = 0;
};

} // namespace sonacore::ihandles
