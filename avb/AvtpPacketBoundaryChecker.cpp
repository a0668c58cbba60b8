#include "avb/AvtpPacketBoundaryChecker.h"

#include "sonacore/ChannelAmountChanged.h"
#include "sonacore/Log.h"
#include "sonacore/SonaCoreConstants.h"

#include <utility>

namespace avb {

AvtpPacketBoundaryChecker::AvtpPacketBoundaryChecker(std::string deviceName,
                                                     std::int32_t configuredChannelAmount, QObject* parent)
    : QObject(parent), deviceName(std::move(deviceName)), configuredChannelAmount(configuredChannelAmount) {
    sonacore::log::debug("AvtpPacketBoundaryChecker", sonacore::log::name(this->deviceName), "Initialized");
}

AvtpPacketBoundaryChecker::~AvtpPacketBoundaryChecker() {
    sonacore::log::debug("~AvtpPacketBoundaryChecker", sonacore::log::name(deviceName), "CLEARED!");
}

void AvtpPacketBoundaryChecker::setAmountOfDeliveredAvtpPacketChannels(std::int32_t amount) {
    if (amount == channelAmount) {
        return;
    }
    previousChannelAmount = channelAmount;
    channelAmount = amount;
    // The amounts travel as unsigned numbers: -1, a frame too short to hold the amount, arrives as
    // 0xffffffff.
    emit message(std::make_shared<sonacore::ChannelAmountChanged>(
        deviceName, sonacore::constants::messageTypeInformation, "AvtpPacketBoundaryChecker",
        static_cast<std::uint32_t>(configuredChannelAmount),
        static_cast<std::uint32_t>(previousChannelAmount), static_cast<std::uint32_t>(channelAmount)));
    sonacore::log::debug("setAmountOfDeliveredAvtpPacketChannels", sonacore::log::name(deviceName),
                         "The amount of the currently transferred AVTP packet channels",
                         "have been  changed. New channel number: ", channelAmount,
                         ", before: ", previousChannelAmount);
}

void AvtpPacketBoundaryChecker::setStreamDataLength(std::int32_t length) {
    streamDataLength = length;
}

std::int32_t AvtpPacketBoundaryChecker::checkChannelAmount(std::int32_t maximum) {
    if (channelAmount > 0 && channelAmount <= maximum) {
        return channelAmount;
    }
    sonacore::log::warning("checkChannelAmount", sonacore::log::name(deviceName),
                           "The amount of AVTP packet channels is invalid or exceeded: ",
                           "Maximum allowed channel amount: ", maximum,
                           ", AVTP packet amount: ", channelAmount);
    return 0;
}

bool AvtpPacketBoundaryChecker::isStreamDataLengthExpected(std::int32_t expectedLength) const {
    return streamDataLength == expectedLength;
}

} // namespace avb
