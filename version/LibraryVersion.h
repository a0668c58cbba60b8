#pragma once

#include "sonacore/SonaCoreExport.h"

#include <string>

// The version of the library as a host checks it at run time against what it was compiled for. The values
// are fixed at build: every function may run on any thread, before ISonaCore::createInstance too, and none
// throws.
namespace vq::sonaCoreLib {

// "1.6.0.3"
SONACORE_EXPORT std::string getVersion();

// The version of the public interface: 101.
SONACORE_EXPORT unsigned int getInterfaceVersion();

// True exactly when the host's interface version equals this library's; neighbours do not pass.
SONACORE_EXPORT bool isCompatibleWithInterfaceVersion(unsigned int interfaceVersion);

} // namespace vq::sonaCoreLib
