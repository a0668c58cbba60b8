#pragma once

#include "sonacore/SonaCoreExport.h"

#include <string>

namespace sonacore {

// What to show as the library's version. Whether the interface a host was compiled against fits is
// answered by vq::sonaCoreLib::isCompatibleWithInterfaceVersion instead. Every value is fixed at build:
// the calls below may run on any thread, and none throws.
class SONACORE_EXPORT IVersionInfo {
public:
    virtual ~IVersionInfo();

    // Full version text, " - ", full legal line.
    virtual std::string toString() const = 0;
    // The four parts of "1.6.0.3": 1, 6, 0 and 3.
    virtual int getMajorVersion() const = 0;
    virtual int getMinorVersion() const = 0;
    virtual int getPatchVersion() const = 0;
    virtual int getBuildVersion() const = 0;
    // "major.minor.patch.build"
    virtual std::string getVersion() const = 0;
    virtual std::string getCompanyName() const = 0;
    virtual std::string getYear() const = 0;
    virtual std::string getLegalCopyright() const = 0;
    virtual std::string getLegalCopyrightFull() const = 0;
};

} // namespace sonacore
