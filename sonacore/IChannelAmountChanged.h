#pragma once

#include "sonacore/IBaseMessage.h"
#include "sonacore/SonaCoreExport.h"

#include <cstdint>

namespace sonacore::imessages {

// The amount of channels a streaming device sends has changed. Immutable like every message: each call may
// run on any thread, and none throws.
class SONACORE_EXPORT IChannelAmountChanged : public IBaseMessage {
public:
    ~IChannelAmountChanged() override;

    // The channel amount of the device's configuration.
    virtual std::uint32_t getConfiguredChannelAmount() const = 0;
    // The amount before the change; 0xffffffff when there was none yet or the frame was too short.
    virtual std::uint32_t getChannelAmountBefore() const = 0;
    // The amount after the change; 0xffffffff when the frame was too short to hold it.
    virtual std::uint32_t getChannelAmountAfter() const = 0;
};

} // namespace sonacore::imessages
