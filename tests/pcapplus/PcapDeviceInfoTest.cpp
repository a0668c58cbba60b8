#include "pcapplus/PcapDeviceInfo.h"

#include <gtest/gtest.h>

TEST(PcapDeviceInfo, KeepsNumberNameAndDescription) {
    pcapplus::PcapDeviceInfo info(2, "eth0", "PCIe Ethernet adapter");
    EXPECT_EQ(info.getDeviceNumber(), 2);
    EXPECT_EQ(info.getDeviceName(), "eth0");
    EXPECT_EQ(info.getDeviceDescription(), "PCIe Ethernet adapter");
    EXPECT_TRUE(info.isValid());
    EXPECT_FALSE(info.isDescriptionMissing());
}

TEST(PcapDeviceInfo, NegativeNumberMarksAnInvalidObjectAndZeroIsValid) {
    EXPECT_FALSE(pcapplus::PcapDeviceInfo(-1, "x", "y").isValid());
    EXPECT_TRUE(pcapplus::PcapDeviceInfo(0, "x", "y").isValid());
}

TEST(PcapDeviceInfo, NotAvailableMeansDescriptionMissing) {
    EXPECT_TRUE(pcapplus::PcapDeviceInfo(1, "veth0", "Not available").isDescriptionMissing());
}

TEST(PcapDeviceInfo, TextListsNumberNameAndDescription) {
    EXPECT_EQ(pcapplus::PcapDeviceInfo(3, "lo", "Loopback").toString(),
              "System device number: 3\n\tSystem device name: lo\n\tSystem device description: Loopback\n");
}

TEST(PcapDeviceInfo, CopiesFromAnyInterfaceThroughItsGetters) {
    const pcapplus::PcapDeviceInfo original(4, "veth9", "Not available");
    const sonacore::INetworkDeviceInfo& asInterface = original;
    const pcapplus::PcapDeviceInfo copy(asInterface);
    EXPECT_EQ(copy.getDeviceNumber(), 4);
    EXPECT_EQ(copy.getDeviceName(), "veth9");
    EXPECT_TRUE(copy.isDescriptionMissing());
}
