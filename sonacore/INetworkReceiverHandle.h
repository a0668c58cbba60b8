#pragma once

#include "sonacore/SonaCoreExport.h"

#include <string>

namespace sonacore::ihandles {

// The host's control of the capture on one adapter. Never deleted by the host. Call start and stop on the
// host's thread; none of the calls throws: a refused start or stop is a warning and a status message.
class SONACORE_EXPORT INetworkReceiverHandle {
public:
    virtual ~INetworkReceiverHandle();

    // Begins capture on the adapter, on a pool thread; the call itself runs on the caller's thread. While it
    // captures already, or when the adapter could not be opened, it changes nothing and logs the warning
    // "Sniffer already listening, cannot be started!", also sent as an "INFORMATION" status message.
    //
    // When the adapter goes down or disappears while it captures, the capture ends by itself: isRunning()
    // turns false, and a "WARNING" status message says "Capture on adapter '<name>' failed and has stopped: "
    // with libpcap's reason (such as "The interface went down"). The library does not retry. A later start()
    // opens the adapter anew, with its filter, and captures again ("Successfully configured adapter number
    // N", the filter's message, "Start listening"); while the adapter is missing it sends "Unable to open the
    // adapter number N. Error message: " with libpcap's reason, and does not capture.
    virtual void start() = 0;
    // Ends capture; does not wait for the capture thread. When it is not capturing it changes nothing and
    // logs the warning "Sniffer not listening, cannot be stopped!", also sent as a status message.
    virtual void stop() = 0;
    // True between a start and a stop that took effect, or the loss of the adapter; may be read from any
    // thread.
    virtual bool isRunning() const = 0;
    // The adapter's libpcap name.
    virtual std::string getReceiverUid() const = 0;
    virtual std::string toString() const = 0;
};

} // namespace sonacore::ihandles
