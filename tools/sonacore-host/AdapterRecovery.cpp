#include "AdapterRecovery.h"

#include "sonacore/INetworkReceiverHandle.h"

#include <net/if.h>

#include <fstream>
#include <utility>

namespace host {

AdapterRecovery::AdapterRecovery(std::function<void(const std::string& text)> report)
    : report(std::move(report)) {
    QObject::connect(
        &timer, &QTimer::timeout, &timer, [this] { check(); }, Qt::DirectConnection);
}

void AdapterRecovery::watch(const std::string& adapterName,
                            sonacore::ihandles::INetworkReceiverHandle& receiver) {
    watched.push_back({adapterName, &receiver});
}

void AdapterRecovery::start() {
    timer.start(1000);
}

bool AdapterRecovery::adapterUp(const std::string& adapterName) {
    // The interface's flags as the kernel shows them, in hexadecimal; a missing file is a missing adapter.
    std::ifstream flagsFile("/sys/class/net/" + adapterName + "/flags");
    unsigned long flags = 0;
    if (!(flagsFile >> std::hex >> flags)) {
        return false;
    }
    return (flags & IFF_UP) != 0;
}

void AdapterRecovery::check() {
    for (const Watched& each : watched) {
        if (!each.receiver->isRunning() && adapterUp(each.adapterName)) {
            each.receiver->start();
            if (each.receiver->isRunning()) {
                report(each.adapterName + " is back: capturing again");
            }
        }
    }
}

} // namespace host
