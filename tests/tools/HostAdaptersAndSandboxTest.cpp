// Two decisions of the host program that need no network: which adapters --list shows (the Ethernet-like
// ones, by the kernel's hardware type), and when the namespace of a demo run counts as left behind (its
// owner, named by the pid in its name, no longer runs).
#include "AdapterList.h"
#include "StaleSandboxSweeper.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <optional>
#include <string>

using host::AdapterList;
using host::StaleSandboxSweeper;

namespace {

class AdapterListTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(folder.isValid()); }

    // An interface as the kernel lists it in /sys/class/net.
    void add(const std::string& name, const std::string& type) const {
        const std::string interface = folder.path().toStdString() + "/" + name;
        ASSERT_EQ(::mkdir(interface.c_str(), 0755), 0);
        std::ofstream(interface + "/type") << type << "\n";
    }

    bool isEthernet(const std::string& name) const {
        return AdapterList::isEthernet(name, folder.path().toStdString());
    }

    QTemporaryDir folder;
};

TEST_F(AdapterListTest, HardwareTypeOneIsEthernet) {
    add("eth0", "1");
    add("veth7", "1");
    EXPECT_TRUE(isEthernet("eth0"));
    EXPECT_TRUE(isEthernet("veth7"));
}

TEST_F(AdapterListTest, LoopbackAndOtherTypesAreNot) {
    add("lo", "772");
    add("wg0", "65534");
    add("ip6tnl0", "769");
    EXPECT_FALSE(isEthernet("lo"));
    EXPECT_FALSE(isEthernet("wg0"));
    EXPECT_FALSE(isEthernet("ip6tnl0"));
}

// libpcap's own adapters have no interface in the kernel.
TEST_F(AdapterListTest, AdapterWithoutAnInterfaceIsNot) {
    for (const char* name :
         {"any", "dbus-session", "bluetooth-monitor", "nflog", "usbmon1", "", "..", "a/b"}) {
        EXPECT_FALSE(isEthernet(name)) << name;
    }
}

TEST(AdapterList, TheMachinesLoopbackIsNotEthernet) {
    EXPECT_FALSE(AdapterList::isEthernet("lo"));
}

StaleSandboxSweeper::Identity identity(unsigned long long startTicks, const std::string& name) {
    StaleSandboxSweeper::Identity made;
    made.startTicks = startTicks;
    made.bootId = "b0";
    made.name = name;
    return made;
}

TEST(StaleSandboxSweeper, OwnerWithoutAProcessIsGone) {
    EXPECT_TRUE(StaleSandboxSweeper::ownerGone(std::nullopt, std::nullopt, false));
    EXPECT_TRUE(StaleSandboxSweeper::ownerGone(std::nullopt, identity(5, ""), false));
}

TEST(StaleSandboxSweeper, RecordedOwnerRunsWhileItsStartTimeAndBootMatch) {
    EXPECT_FALSE(StaleSandboxSweeper::ownerGone(identity(5, "sonacore-host"), identity(5, ""), false));
    // The record decides, not the name: a monitor renamed or started through a link still owns it.
    EXPECT_FALSE(StaleSandboxSweeper::ownerGone(identity(5, "monitor"), identity(5, ""), false));
}

TEST(StaleSandboxSweeper, ReusedPidIsNotTheRecordedOwner) {
    EXPECT_TRUE(StaleSandboxSweeper::ownerGone(identity(6, "sonacore-host"), identity(5, ""), false));
    StaleSandboxSweeper::Identity otherBoot = identity(5, "");
    otherBoot.bootId = "b1";
    EXPECT_TRUE(StaleSandboxSweeper::ownerGone(identity(5, "sonacore-host"), otherBoot, false));
}

TEST(StaleSandboxSweeper, WithoutARecordTheOwnerMustBeAMonitor) {
    EXPECT_FALSE(StaleSandboxSweeper::ownerGone(identity(5, "sonacore-host"), std::nullopt, false));
    EXPECT_TRUE(StaleSandboxSweeper::ownerGone(identity(5, "bash"), std::nullopt, false));
}

// A namespace of this process's pid that this process has not made yet is a former owner's.
TEST(StaleSandboxSweeper, NamespaceOfTheOwnPidIsLeftBehind) {
    EXPECT_TRUE(StaleSandboxSweeper::ownerGone(identity(5, "sonacore-host"), identity(5, ""), true));
}

TEST(StaleSandboxSweeper, IdentifiesARunningProcess) {
    const std::optional<StaleSandboxSweeper::Identity> self = StaleSandboxSweeper::identify(::getpid());
    ASSERT_TRUE(self.has_value());
    EXPECT_GT(self->startTicks, 0u);
    EXPECT_EQ(self->bootId.size(), 36u);
    EXPECT_EQ(std::string("tools_unit_tests").rfind(self->name, 0), 0u) << self->name;
    EXPECT_FALSE(StaleSandboxSweeper::ownerGone(self, self, false));
}

TEST(StaleSandboxSweeper, RecordPathLiesUnderRun) {
    EXPECT_EQ(StaleSandboxSweeper::recordPath("sonacore-demo-42"),
              "/run/sonacore-host/sonacore-demo-42.owner");
}

} // namespace
