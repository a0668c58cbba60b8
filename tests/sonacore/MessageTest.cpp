#include "sonacore/BaseMessage.h"
#include "sonacore/ChannelAmountChanged.h"
#include "sonacore/StatusMessage.h"

#include <gtest/gtest.h>

#include <memory>

TEST(BaseMessage, CarriesItsFieldsAndClassWord) {
    sonacore::BaseMessage message("eth0", "WARNING", "PcapPacketSniffer");
    EXPECT_EQ(message.getMessageClass(), "BaseMessage");
    EXPECT_EQ(message.getMessageId(), "eth0");
    EXPECT_EQ(message.getMessageType(), "WARNING");
    EXPECT_EQ(message.getMessageSender(), "PcapPacketSniffer");
    EXPECT_EQ(message.getMessageText(), "");
}

TEST(BaseMessage, TextListsIdTypeAndSender) {
    sonacore::BaseMessage message("eth0", "INFORMATION", "PcapPacketSniffer");
    EXPECT_EQ(message.toString(),
              "\n\tMessage ID: eth0\n\tMessage type: INFORMATION\n\tMessage sender: PcapPacketSniffer");
}

TEST(StatusMessage, CarriesItsTextAndClassWord) {
    sonacore::StatusMessage message("eth0", "INFORMATION", "PcapPacketSniffer", "Listening started");
    EXPECT_EQ(message.getMessageClass(), "StatusMessage");
    EXPECT_EQ(message.getMessage(), "Listening started");
    EXPECT_EQ(message.getMessageText(), "Listening started");
    EXPECT_EQ(message.toString(), "\n\tMessage ID: eth0\n\tMessage type: INFORMATION"
                                  "\n\tMessage sender: PcapPacketSniffer\n\tMessage: Listening started");
}

TEST(ChannelAmountChanged, CarriesTheThreeAmountsInConstructorOrder) {
    sonacore::ChannelAmountChanged message("00a0c9112233", "INFORMATION", "AvtpPacketBoundaryChecker", 8, 2,
                                           4);
    EXPECT_EQ(message.getMessageClass(), "ChannelAmountChanged");
    EXPECT_EQ(message.getMessageId(), "00a0c9112233");
    EXPECT_EQ(message.getMessageSender(), "AvtpPacketBoundaryChecker");
    EXPECT_EQ(message.getConfiguredChannelAmount(), 8U);
    EXPECT_EQ(message.getChannelAmountBefore(), 2U);
    EXPECT_EQ(message.getChannelAmountAfter(), 4U);
    EXPECT_EQ(message.getMessageText(), "");
}

TEST(ChannelAmountChanged, TextPrintsBeforeAndAfterButNotTheConfiguredAmount) {
    sonacore::ChannelAmountChanged message("00a0c9112233", "INFORMATION", "AvtpPacketBoundaryChecker", 77, 2,
                                           4);
    const std::string text = message.toString();
    EXPECT_EQ(text, "\n\tMessage ID: 00a0c9112233\n\tMessage type: INFORMATION"
                    "\n\tMessage sender: AvtpPacketBoundaryChecker"
                    "\n\tChannel amount before the change: 2\n\tChannel amount after the change: 4");
    EXPECT_EQ(text.find("77"), std::string::npos);
}

TEST(Messages, HostTellsKindsApartByClassWordAndConvertsThePointer) {
    std::shared_ptr<sonacore::BaseMessage> status =
        std::make_shared<sonacore::StatusMessage>("eth0", "INFORMATION", "PcapPacketSniffer", "text");
    std::shared_ptr<sonacore::BaseMessage> change = std::make_shared<sonacore::ChannelAmountChanged>(
        "dev", "INFORMATION", "AvtpPacketBoundaryChecker", 2, 1, 2);

    // What a host receives: the public base interface at the same address as the message.
    std::shared_ptr<sonacore::imessages::IBaseMessage> received = status;
    EXPECT_EQ(static_cast<void*>(received.get()), static_cast<void*>(status.get()));
    ASSERT_EQ(received->getMessageClass(), "StatusMessage");
    auto asStatus = std::dynamic_pointer_cast<sonacore::imessages::IStatusMessage>(received);
    ASSERT_NE(asStatus, nullptr);
    EXPECT_EQ(asStatus->getMessage(), "text");

    received = change;
    ASSERT_EQ(received->getMessageClass(), "ChannelAmountChanged");
    auto asChange = std::dynamic_pointer_cast<sonacore::imessages::IChannelAmountChanged>(received);
    ASSERT_NE(asChange, nullptr);
    EXPECT_EQ(asChange->getChannelAmountAfter(), 2U);
    EXPECT_EQ(std::dynamic_pointer_cast<sonacore::imessages::IStatusMessage>(received), nullptr);
}
