#pragma once

#include "sonacore/IVersionInfo.h"
#include "sonacore/StringOverloadBase.h"

#include <string>

namespace version {

// The library's version, fixed at build. Holds no changing state, so it may be read from any thread, and no
// call throws.
class VersionInfo : public StringOverloadBase, public sonacore::IVersionInfo {
public:
    VersionInfo();
    ~VersionInfo() override;

    std::string toString() const override;
    int getMajorVersion() const override;
    int getMinorVersion() const override;
    int getPatchVersion() const override;
    int getBuildVersion() const override;
    std::string getVersion() const override;
    std::string getCompanyName() const override;
    std::string getYear() const override;
    std::string getLegalCopyright() const override;
    std::string getLegalCopyrightFull() const override;

    static constexpr unsigned int interfaceVersion = 101;
};

} // namespace version
