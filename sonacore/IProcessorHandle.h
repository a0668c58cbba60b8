#pragma once

#include "sonacore/SonaCoreExport.h"

#include <string>

namespace sonacore::ihandles {

// The host's view of one processor. It outlives the processor: after removeProcessor it is unbound, and a
// processor of the same unique ID added later binds the same handle again. Never deleted by the host.
// Call start and stop on the host's thread: they run the processor's own start and stop inside the call.
// None of the calls throws.
class SONACORE_EXPORT IProcessorHandle {
public:
    virtual ~IProcessorHandle();

    // Activates the processor (and starts its timer under the internal clock). An active processor stays as
    // it is; an unbound handle reaches nothing.
    virtual void start() = 0;
    // Deactivates the processor; an inactive one, or an unbound handle, changes nothing.
    virtual void stop() = 0;
    // The processor's active flag; false while unbound.
    virtual bool isActive() const = 0;
    // Type "_" streaming device "_" channel, such as "WaveformProcessor_00a0c9112233_0".
    virtual std::string getUniqueId() const = 0;
    // True while a processor is in place for the handle; false from removeProcessor on.
    virtual bool isBound() const = 0;
    virtual std::string toString() const = 0;
};

} // namespace sonacore::ihandles
