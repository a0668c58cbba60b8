#pragma once

#include "sonacore/BaseMessage.h"

#include <QObject>

#include <cstdint>
#include <memory>
#include <string>

namespace avb {

// Judges how many channels a streaming device's frames deliver and how long their payload says it is, and
// reports each change of the channel amount. Used on the capture thread of the device's adapter only; no
// lock.
class AvtpPacketBoundaryChecker : public QObject {
    Q_OBJECT

public:
    // deviceName is the device key (source MAC address as 12 hexadecimal characters); configuredChannelAmount
    // is only passed on in messages.
    AvtpPacketBoundaryChecker(std::string deviceName, std::int32_t configuredChannelAmount,
                              QObject* parent = nullptr);
    ~AvtpPacketBoundaryChecker() override;

    // Records the delivered amount; a change emits a ChannelAmountChanged. -1 stands for a frame too short to
    // hold the amount.
    void setAmountOfDeliveredAvtpPacketChannels(std::int32_t amount);
    // Stores the stated stream data length; -1 for a frame too short to hold it.
    void setStreamDataLength(std::int32_t length);
    // The delivered amount when it lies in 1..maximum; otherwise 0, with a warning.
    std::int32_t checkChannelAmount(std::int32_t maximum);
    bool isStreamDataLengthExpected(std::int32_t expectedLength) const;

    std::int32_t getChannelAmount() const { return channelAmount; }
    std::int32_t getPreviousChannelAmount() const { return previousChannelAmount; }
    std::int32_t getStreamDataLength() const { return streamDataLength; }
    std::string getDeviceName() const { return deviceName; }

signals:
    // Emitted on the capture thread when the delivered channel amount changes.
    void message(std::shared_ptr<sonacore::BaseMessage> message);

protected:
    const std::string deviceName;
    const std::int32_t configuredChannelAmount;
    std::int32_t channelAmount = -1;
    std::int32_t previousChannelAmount = 0;
    std::int32_t streamDataLength = -1;
};

} // namespace avb
