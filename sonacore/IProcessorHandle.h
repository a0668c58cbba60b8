#pragma once

#include "sonacore/SonaCoreExport.h"

#include <string>

namespace sonacore::ihandles {

// The host's view of one processor. It outlives the processor: after removeProcessor it is unbound, and a
// processor of the same unique ID added later binds the same handle again. Never deleted by the host.
class SONACORE_EXPORT IProcessorHandle {
public:
    virtual ~IProcessorHandle();

    virtual void start() = 0;
    virtual void stop() = 0;
    virtual bool isActive() const = 0;
    // Type "_" streaming device "_" channel, such as "WaveformProcessor_00a0c9112233_0".
    virtual std::string getUniqueId() const = 0;
    virtual bool isBound() const = 0;
    virtual std::string toString() const = 0;
};

} // namespace sonacore::ihandles
