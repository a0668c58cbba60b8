#include "version/VersionInfo.h"

#include "version/BuildVersion.h"
#include "version/LibraryVersion.h"

#include <string>

namespace version {
namespace {

constexpr const char* companyName = "SonaCore Developers";
constexpr const char* releaseYear = "2024";

// Each part of the version is a one-digit text of the build; its integer value is the part.
int digitValue(const char* text) {
    return std::stoi(text);
}

} // namespace

VersionInfo::VersionInfo() = default;

VersionInfo::~VersionInfo() = default;

std::string VersionInfo::toString() const {
    return getVersion() + " - " + getLegalCopyrightFull();
}

int VersionInfo::getMajorVersion() const {
    return digitValue(build::majorText);
}

int VersionInfo::getMinorVersion() const {
    return digitValue(build::minorText);
}

int VersionInfo::getPatchVersion() const {
    return digitValue(build::thirdText);
}

int VersionInfo::getBuildVersion() const {
    return digitValue(build::fourthText);
}

std::string VersionInfo::getVersion() const {
    return build::versionText;
}

std::string VersionInfo::getCompanyName() const {
    return companyName;
}

std::string VersionInfo::getYear() const {
    return releaseYear;
}

std::string VersionInfo::getLegalCopyright() const {
    return std::string("Copyright (C) ") + releaseYear + " " + companyName;
}

std::string VersionInfo::getLegalCopyrightFull() const {
    return std::string(build::libraryName) + " " + build::versionText + ", Copyright (C) " + releaseYear +
           " " + companyName + ". All rights reserved.";
}

} // namespace version

namespace sonacore {
IVersionInfo::~IVersionInfo() = default;
} // namespace sonacore

namespace vq::sonaCoreLib {

std::string getVersion() {
    return version::build::versionText;
}

unsigned int getInterfaceVersion() {
    return version::VersionInfo::interfaceVersion;
}

bool isCompatibleWithInterfaceVersion(unsigned int interfaceVersion) {
    return interfaceVersion == version::VersionInfo::interfaceVersion;
}

} // namespace vq::sonaCoreLib
