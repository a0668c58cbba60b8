#include "HostVersion.h"

#include "sonacore/ISonaCore.h"
#include "version/LibraryVersion.h"

namespace host {

std::string HostVersion::text(unsigned int hostInterfaceVersion) {
    const bool compatible = vq::sonaCoreLib::isCompatibleWithInterfaceVersion(hostInterfaceVersion);
    return "sonacore-host, the SonaCore monitor, built for interface " +
           std::to_string(hostInterfaceVersion) + "\nSonaCore " + vq::sonaCoreLib::getVersion() +
           ", interface " + std::to_string(vq::sonaCoreLib::getInterfaceVersion()) +
           (compatible ? " (compatible)" : " (NOT compatible)") + "\n" +
           ISonaCore::getVersion()->getLegalCopyright() + "\n";
}

} // namespace host
