#pragma once

#include "avb/AvbAudioBuffer.h"
#include "avb/AvbToFloatSampleConverter.h"
#include "avb/AvtpPacketChecker.h"
#include "pcapplus/PcapPacketReceiverBase.h"
#include "sonacore/BaseMessage.h"
#include "sonacore/DeviceConfiguration.h"
#include "threading/Worker.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace avb {

// The pipeline from one captured frame to samples in per-channel audio buffers, for one adapter and any
// number of streaming devices on it, each told by its source MAC address (its key: 12 hexadecimal
// characters). Buffers are named key "_Ch" channel, channels counted from 0.
//
// Thread affinity: addStreamingDevice and getAudioBuffer run on the host's thread; receivePacket and all it
// calls on the capture thread. The devices live in immutable tables: adding a device publishes a new table
// that the capture thread picks up at its next frame, so adding while capture runs is free of data races.
// Nothing on the packet path throws: refusals are log lines and return values.
class AvtpPacketReceiver : public threading::Worker, public pcapplus::PcapPacketReceiverBase {
    Q_OBJECT

public:
    // The result of checkBufferAvailability: whether the device has buffers, and a text saying so.
    using BufferAvailability = std::pair<bool, std::string>;

    explicit AvtpPacketReceiver(std::uint8_t avtpSubtype, QObject* parent = nullptr);
    ~AvtpPacketReceiver() override;

    // Registers a device with one buffer per configured channel. Throws exceptions::InstanceAlreadyExists
    // for a known key, and exceptions::InstanceNotCreateable for a configuration no frame could bring a
    // sample to or that asks for more channels than a frame can state: a channel amount of 0 or above 1023,
    // a sample size of 0, 0 samples per channel. Nothing changes then. The configuration must outlive the
    // receiver.
    //
    // A configuration that states its sample format has its frames' format field checked: a frame that
    // states another format is refused (its sequence number was taken; it is not counted as missed), with a
    // "WARNING" message once per change of the stated format. With acceptVlanTagged, the device's frames
    // are also taken behind one 0x8100 or 0x88a8 tag, or an 0x88a8 tag stacked on an 0x8100 one.
    void addStreamingDevice(const std::string& deviceKey, sonacore::DeviceConfiguration* configuration,
                            bool acceptVlanTagged = false);
    // True when a device added with acceptVlanTagged exists.
    bool acceptsVlanTagged() const { return devices().acceptsVlanTagged; }
    // The buffer of a device's channel, from 0; valid as long as the receiver. Throws
    // exceptions::ResourceNotAvailable for an unknown device or a channel above the count, and
    // std::out_of_range for a channel equal to the count.
    AvbAudioBuffer* getAudioBuffer(const std::string& deviceKey, std::uint64_t channel);

    // On the capture thread: frames without a header, shorter than 15 bytes or of another subtype are
    // ignored without a word. Reads never go past the captured bytes. A tagged frame goes, with its tags
    // passed over, to the devices that accept tagged frames; when none of them sent it, it goes on as any
    // other frame (and is then ignored, since a tag stands where the subtype would).
    void receivePacket(unsigned char* user, const pcap_pkthdr* header, const unsigned char* frame) override;
    std::string getReceiverName() const override;
    // "(unbound)" in the name becomes "(eth" number ")".
    void bindToDevice(int deviceNumber) override;
    // "[" name "]"
    std::string toString() const override;

    // Picks the device by source address and lets its checker judge the frame.
    void extractAvtpPacketData(const std::uint8_t* frame, std::uint32_t length);
    // Converts the frame's samples and writes each to its channel's buffer.
    void writeAudioSamplesToBuffer(const std::uint8_t* frame, const std::string& deviceKey);
    // The delivered channel amount when the frame's channels and stated length fit the device; 0 refuses
    // the frame's audio.
    std::int32_t performPreDataExtractionChecks(const std::string& deviceKey, std::uint32_t maximumChannels,
                                                std::uint32_t samplesPerChannel, std::uint32_t sampleSize);
    BufferAvailability checkBufferAvailability(const std::string& deviceKey) const;

