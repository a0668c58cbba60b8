// A host that knows only the installed headers and the shared library. It exits non-zero at the first
// thing that is not as a host may expect it.
#include "exceptions/SonaCoreException.h"
#include "sonacore/INetworkDeviceManager.h"
#include "sonacore/ISonaCore.h"
#include "version/LibraryVersion.h"

#include <QCoreApplication>

#include <cstdint>
#include <iostream>
#include <string>

namespace {

int failures = 0;

void check(bool condition, const std::string& what) {
    std::cout << (condition ? "ok   " : "FAIL ") << what << "\n";
    if (!condition) {
        ++failures;
    }
}

std::string lookupError(sonacore::INetworkDeviceManager& manager, std::uint64_t number) {
    try {
        manager.getDeviceInfo(number);
    } catch (const exceptions::ResourceNotAvailable& error) {
        return error.what();
    }
    return "no exception";
}

} // namespace

int main(int argc, char** argv) {
    // A host is a Qt program of its own: including Qt's headers needs every compiler flag Qt asks for, which
    // the package has to pass on.
    QCoreApplication application(argc, argv);
    check(ISonaCore::createInstance() == ISonaCore::createInstance(), "one core for every createInstance");

    const sonacore::IVersionInfo* version = ISonaCore::getVersion();
    check(version->getVersion() == "1.6.0.3", "version text 1.6.0.3");
    check(version->getMajorVersion() == 1 && version->getMinorVersion() == 6 &&
              version->getPatchVersion() == 0 && version->getBuildVersion() == 3,
          "version parts 1, 6, 0, 3");
    check(vq::sonaCoreLib::getVersion() == "1.6.0.3", "free version function");
    check(vq::sonaCoreLib::isCompatibleWithInterfaceVersion(101), "interface 101 accepted");
    check(!vq::sonaCoreLib::isCompatibleWithInterfaceVersion(100), "interface 100 refused");
    check(!vq::sonaCoreLib::isCompatibleWithInterfaceVersion(102), "interface 102 refused");

    sonacore::INetworkDeviceManager* manager = sonacore::INetworkDeviceManager::createInstance();
    const std::uint64_t count = manager->getDeviceCount();
    bool loopback = false;
    for (std::uint64_t number = 1; number <= count; ++number) {
        const auto& adapter = manager->getDeviceInfo(number);
        std::cout << "     " << number << ". " << adapter.getDeviceName() << "\n";
        loopback = loopback || adapter.getDeviceName() == "lo";
        check(adapter.getDeviceNumber() == static_cast<int>(number), "adapter numbered from 1");
    }
    check(loopback, "loopback listed");

    const std::string bound = std::to_string(count);
    check(lookupError(*manager, 0) ==
              "Requested index number is not available: 0. The index number is out of "
              "range! Please pass a number between 1 and " +
                  bound,
          "number 0 refused with its text");
    check(lookupError(*manager, count + 1) ==
              "Requested index number is not available: " + std::to_string(count + 1) +
                  ". The index number is out of range! Please pass a number "
                  "between 1 and " +
                  bound,
          "number count + 1 refused with its text");

    ISonaCore::destroy();
    return failures == 0 ? 0 : 1;
}
