#pragma once

#include <QTimer>

#include <functional>
#include <string>
#include <vector>

namespace sonacore::ihandles {
class INetworkReceiverHandle;
} // namespace sonacore::ihandles

namespace host {

// Takes a monitored adapter up again once it is back. The library ends a capture whose adapter goes down or
// away, and leaves the retry to the host: once a second this checks every receiver that no longer runs, and
// starts it again when its adapter exists and is up, saying so through `report`.
//
// Thread affinity: the host's thread, whose event loop runs the checks. The receivers are not owned; stop
// the recovery (destroy it) before the library is destroyed.
class AdapterRecovery {
public:
    explicit AdapterRecovery(std::function<void(const std::string& text)> report);

    // Watches `receiver`, capturing on `adapterName`, from the next check on.
    void watch(const std::string& adapterName, sonacore::ihandles::INetworkReceiverHandle& receiver);
    void start();

    // True when the kernel has an interface of this name and it is up.
    static bool adapterUp(const std::string& adapterName);

private:
    struct Watched {
        std::string adapterName;
        sonacore::ihandles::INetworkReceiverHandle* receiver;
    };

    void check();

    std::function<void(const std::string&)> report;
    std::vector<Watched> watched;
    QTimer timer;
};

} // namespace host
