#pragma once

#include "avb/AvbAudioBuffer.h"
#include "engine/streaming/NetworkReceiver.h"
#include "engine/streaming/NetworkReceiverHandle.h"
#include "sonacore/BaseMessage.h"
#include "sonacore/StreamConfiguration.h"

#include <QObject>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace engine::streaming {

// Owns one NetworkReceiver per adapter, adds streams to them, and tells which buffer holds a channel and
// which handle controls an adapter. Lives on the host's thread; all its operations run there and take no
// lock. Receivers are only ever added; they end with the engine.
class StreamingEngine : public QObject {
    Q_OBJECT

public:
    explicit StreamingEngine(QObject* parent = nullptr);
    // Deletes every receiver: each stops capturing and closes its adapter.
    ~StreamingEngine() override;

    // Makes sure the adapter's receiver exists, then adds the stream to it. Throws
    // exceptions::InstanceNotCreateable when the adapter cannot be opened or the device has no channels,
    // exceptions::StreamingDeviceAlreadyExists when the stream's MAC address is known already.
    void addRemoteStreamReceiver(sonacore::StreamConfiguration& configuration);
    void initiateNetworkReceiver(sonacore::StreamConfiguration& configuration);
    void addNetworkStreamToNetworkReceiver(sonacore::StreamConfiguration& configuration);
    // Throws exceptions::ResourceNotAvailable for an unknown MAC address; otherwise as the receiver's own.
    avb::AvbAudioBuffer* getAudioBuffer(const std::string& macAddress, std::uint64_t channel);
    // Throws exceptions::ResourceNotAvailable for an adapter without a receiver.
    NetworkReceiverHandle& getNetworkDeviceHandle(const std::string& name);
    // Stops every listening receiver; does not wait for their capture loops.
    void stop();
    // Blocks until the capture loops of every receiver have returned: after stop, no frame is written into a
    // buffer any more. Never call it on a capture loop's thread.
    void waitForCaptureEnd();
    // Retires the handle of every receiver for good: the library's tear-down, after stop and before the
    // configurations go.
    void retireHandles();
    // On: each adapter's frames reach only the streams added on that adapter, each on its own capture thread.
    // Off (the default): the frames of every adapter reach the receiver opened last. Takes effect only before
    // the first stream is added; later it warns and changes nothing. Host's thread only.
    void setPerAdapterCapture(bool enabled);

    // The filter every receiver captures with, and the one AVTP subtype accepted.
    static constexpr const char* defaultCaptureFilter = "ether proto 0x22f0";
    // The filter of an adapter once one of its streams accepts VLAN-tagged frames. Where the operating system
    // takes the tag off before filtering (Linux, live) the first half passes tagged frames; where it leaves
    // the tag in place (captured files, other systems) the second does. In this order only: `vlan` moves the
    // offsets of everything after it.
    static constexpr const char* vlanCaptureFilter = "ether proto 0x22f0 or (vlan and ether proto 0x22f0)";
    static constexpr std::uint8_t defaultAvtpSubtype = 2;

signals:
    // Status of all receivers, delivered on the engine's thread.
    void message(std::shared_ptr<sonacore::BaseMessage> message);

private:
    const std::string captureFilter = defaultCaptureFilter;
    const std::uint8_t avtpSubtype = defaultAvtpSubtype;
    std::map<std::string, std::unique_ptr<NetworkReceiver>> networkReceivers;
    std::map<std::string, std::string> streamRegistry;
    bool perAdapterCapture = false;
};

} // namespace engine::streaming
