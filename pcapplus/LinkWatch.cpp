#include "pcapplus/LinkWatch.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace pcapplus {

LinkWatch::LinkWatch(std::string deviceName, std::function<void(const std::string& reason)> lost)
    : deviceName(std::move(deviceName)), lost(std::move(lost)), thread([this] { watch(); }) {}

LinkWatch::~LinkWatch() {
    {
        std::lock_guard<std::mutex> lock(mutex);
        ending = true;
    }
    wake.notify_all();
    thread.join();
}

std::string LinkWatch::linkProblem(const std::string& deviceName) {
    if (deviceName.size() >= IFNAMSIZ) {
        // Not a kernel interface name (a capture source of libpcap's own, such as "any" or a USB bus):
        // nothing to watch.
        return {};
    }
    const int probe = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (probe < 0) {
        return {};
    }
    ifreq request{};
    std::memcpy(request.ifr_name, deviceName.c_str(), deviceName.size() + 1);
    const int result = ::ioctl(probe, SIOCGIFFLAGS, &request);
    const int error = errno;
    ::close(probe);
    if (result != 0) {
        return error == ENODEV ? "The interface disappeared" : "";
    }
    return (request.ifr_flags & IFF_UP) != 0 ? "" : "The interface went down";
}

void LinkWatch::watch() {
    // An adapter that is not a kernel interface up at the start (libpcap's own sources, such as "any" or
    // "dbus-session") is not watched: what it may lose is libpcap's to report.
    if (!linkProblem(deviceName).empty()) {
        return;
    }
    std::unique_lock<std::mutex> lock(mutex);
    while (!wake.wait_for(lock, checkInterval, [this] { return ending; })) {
        const std::string problem = linkProblem(deviceName);
        if (!problem.empty()) {
            lost(problem);
            return;
        }
    }
}

} // namespace pcapplus
