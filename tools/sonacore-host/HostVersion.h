#pragma once

#include <string>

namespace host {

// What `sonacore-host --version` prints: the monitor's name and the interface version it was built for, the
// library's version and interface version as its public functions give them (vq::sonaCoreLib and
// ISonaCore::getVersion()), whether the two fit, and the library's copyright line:
//
//   sonacore-host, the SonaCore monitor, built for interface 101
//   SonaCore 1.6.0.3, interface 101 (compatible)
//   Copyright (C) 2024 SonaCore Developers
class HostVersion {
public:
    static std::string text(unsigned int hostInterfaceVersion);
};

} // namespace host
