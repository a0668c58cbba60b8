#include "exceptions/SonaCoreException.h"
#include "pcapplus/PcapDeviceManager.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <string>

namespace {

bool runQuietly(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

// A veth pair in the test's own network namespace, removed again whatever the test does.
class VethPair {
public:
    VethPair()
        : first("scdm" + std::to_string(getpid()) + "a"), second("scdm" + std::to_string(getpid()) + "b") {
        created = runQuietly("ip link add " + first + " type veth peer name " + second);
    }
    ~VethPair() {
        if (created) {
            runQuietly("ip link del " + first);
        }
    }
    VethPair(const VethPair&) = delete;
    VethPair& operator=(const VethPair&) = delete;

    std::string first;
    std::string second;
    bool created = false;
};

void requireRights(bool granted) {
    const char* ci = std::getenv("CI");
    if (!granted && ci != nullptr && std::string(ci) == "true") {
        FAIL() << "Creating a veth pair needs root (CAP_NET_ADMIN): run the tests as root.";
    }
    if (!granted) {
        GTEST_SKIP() << "Creating a veth pair needs root (CAP_NET_ADMIN); skipped outside CI.";
    }
}

} // namespace

TEST(PcapDeviceManagerLive, ListsEveryInterfaceNumberedFromOneWithLoopbackAndNewVethPair) {
    VethPair pair;
    requireRights(pair.created);
    if (!pair.created) {
        return;
    }
    pcapplus::PcapDeviceManager manager;
    const std::uint64_t count = manager.getDeviceCount();
    ASSERT_GE(count, 3U);

    bool loopback = false;
    int vethSeen = 0;
    for (std::uint64_t number = 1; number <= count; ++number) {
        const auto& info = manager.getDeviceInfo(number);
        EXPECT_EQ(info.getDeviceNumber(), static_cast<int>(number));
        loopback = loopback || info.getDeviceName() == "lo";
        if (info.getDeviceName() == pair.first || info.getDeviceName() == pair.second) {
            ++vethSeen;
            // libpcap gives veth interfaces no description.
            EXPECT_EQ(info.getDeviceDescription(), "Not available");
        }
    }
    EXPECT_TRUE(loopback);
    EXPECT_EQ(vethSeen, 2);
    EXPECT_THROW(manager.getDeviceInfo(count + 1), exceptions::ResourceNotAvailable);
}

TEST(PcapDeviceManagerLive, RescanFollowsInterfacesThatComeAndGo) {
    pcapplus::PcapDeviceManager manager;
    const std::uint64_t before = manager.getDeviceCount();
    {
        VethPair pair;
        requireRights(pair.created);
        if (!pair.created) {
            return;
        }
        EXPECT_TRUE(manager.scanDevices());
        EXPECT_EQ(manager.getDeviceCount(), before + 2);
    }
    EXPECT_TRUE(manager.scanDevices());
    EXPECT_EQ(manager.getDeviceCount(), before);
}
