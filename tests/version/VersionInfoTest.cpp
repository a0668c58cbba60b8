#include "version/VersionInfo.h"
#include "sonacore/ISonaCore.h"
#include "version/LibraryVersion.h"

#include <gtest/gtest.h>

#include <sstream>

TEST(LibraryVersion, VersionTextAndInterfaceVersion) {
    EXPECT_EQ(vq::sonaCoreLib::getVersion(), "1.6.0.3");
    EXPECT_EQ(vq::sonaCoreLib::getInterfaceVersion(), 101U);
}

TEST(LibraryVersion, CompatibilityIsEqualityNotARange) {
    EXPECT_TRUE(vq::sonaCoreLib::isCompatibleWithInterfaceVersion(101));
    EXPECT_FALSE(vq::sonaCoreLib::isCompatibleWithInterfaceVersion(100));
    EXPECT_FALSE(vq::sonaCoreLib::isCompatibleWithInterfaceVersion(102));
    EXPECT_FALSE(vq::sonaCoreLib::isCompatibleWithInterfaceVersion(0));
}

TEST(VersionInfo, PartsAreTheDigitsOfTheVersion) {
    const sonacore::IVersionInfo* info = ISonaCore::getVersion();
    EXPECT_EQ(info->getMajorVersion(), 1);
    EXPECT_EQ(info->getMinorVersion(), 6);
    EXPECT_EQ(info->getPatchVersion(), 0);
    EXPECT_EQ(info->getBuildVersion(), 3);
    EXPECT_EQ(info->getVersion(), "1.6.0.3");
    EXPECT_EQ(info->getYear(), "2024");
}

TEST(VersionInfo, TextIsVersionDashAndFullLegalLine) {
    version::VersionInfo info;
    EXPECT_EQ(info.toString(), "1.6.0.3 - " + info.getLegalCopyrightFull());
    EXPECT_FALSE(info.getCompanyName().empty());
    EXPECT_NE(info.getLegalCopyright().find("2024"), std::string::npos);
    std::ostringstream stream;
    stream << static_cast<const StringOverloadBase&>(info);
    EXPECT_EQ(stream.str(), info.toString() + "\n");
}
