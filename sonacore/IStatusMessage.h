#pragma once

#include "sonacore/IBaseMessage.h"
#include "sonacore/SonaCoreExport.h"

#include <string>

namespace sonacore::imessages {

// A free status text, such as the capture's start and stop.
class SONACORE_EXPORT IStatusMessage : public IBaseMessage {
public:
    ~IStatusMessage() override;

    virtual std::string getMessage() const = 0;
};

} // namespace sonacore::imessages