    // Frames that matched a device and failed its sequence check, over all devices; never reset.
    std::uint64_t getMissedPackets() const { return missedPackets.load(std::memory_order_relaxed); }

public slots:
    void end() override;
    void progress() override;

signals:
    // Status of the devices, such as a changed channel amount; emitted on the capture thread.
    void message(std::shared_ptr<sonacore::BaseMessage> message);

private:
    // How one device's frames are read, and what the capture thread remembers of them between frames.
    struct DeviceIngest {
        sonacore::SampleFormat sampleFormat = sonacore::SampleFormat::Unspecified;
        // Only a configuration that states its format has the format field checked and other formats read.
        bool sampleFormatStated = false;
        bool acceptVlanTagged = false;
        // Capture thread only. The format code of the latest refused frame, so that a refusal is reported
        // once per change of the stated format; -1 while frames agree with the configuration.
        int refusedFormatCode = -1;
        // Capture thread only. Non-finite float samples: all of them, those not yet reported, and when the
        // latest report went out.
        std::uint64_t nonFiniteSamples = 0;
        std::uint64_t unreportedNonFinite = 0;
        bool nonFiniteReported = false;
        std::chrono::steady_clock::time_point nonFiniteReportTime;
    };

    // One published state of the devices. Never changed once published.
    struct DeviceTable {
        std::map<std::string, std::shared_ptr<AvtpPacketChecker>> packetCheckers;
        std::map<std::string, sonacore::DeviceConfiguration*> deviceConfigurations;
        std::map<std::string, std::vector<std::shared_ptr<AvbAudioBuffer>>> audioBuffers;
        // Shared by every later table, so that what the capture thread remembers survives an added device.
        std::map<std::string, std::shared_ptr<DeviceIngest>> ingest;
        bool acceptsVlanTagged = false;
        bool statesSampleFormats = false;
    };

    // One frame as the checks read it: its untagged header, and its samples with the captured bytes that hold
    // them. For an untagged frame both are the captured frame; for a tagged one the header is a copy without
    // the tags.
    struct FrameView {
        const std::uint8_t* header = nullptr;
        std::uint32_t headerLength = 0;
        const std::uint8_t* payload = nullptr;
        std::uint64_t payloadLength = 0;
    };
    static FrameView untaggedView(const std::uint8_t* frame, std::uint32_t length);

    const DeviceTable& devices() const { return *currentTable.load(std::memory_order_acquire); }
    // Offers a tagged frame to the devices that accept tagged frames. True when one of them sent it (whether
    // its audio was taken or not); false when the frame is not a tagged AAF frame or none of them sent it.
    bool receiveTagged(const std::uint8_t* frame, std::uint32_t length, const DeviceTable& table);
    // Judges one frame for the devices in `table`, optionally only for those that accept tagged frames. True
    // when a device sent it.
    bool dispatch(const FrameView& view, const DeviceTable& table, bool taggedOnly);
    // Writes the frame's audio for one device. The device's checker, when the caller has it at hand, or null
    // to look it up by key.
    void writeSamples(const FrameView& view, const std::string& deviceKey, const DeviceTable& table,
                      AvtpPacketChecker* checker);
    // False, with a message once per change, when the frame's format field contradicts the stated format.
    bool isFormatAccepted(const FrameView& view, const std::string& deviceKey, DeviceIngest& ingest);
    // Converts and stores the samples of a device that states its format.
    void writeStatedFormat(const std::uint8_t* payload,
                           const std::vector<std::shared_ptr<AvbAudioBuffer>>& buffers,
                           std::uint32_t channels, std::uint64_t total, const std::string& deviceKey,
                           DeviceIngest& ingest);
    void reportNonFinite(const std::string& deviceKey, DeviceIngest& ingest, std::uint64_t count);
    void warnDevice(const std::string& deviceKey, const std::string& text);
    // The checks of performPreDataExtractionChecks with the device's checker at hand.
    std::int32_t channelsOfFrame(AvtpPacketChecker& checker, const std::string& deviceKey,
                                 std::uint32_t maximumChannels, std::uint32_t samplesPerChannel,
                                 std::uint32_t sampleSize);
    std::string name() const;

    // Every table ever published, so that the capture thread may go on reading an older one while a newer
    // one is published. Written on the host's thread only; tables are small and devices are never removed.
    std::vector<std::unique_ptr<const DeviceTable>> tables;
    std::atomic<const DeviceTable*> currentTable;
    std::atomic<std::uint64_t> missedPackets{0};
    const std::uint8_t avtpSubtype;
    const AvbToFloatSampleConverter sampleConverter;
    // The length of the frame being handled, for the bounds of the write; capture thread only.
    std::uint32_t currentFrameLength = 0;
    mutable std::mutex nameMutex;
    std::string receiverName = "AvtpPacketReceiver (unbound)";
};

} // namespace avb
