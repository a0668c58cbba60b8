#pragma once

#include "sonacore/IChannelData.h"
#include "sonacore/SonaCoreExport.h"

#include <functional>
#include <string>

namespace sonacore {

// Where one processor's results reach the host. It outlives its processor: it stays valid, with its callback,
// until the process ends. Use it on the thread that added the processor; nothing here throws.
class SONACORE_EXPORT IMeteringDataSource {
public:
    virtual ~IMeteringDataSource();

    // Binds the host's function; it runs on the thread that added the processor, inside that thread's Qt
    // event loop. Only the first function bound stays: a second call returns true and changes nothing. True
    // until ISonaCore::destroy(); after it, a call logs the warning "The library has been destroyed, so this
    // call does nothing", binds nothing and returns false. Bind before starting the processor: a result that
    // arrives unbound is logged and dropped.
    virtual bool bindChannelCallback(std::function<void(IChannelData&)> callback) = 0;
    virtual std::string toString() const = 0;
};

} // namespace sonacore
