// sonacore-host: a host program built only on the library's public interface.
//
// It prints the library's version, checks that the interface it was compiled against fits, and lists the
// machine's capture adapters numbered from 1, the numbers a host uses to pick the adapter to listen on.
//
// Run: sonacore-host            (or: sonacore-host --list)
#include "sonacore/INetworkDeviceManager.h"
#include "sonacore/ISonaCore.h"
#include "version/LibraryVersion.h"

#include <QCoreApplication>

#include <cstdint>
#include <iostream>
#include <string>

namespace {

// The interface version this program was written against.
constexpr unsigned int hostInterfaceVersion = 101;

void printAdapters(sonacore::INetworkDeviceManager& manager) {
    const std::uint64_t count = manager.getDeviceCount();
    std::cout << "Capture adapters: " << count << "\n";
    for (std::uint64_t number = 1; number <= count; ++number) {
        const sonacore::INetworkDeviceInfo& adapter = manager.getDeviceInfo(number);
        std::cout << "  " << number << ". " << adapter.getDeviceName();
        if (!adapter.isDescriptionMissing()) {
            std::cout << " (" << adapter.getDeviceDescription() << ")";
        }
        std::cout << "\n";
    }
}

} // namespace

int main(int argc, char** argv) {
    // The library logs through Qt; keep its progress lines out of this program's output.
    qSetMessagePattern("%{if-debug}%{endif}%{if-warning}sonacore: %{message}%{endif}");
    QCoreApplication application(argc, argv);

    const bool compatible = vq::sonaCoreLib::isCompatibleWithInterfaceVersion(hostInterfaceVersion);
    std::cout << "SonaCore library " << vq::sonaCoreLib::getVersion() << ", interface version "
              << vq::sonaCoreLib::getInterfaceVersion() << "\n";
    std::cout << ISonaCore::getVersion()->toString() << "\n";
    std::cout << "Interface version " << hostInterfaceVersion << ": "
              << (compatible ? "compatible" : "NOT compatible") << "\n";
    if (!compatible) {
        return 1;
    }

    ISonaCore* core = ISonaCore::createInstance();
    sonacore::INetworkDeviceManager* manager = sonacore::INetworkDeviceManager::createInstance();
    printAdapters(*manager);

    ISonaCore::destroy();
    static_cast<void>(core);
    return 0;
}
