#include "pcapplus/PcapDeviceManager.h"
#include "ScriptedPcap.h"
#include "exceptions/SonaCoreException.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

namespace {

testsupport::PcapScript threeInterfaces() {
    testsupport::PcapScript script;
    script.interfaces = {
        {"eth0", std::string("First adapter")}, {"lo", std::nullopt}, {"veth1", std::nullopt}};
    return script;
}

std::string thrownText(pcapplus::PcapDeviceManager& manager, std::uint64_t number) {
    try {
        manager.getDeviceInfo(number);
    } catch (const exceptions::ResourceNotAvailable& error) {
        return error.what();
    }
    return "no exception";
}

} // namespace

TEST(PcapDeviceManager, ConstructorLogsAndScans) {
    testsupport::setPcapScript(threeInterfaces());
    testsupport::LogCapture capture;
    pcapplus::PcapDeviceManager manager;
    EXPECT_EQ(capture.texts(QtDebugMsg),
              (std::vector<std::string>{
                  "PcapDeviceManager Initialized",
                  "scanDevices \"PcapDeviceManager\" Number of available Ethernet devices:  3"}));
    EXPECT_EQ(manager.getDeviceCount(), 3U);
}

TEST(PcapDeviceManager, NumbersCountFromOneInLibpcapOrder) {
    testsupport::setPcapScript(threeInterfaces());
    pcapplus::PcapDeviceManager manager;
    EXPECT_EQ(manager.getDeviceInfo(1).getDeviceName(), "eth0");
    EXPECT_EQ(manager.getDeviceInfo(1).getDeviceNumber(), 1);
    EXPECT_EQ(manager.getDeviceInfo(2).getDeviceName(), "lo");
    EXPECT_EQ(manager.getDeviceInfo(2).getDeviceNumber(), 2);
    EXPECT_EQ(manager.getDeviceInfo(3).getDeviceName(), "veth1");
    EXPECT_EQ(manager.getDeviceInfo(3).getDeviceNumber(), 3);
}

TEST(PcapDeviceManager, NumberAboveCountThrowsNamingTheUpperBound) {
    testsupport::setPcapScript(threeInterfaces());
    pcapplus::PcapDeviceManager manager;
    testsupport::LogCapture capture;
    const std::string expected =
        "Requested index number is not available: 4. The index number is out of range! "
        "Please pass a number between 1 and 3";
    EXPECT_EQ(thrownText(manager, 4), expected);
    EXPECT_EQ(capture.texts(QtWarningMsg), std::vector<std::string>{"getDeviceInfo " + expected});
}

TEST(PcapDeviceManager, NumberZeroWarnsThenThrowsWithBothTextsLogged) {
    testsupport::setPcapScript(threeInterfaces());
    pcapplus::PcapDeviceManager manager;
    testsupport::LogCapture capture;
    const std::string expected =
        "Requested index number is not available: 0. The index number is out of range! "
        "Please pass a number between 1 and 3";
    EXPECT_EQ(thrownText(manager, 0), expected);
    EXPECT_EQ(capture.texts(QtWarningMsg),
              (std::vector<std::string>{
                  "getDeviceInfo Please enter a valid index! Device info indexing starts at number: 1",
                  "getDeviceInfo " + expected}));
}

TEST(PcapDeviceManager, NullDescriptionBecomesNotAvailable) {
    testsupport::setPcapScript(threeInterfaces());
    pcapplus::PcapDeviceManager manager;
    EXPECT_EQ(manager.getDeviceInfo(1).getDeviceDescription(), "First adapter");
    EXPECT_EQ(manager.getDeviceInfo(2).getDeviceDescription(), "Not available");
    EXPECT_TRUE(manager.getDeviceInfo(2).isDescriptionMissing());
}

TEST(PcapDeviceManager, RescanDoesNotAccumulateAndFreesEachList) {
    testsupport::setPcapScript(threeInterfaces());
    pcapplus::PcapDeviceManager manager;
    EXPECT_TRUE(manager.scanDevices());
    EXPECT_TRUE(manager.scanDevices());
    EXPECT_EQ(manager.getDeviceCount(), 3U);
    EXPECT_EQ(testsupport::listsHandedOut(), 3);
    EXPECT_EQ(testsupport::listsFreed(), 3);
}

TEST(PcapDeviceManager, FailedScanWarnsLeavesAnEmptyListAndLookupsThrow) {
    testsupport::setPcapScript(threeInterfaces());
    pcapplus::PcapDeviceManager manager;
    testsupport::PcapScript failing;
    failing.fail = true;
    failing.error = "socket: Operation not permitted";
    testsupport::setPcapScript(failing);
    testsupport::LogCapture capture;

    EXPECT_FALSE(manager.scanDevices());
    EXPECT_EQ(manager.getDeviceCount(), 0U);
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{"scanDevices \"PcapDeviceManager\" Device scan cannot be performed:  "
                                       "socket: Operation not permitted"});
    EXPECT_EQ(thrownText(manager, 1),
              "Requested index number is not available: 1. The index number is out of "
              "range! Please pass a number between 1 and 0");
}

TEST(PcapDeviceManager, EmptyListLogsTheNoInterfaceLineAndIsFreed) {
    testsupport::setPcapScript({});
    testsupport::LogCapture capture;
    pcapplus::PcapDeviceManager manager;
    EXPECT_TRUE(capture.contains(
        QtDebugMsg,
        "scanDevices \"PcapDeviceManager\" No interfaces found! Make sure WinPcap is installed correctly!."));
    EXPECT_EQ(manager.getDeviceCount(), 0U);
    EXPECT_FALSE(manager.scanDevices());
    EXPECT_EQ(testsupport::listsFreed(), testsupport::listsHandedOut());
}

TEST(PcapDeviceManager, TextListsEveryDevice) {
    testsupport::PcapScript script;
    script.interfaces = {{"eth0", std::string("First")}, {"lo", std::nullopt}};
    testsupport::setPcapScript(script);
    pcapplus::PcapDeviceManager manager;
    EXPECT_EQ(manager.toString(), "DeviceManager: \n"
                                  "System device number: 1\n\tSystem device name: eth0\n"
                                  "\tSystem device description: First\n\n"
                                  "System device number: 2\n\tSystem device name: lo\n"
                                  "\tSystem device description: Not available\n\n");
}

TEST(PcapDeviceManager, InterfaceLookupThrowsResourceNotAvailable) {
    testsupport::setPcapScript(threeInterfaces());
    pcapplus::PcapDeviceManager manager;
    sonacore::INetworkDeviceManager& asInterface = manager;
    EXPECT_EQ(asInterface.getDeviceInfo(3).getDeviceName(), "veth1");
    EXPECT_THROW(asInterface.getDeviceInfo(4), exceptions::ResourceNotAvailable);
}
