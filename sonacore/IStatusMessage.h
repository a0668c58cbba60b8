#pragma once

#include "sonacore/IBaseMessage.h"
#include "sonacore/SonaCoreExport.h"

#include <string>

namespace sonacore::imessages {

// A free status text. The sender "PcapPacketSniffer" sends them, with the sniffer's name as ID:
// - of type "INFORMATION", on the opening of the adapter, the capture filter, the registered receiver, the
//   start and the stop of the capture, and a start or stop that cannot be served;
// - of type "WARNING", "Capture dropped N frames in the kernel (total T)": the kernel had no room left to
//   keep frames for the capture (its ring was full, or the adapter dropped them) and they are lost. N frames
//   were dropped since the previous such message, T since the adapter was opened. The capture reads these
//   counters at most once a second while frames arrive, and once more when it stops, so such a message comes
//   at most once a second (and once at a stop), and none while nothing is dropped.
class SONACORE_EXPORT IStatusMessage : public IBaseMessage {
public:
    ~IStatusMessage() override;

    // The status text, the same as getMessageText(). Never throws; any thread.
    virtual std::string getMessage() const = 0;
};

} // namespace sonacore::imessages
