#include "ScriptedActivation.h"
#include "pcapplus/PcapPacketSniffer.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

std::vector<std::string> messageTexts(const std::vector<std::shared_ptr<sonacore::BaseMessage>>& messages) {
    std::vector<std::string> texts;
    for (const auto& message : messages) {
        texts.push_back(message->getMessageText() + " [" + message->getMessageType() + "]");
    }
    return texts;
}

// An activation that fails, what libpcap leaves as its text, and the error message the sniffer reports.
struct FailedActivation {
    const char* name;
    int status;
    const char* detail;
    const char* errorMessage;
};

class PcapPacketSnifferFailedActivation : public ::testing::TestWithParam<FailedActivation> {};

} // namespace

TEST(PcapPacketSnifferActivation, AsksForTheSettingsAndTheKernelRingBeforeActivating) {
    testsupport::setActivationScript({0, ""});
    pcapplus::PcapPacketSniffer sniffer(pcapplus::PcapDeviceInfo(2, "scripted0", "x"), 65536, 1, 1);
    const testsupport::ActivationRequest request = testsupport::activationRequest();
    EXPECT_EQ(request.snapLength, 65536);
    EXPECT_EQ(request.promiscuous, 1);
    EXPECT_EQ(request.timeoutMs, 1);
    EXPECT_EQ(request.bufferBytes, 160 * 1024 * 1024);
    EXPECT_EQ(request.bufferBytes, pcapplus::PcapPacketSniffer::kernelRingBytes);
    EXPECT_EQ(request.activations, 1);
    EXPECT_TRUE(sniffer.isConfigured());
}

TEST(PcapPacketSnifferActivation, WarningOfTheActivationIsLoggedAndTheAdapterIsOpen) {
    testsupport::setActivationScript(
        {PCAP_WARNING_PROMISC_NOTSUP, "Promiscuous mode not supported on the \"any\" device"});
    testsupport::LogCapture capture;
    pcapplus::PcapPacketSniffer sniffer(pcapplus::PcapDeviceInfo(4, "any", "x"), 65536, 1, 1);
    EXPECT_EQ(
        capture.texts(QtWarningMsg),
        std::vector<std::string>{"configure \"PcapPacketSniffer (eth4)\" Adapter number 4 opened with a "
                                 "warning: Promiscuous mode not supported on the \"any\" device"});
    EXPECT_TRUE(capture.contains(QtDebugMsg,
                                 "configure \"PcapPacketSniffer (eth4)\" Successfully configured adapter "
                                 "number 4"));
    EXPECT_TRUE(sniffer.isConfigured());
}

TEST(PcapPacketSnifferActivation, WarningWithoutTextIsNamedByItsStatus) {
    testsupport::setActivationScript({PCAP_WARNING_TSTAMP_TYPE_NOTSUP, ""});
    testsupport::LogCapture capture;
    pcapplus::PcapPacketSniffer sniffer(pcapplus::PcapDeviceInfo(4, "scripted0", "x"), 65536, 1, 1);
    EXPECT_EQ(
        capture.texts(QtWarningMsg),
        std::vector<std::string>{"configure \"PcapPacketSniffer (eth4)\" Adapter number 4 opened with a "
                                 "warning: That type of time stamp is not supported by that device"});
    EXPECT_TRUE(sniffer.isConfigured());
}

TEST_P(PcapPacketSnifferFailedActivation, IsReportedWithLibpcapsTextAndLeavesTheSnifferUnconfigured) {
    const FailedActivation& row = GetParam();
    testsupport::setActivationScript({row.status, row.detail});
    testsupport::LogCapture capture;
    pcapplus::PcapPacketSniffer sniffer(pcapplus::PcapDeviceInfo(3, "scripted0", "x"), 65536, 1, 1);
    const std::string text =
        std::string("Unable to open the adapter number 3. Error message: ") + row.errorMessage;
    EXPECT_EQ(capture.texts(QtDebugMsg),
              std::vector<std::string>{"configure \"PcapPacketSniffer (eth3)\" " + text});
    EXPECT_TRUE(capture.texts(QtWarningMsg).empty());
    EXPECT_FALSE(sniffer.isConfigured());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PcapPacketSnifferFailedActivation,
    ::testing::Values(
        FailedActivation{"GenericError", PCAP_ERROR, "socket: Operation not permitted",
                         "scripted0: socket: Operation not permitted"},
        FailedActivation{"NoSuchDevice", PCAP_ERROR_NO_SUCH_DEVICE, "SIOCGIFINDEX: No such device",
                         "scripted0: No such device exists (SIOCGIFINDEX: No such device)"},
        FailedActivation{"PermissionDenied", PCAP_ERROR_PERM_DENIED, "socket: Operation not permitted",
                         "scripted0: You don't have permission to perform this capture on that device "
                         "(socket: Operation not permitted)"},
        FailedActivation{"PromiscuousPermissionDenied", PCAP_ERROR_PROMISC_PERM_DENIED, "",
                         "scripted0: You don't have permission to capture in promiscuous mode on "
                         "that device ()"},
        FailedActivation{"InterfaceNotUp", PCAP_ERROR_IFACE_NOT_UP, "ignored",
                         "scripted0: That device is not up"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(PcapPacketSnifferActivation, FailureIsSentAsAnInformationMessage) {
    testsupport::setActivationScript({PCAP_ERROR_IFACE_NOT_UP, ""});
    // Declared first, so that it outlives the sniffer, which reports its stop as it ends.
    std::vector<std::shared_ptr<sonacore::BaseMessage>> messages;
    pcapplus::PcapPacketSniffer sniffer(pcapplus::PcapDeviceInfo(-1, "scripted0", "x"), 65536, 1, 1);
    QObject::connect(
        &sniffer, &pcapplus::PcapPacketSniffer::message, &sniffer,
        [&](auto message) { messages.push_back(message); }, Qt::DirectConnection);
    sniffer.configure(pcapplus::PcapDeviceInfo(3, "scripted0", "x"), 65536, 1, 1);
    EXPECT_EQ(messageTexts(messages),
              std::vector<std::string>{
                  "Unable to open the adapter number 3. Error message: scripted0: That device is "
                  "not up [INFORMATION]"});
}

TEST(PcapPacketSnifferActivation, FailedReopenKeepsTheOpenHandle) {
    testsupport::setActivationScript({0, ""});
    pcapplus::PcapPacketSniffer sniffer(pcapplus::PcapDeviceInfo(3, "scripted0", "x"), 65536, 1, 1);
    testsupport::setActivationScript({PCAP_ERROR, "gone"});
    sniffer.configure(pcapplus::PcapDeviceInfo(3, "scripted0", "x"), 65536, 1, 1);
    EXPECT_TRUE(sniffer.isConfigured());
}
