#include "support/VethPair.h"

#include "support/ChildProcess.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace testsupport {

namespace {

bool runIp(const std::vector<std::string>& arguments, std::string& error) {
    std::vector<std::string> command{ipProgram()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const ChildProcess::Result result = ChildProcess::run(command);
    if (result.exitStatus == 0) {
        return true;
    }
    std::string text = "'ip";
    for (const std::string& argument : arguments) {
        text += " " + argument;
    }
    std::string output = result.output;
    while (!output.empty() && output.back() == '\n') {
        output.pop_back();
    }
    error = text + "' failed (exit " + std::to_string(result.exitStatus) + "): " + output;
    return false;
}

bool disableIpv6InRoot(const std::string& interface, std::string& error) {
    const std::string file = "/proc/sys/net/ipv6/conf/" + interface + "/disable_ipv6";
    const int fd = ::open(file.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        error = "cannot open " + file + ": " + std::strerror(errno);
        return false;
    }
    const bool written = ::write(fd, "1", 1) == 1;
    if (!written) {
        error = "cannot write " + file + ": " + std::strerror(errno);
    }
    ::close(fd);
    return written;
}

} // namespace

VethPair::VethPair(std::string rootEnd, std::string namespaceEnd)
    : rootEndName(std::move(rootEnd)), namespaceEndName(std::move(namespaceEnd)) {}

std::unique_ptr<VethPair> VethPair::create(const std::string& rootEnd, const std::string& namespaceEnd,
                                           const NetworkNamespace& ns, std::string& error) {
    // Made with its peer already inside the namespace, so the namespace end never appears in the root
    // namespace where other tests run.
    if (!runIp({"link", "add", rootEnd, "type", "veth", "peer", "name", namespaceEnd, "netns", ns.name()},
               error)) {
        return nullptr;
    }
    // From here on the destructor cleans up whatever fails next.
    std::unique_ptr<VethPair> pair(new VethPair(rootEnd, namespaceEnd));

    // A kernel without IPv6 has nothing to switch off.
    if (::access("/proc/sys/net/ipv6", F_OK) == 0) {
        if (!disableIpv6InRoot(rootEnd, error) ||
            !ns.writeSysctl("net/ipv6/conf/" + namespaceEnd + "/disable_ipv6", "1", error)) {
            return nullptr;
        }
    }
    if (!runIp({"link", "set", "dev", rootEnd, "up"}, error) ||
        !runIp({"-n", ns.name(), "link", "set", "dev", namespaceEnd, "up"}, error)) {
        return nullptr;
    }
    return pair;
}

VethPair::~VethPair() {
    std::string ignored;
    runIp({"link", "del", "dev", rootEndName}, ignored);
}

} // namespace testsupport
