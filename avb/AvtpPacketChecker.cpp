#include "avb/AvtpPacketChecker.h"

#include "avb/AvbFrameFormatter.h"
#include "avb/AvtpFrame.h"
#include "sonacore/Log.h"

#include <algorithm>
#include <cstring>

namespace avb {
namespace {

// Frame lengths below which a field is missing.
constexpr std::uint32_t lengthForSource = 12;
constexpr std::uint32_t lengthForSequence = avtp::sequenceNumberOffset + 1;
constexpr std::uint32_t lengthForChannels = avtp::channelsPerFrameOffset + 1;
constexpr std::uint32_t lengthForDataLength = avtp::streamDataLengthOffset + 2;

} // namespace

AvtpPacketChecker::AvtpPacketChecker(std::string deviceName, std::int32_t configuredChannelAmount,
                                     QObject* parent)
    : AvtpPacketBoundaryChecker(std::move(deviceName), configuredChannelAmount, parent) {
    sonacore::log::debug("AvtpPacketChecker", sonacore::log::name(this->deviceName), "Initialized");
    setSourceMacAddress(this->deviceName);
}

AvtpPacketChecker::~AvtpPacketChecker() {
    sonacore::log::debug("~AvtpPacketChecker", sonacore::log::name(deviceName), "CLEARED!");
}

void AvtpPacketChecker::setSourceMacAddress(const std::string& address) {
    if (address.size() == 2 * sourceMacBytes.size()) {
        sourceMacAddress = address;
        const auto bytes = AvbFrameFormatter::hexToBytes(address);
        std::copy_n(bytes.begin(), sourceMacBytes.size(), sourceMacBytes.begin());
        sonacore::log::debug("setSourceMacAddress", sonacore::log::name(sourceMacAddress),
                             "MAC address successfully set: ", address);
        return;
    }
    // The device stays registered; it is compared against the bytes it had, six zeros for a new checker.
    sourceMacAddress = "000000000000";
    sonacore::log::warning("setSourceMacAddress", sonacore::log::name(sourceMacAddress),
                           "The given source MAC address length is invalid! ",
                           "Method isPacketConform() will always return false!");
}

bool AvtpPacketChecker::isPacketConform(const std::uint8_t* frame, std::uint32_t length) const {
    if (frame == nullptr || length < lengthForSource) {
        return false;
    }
    return std::memcmp(frame + avtp::sourceMacOffset, sourceMacBytes.data(), sourceMacBytes.size()) == 0;
}

bool AvtpPacketChecker::checkPacketData(const std::uint8_t* frame, std::uint32_t length) {
    packetData = frame;
    packetLength = length;

    bool result = false;
    if (frame == nullptr || length < lengthForChannels) {
        setAmountOfDeliveredAvtpPacketChannels(-1);
    } else {
        setAmountOfDeliveredAvtpPacketChannels(frame[avtp::channelsPerFrameOffset]);
        if (length < lengthForDataLength) {
            setStreamDataLength(-1);
        } else {
            setStreamDataLength(AvtpFrameReader(frame, length).bigEndian16At(avtp::streamDataLengthOffset));
            result = true;
        }
    }

    // The first frame of a stream is never out of order: it only sets the base.
    if (firstPacket) {
        resetSequenceNumber();
        return result;
    }
    // A frame too short to judge leaves the base as it is.
    if (!result) {
        return false;
    }
    return isSequenceNrInOrder();
}

bool AvtpPacketChecker::isSequenceNrInOrder() {
    const std::uint8_t received = getSequenceNumber();
    const int expected = lastSequenceNumber + 1;
    // 0 follows only 255; any other number must be exactly one more than the base, without wrapping.
    const bool inOrder = received != 0 ? received == expected : lastSequenceNumber == 255;
    if (!inOrder) {
        sonacore::log::debug("isSequenceNrInOrder", sonacore::log::name(sourceMacAddress),
                             "Sequence Order number out of range! ", " Expected: ", expected,
                             " Received: ", received);
    }
    // The check resynchronises on every frame: after a gap of any size one frame is reported.
    lastSequenceNumber = received;
    return inOrder;
}

std::uint8_t AvtpPacketChecker::getSequenceNumber() const {
    if (packetData == nullptr || packetLength < lengthForSequence) {
        return 0;
    }
    return packetData[avtp::sequenceNumberOffset];
}

bool AvtpPacketChecker::refreshChannelAmount() {
    if (packetData == nullptr || packetLength < lengthForChannels) {
        setAmountOfDeliveredAvtpPacketChannels(-1);
        return false;
    }
    setAmountOfDeliveredAvtpPacketChannels(packetData[avtp::channelsPerFrameOffset]);
    return true;
}

bool AvtpPacketChecker::refreshStreamDataLength() {
    if (packetData == nullptr || packetLength < lengthForDataLength) {
        setStreamDataLength(-1);
        return false;
    }
    setStreamDataLength(
        AvtpFrameReader(packetData, packetLength).bigEndian16At(avtp::streamDataLengthOffset));
    return true;
}

void AvtpPacketChecker::resetSequenceNumber() {
    lastSequenceNumber = getSequenceNumber();
    firstPacket = false;
}

} // namespace avb
