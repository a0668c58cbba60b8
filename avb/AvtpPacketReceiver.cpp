#include "avb/AvtpPacketReceiver.h"

#include "avb/AafSampleDecoder.h"
#include "avb/AvtpFrame.h"
#include "exceptions/SonaCoreException.h"
#include "sonacore/Log.h"
#include "sonacore/SonaCoreConstants.h"
#include "sonacore/StatusMessage.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace avb {

AvtpPacketReceiver::AvtpPacketReceiver(std::uint8_t avtpSubtype, QObject* parent)
    : threading::Worker("AvtpPacketReceiver", parent), avtpSubtype(avtpSubtype) {
    tables.push_back(std::make_unique<const DeviceTable>());
    currentTable.store(tables.back().get(), std::memory_order_release);
    sonacore::log::debug("AvtpPacketReceiver", sonacore::log::name(name()), "Initialized");
}

AvtpPacketReceiver::~AvtpPacketReceiver() {
    sonacore::log::debug("~AvtpPacketReceiver", sonacore::log::name(name()), "CLEARED!");
}

std::string AvtpPacketReceiver::name() const {
    std::lock_guard<std::mutex> lock(nameMutex);
    return receiverName;
}

std::string AvtpPacketReceiver::getReceiverName() const {
    return name();
}

void AvtpPacketReceiver::bindToDevice(int deviceNumber) {
    std::lock_guard<std::mutex> lock(nameMutex);
    const std::string unbound = "(unbound)";
    const auto position = receiverName.find(unbound);
    if (position != std::string::npos) {
        receiverName.replace(position, unbound.size(), "(eth" + std::to_string(deviceNumber) + ")");
    }
}

std::string AvtpPacketReceiver::toString() const {
    return "[" + name() + "]";
}

void AvtpPacketReceiver::addStreamingDevice(const std::string& deviceKey,
                                            sonacore::DeviceConfiguration* configuration,
                                            bool acceptVlanTagged) {
    const DeviceTable& current = devices();
    if (current.audioBuffers.count(deviceKey) != 0) {
        const std::string text =
            "Buffer already available for the specified device MAC address: " + deviceKey +
            "! Device won't be added!";
        sonacore::log::warning("addStreamingDevice", sonacore::log::name(name()), text);
        throw exceptions::InstanceAlreadyExists(text);
    }
    // A device is refused when no frame could bring it a sample, or when it asks for more channels than a
    // frame can state (which would also make as many buffers).
    const std::uint64_t channelAmount = configuration->getChannelAmount();
    const auto refuse = [&](const std::string& what, std::uint64_t value) {
        const std::string text = "Invalid " + what + " '" + std::to_string(value) +
                                 "' given for device by '" + configuration->getName() +
                                 "' for: " + deviceKey + " Device not initialized!";
        sonacore::log::warning("addStreamingDevice", sonacore::log::name(name()), text);
        throw exceptions::InstanceNotCreateable(text);
    };
    if (channelAmount == 0 || channelAmount > avtp::maximumChannels) {
        refuse("channel count", channelAmount);
    }
    if (configuration->getSampleSize() == 0) {
        refuse("sample size", 0);
    }
    if (configuration->getSamplesPerChannel() == 0) {
        refuse("samples per channel", 0);
    }

    // The new device goes into a copy; the capture thread keeps reading the current table meanwhile.
    auto table = std::make_unique<DeviceTable>(current);
    auto checker =
        std::make_shared<AvtpPacketChecker>(deviceKey, static_cast<std::int32_t>(channelAmount), nullptr);
    connect(checker.get(), &AvtpPacketBoundaryChecker::message, this, &AvtpPacketReceiver::message,
            Qt::AutoConnection);
    table->packetCheckers[deviceKey] = std::move(checker);
    table->deviceConfigurations[deviceKey] = configuration;
    auto ingest = std::make_shared<DeviceIngest>();
    ingest->sampleFormat = configuration->getSampleFormat();
    ingest->sampleFormatStated = configuration->isSampleFormatStated();
    ingest->acceptVlanTagged = acceptVlanTagged;
    table->ingest[deviceKey] = std::move(ingest);
    table->acceptsVlanTagged = table->acceptsVlanTagged || acceptVlanTagged;
    table->statesSampleFormats = table->statesSampleFormats || configuration->isSampleFormatStated();
    auto& buffers = table->audioBuffers[deviceKey];
    for (std::uint64_t channel = 0; channel < channelAmount; ++channel) {
        buffers.push_back(std::make_shared<AvbAudioBuffer>(deviceKey + "_Ch" + std::to_string(channel),
                                                           configuration->getBufferConfiguration()));
    }
    tables.push_back(std::move(table));
    currentTable.store(tables.back().get(), std::memory_order_release);
}

AvbAudioBuffer* AvtpPacketReceiver::getAudioBuffer(const std::string& deviceKey, std::uint64_t channel) {
    const DeviceTable& table = devices();
    const auto found = table.audioBuffers.find(deviceKey);
    if (found == table.audioBuffers.end()) {
        const std::string text = checkBufferAvailability(deviceKey).second;
        sonacore::log::warning("getAudioBuffer", sonacore::log::name(name()), text);
        throw exceptions::ResourceNotAvailable(text);
    }
    // One short on purpose: the channel equal to the count passes here and ends in the bounds-checked
    // access below, with the standard out-of-range exception.
    if (found->second.size() < channel) {
        const std::string text = "No buffer available for the specified channel number '" +
                                 std::to_string(channel) + "' at streaming device: " + deviceKey;
        sonacore::log::warning("getAudioBuffer", sonacore::log::name(name()), text);
        throw exceptions::ResourceNotAvailable(text);
    }
    return found->second.at(channel).get();
}

void AvtpPacketReceiver::receivePacket(unsigned char*, const pcap_pkthdr* header,
                                       const unsigned char* frame) {
    if (header == nullptr || frame == nullptr) {
        return;
    }
    // Only what was captured may be read, whatever the wire length says.
    const std::uint32_t length = std::min(header->len, header->caplen);
    const DeviceTable& table = devices();
    if (table.acceptsVlanTagged && receiveTagged(frame, length, table)) {
        return;
    }
    if (length < avtp::subtypeOffset + 1 || frame[avtp::subtypeOffset] != avtpSubtype) {
        return;
    }
    extractAvtpPacketData(frame, length);
}

AvtpPacketReceiver::FrameView AvtpPacketReceiver::untaggedView(const std::uint8_t* frame,
                                                               std::uint32_t length) {
    FrameView view;
    view.header = frame;
    view.headerLength = length;
    if (AvtpFrameReader(frame, length).holds(avtp::payloadOffset, 0)) {
        view.payload = frame + avtp::payloadOffset;
        view.payloadLength = length - avtp::payloadOffset;
    }
    return view;
}

bool AvtpPacketReceiver::receiveTagged(const std::uint8_t* frame, std::uint32_t length,
                                       const DeviceTable& table) {
    const AvtpFrameReader reader(frame, length);
    const std::uint16_t outer = reader.bigEndian16At(avtp::etherTypeOffset);
    if (outer != avtp::vlanEtherType && outer != avtp::serviceVlanEtherType) {
        return false;
    }
    std::uint32_t tagBytes = avtp::vlanTagSize;
    // A service tag may carry a customer tag behind it; deeper stacks are not AVB stream traffic.
    if (outer == avtp::serviceVlanEtherType &&
        reader.bigEndian16At(avtp::etherTypeOffset + tagBytes) == avtp::vlanEtherType) {
        tagBytes += avtp::vlanTagSize;
    }
    if (reader.bigEndian16At(avtp::etherTypeOffset + tagBytes) != avtp::avtpEtherType ||
        !reader.holds(avtp::subtypeOffset + tagBytes, 1) ||
        frame[avtp::subtypeOffset + tagBytes] != avtpSubtype) {
        return false;
    }

    // The checks read the header at the offsets of an untagged frame, so they get a copy without the tags:
    // the two addresses, then everything from the EtherType on, as far as the frame holds it. The samples
    // are read where they are.
    const std::uint32_t untaggedLength = length - tagBytes;
    std::array<std::uint8_t, avtp::payloadOffset> header{};
    const std::uint32_t headerLength = std::min<std::uint32_t>(untaggedLength, avtp::payloadOffset);
    std::memcpy(header.data(), frame, avtp::etherTypeOffset);
    std::memcpy(header.data() + avtp::etherTypeOffset, frame + avtp::etherTypeOffset + tagBytes,
                headerLength - avtp::etherTypeOffset);
    FrameView view;
    view.header = header.data();
    view.headerLength = headerLength;
    if (untaggedLength >= avtp::payloadOffset) {
        view.payload = frame + avtp::payloadOffset + tagBytes;
        view.payloadLength = untaggedLength - avtp::payloadOffset;
    }
    return dispatch(view, table, true);
}

void AvtpPacketReceiver::extractAvtpPacketData(const std::uint8_t* frame, std::uint32_t length) {
    currentFrameLength = length;
    dispatch(untaggedView(frame, length), devices(), false);
}

bool AvtpPacketReceiver::dispatch(const FrameView& view, const DeviceTable& table, bool taggedOnly) {
    bool sent = false;
    for (const auto& [deviceKey, checker] : table.packetCheckers) {
        if (taggedOnly && !table.ingest.at(deviceKey)->acceptVlanTagged) {
            continue;
        }
        if (!checker->isPacketConform(view.header, view.headerLength)) {
            continue;
        }
        sent = true;
        if (checker->checkPacketData(view.header, view.headerLength)) {
            writeSamples(view, deviceKey, table, checker.get());
            return true;
        }
        const std::uint64_t missed = missedPackets.fetch_add(1, std::memory_order_relaxed) + 1;
        sonacore::log::warning("extractAvtpPacketData", sonacore::log::name(name()),
                               "Packets missed: ", missed);
    }
    return sent;
}

void AvtpPacketReceiver::writeAudioSamplesToBuffer(const std::uint8_t* frame, const std::string& deviceKey) {
    writeSamples(untaggedView(frame, currentFrameLength), deviceKey, devices(), nullptr);
}

namespace {

// Writes `total` channel samples of `sampleBytes` bytes each, instant by instant, each channel's into its
// buffer, converted by `decode`. Buffers of channels from `channels` on get nothing. The caller has checked
// that the payload holds them all.
template <typename Decode>
void writeInterleaved(const std::uint8_t* payload,
                      const std::vector<std::shared_ptr<AvbAudioBuffer>>& buffers, std::uint32_t channels,
                      std::uint64_t total, std::uint64_t sampleBytes, Decode decode) {
    const std::uint64_t stride = std::uint64_t{channels} * sampleBytes;
    const std::uint8_t* instant = payload;
    std::uint64_t written = 0;
    for (std::uint64_t sampleInstant = 0; written < total && sampleInstant < total; ++sampleInstant) {
        std::uint64_t byteOffset = 0;
        std::uint64_t channel = 0;
        for (const auto& buffer : buffers) {
            if (buffer && channel < channels) {
                const float sample = decode(instant + byteOffset);
                buffer->writeSample(&sample);
                byteOffset += sampleBytes;
                ++written;
            }
            ++channel;
        }
        instant += stride;
    }
}

} // namespace

void AvtpPacketReceiver::writeSamples(const FrameView& view, const std::string& deviceKey,
                                      const DeviceTable& table, AvtpPacketChecker* checker) {
    const auto buffersEntry = table.audioBuffers.find(deviceKey);
    if (buffersEntry == table.audioBuffers.end()) {
        sonacore::log::warning("writeAudioSamplesToBuffer", sonacore::log::name(name()),
                               "Cannot store samples to buffer: ", checkBufferAvailability(deviceKey).second,
                               " No buffer exists for the given device.");
        return;
    }
    // Only a receiver with a device that states its format looks the device's format up, so that the
    // frames of the others take no extra step.
    DeviceIngest* ingest = table.statesSampleFormats ? table.ingest.at(deviceKey).get() : nullptr;
    const bool statedFormat = ingest != nullptr && ingest->sampleFormatStated;
    if (statedFormat && !isFormatAccepted(view, deviceKey, *ingest)) {
        return;
    }
    // The table is immutable and outlives this call, so its buffers stay alive during the write.
    const std::vector<std::shared_ptr<AvbAudioBuffer>>& buffers = buffersEntry->second;
    const sonacore::DeviceConfiguration* configuration = table.deviceConfigurations.at(deviceKey);
    const auto sampleSize = static_cast<std::uint32_t>(configuration->getSampleSize());
    const auto samplesPerChannel = static_cast<std::uint32_t>(configuration->getSamplesPerChannel());
    const auto maximumChannels = static_cast<std::uint32_t>(configuration->getChannelAmount());
    // The walk over the devices has found the checker already; only a caller by key looks it up.
    const std::int32_t channels =
        checker != nullptr
            ? channelsOfFrame(*checker, deviceKey, maximumChannels, samplesPerChannel, sampleSize)
            : performPreDataExtractionChecks(deviceKey, maximumChannels, samplesPerChannel, sampleSize);
    const std::uint64_t total =
        static_cast<std::uint64_t>(samplesPerChannel) * static_cast<std::uint32_t>(channels);
    // A sample size of 0 is refused when the device is added; here it could only come from a size beyond 32
    // bits, and a sample without bytes would let a frame of no payload stand for any number of samples.
    if (total == 0 || sampleSize == 0 || buffers.empty()) {
        return;
    }
    // The stated length matched what the configuration implies, but only the captured bytes may be read. The
    // test divides rather than multiplies, so that no product of large sizes can wrap round to a small one.
    if (view.payload == nullptr || total > view.payloadLength / sampleSize) {
        sonacore::log::warning("writeAudioSamplesToBuffer", sonacore::log::name(name()),
                               "The stated AVTP stream data length exceeds the captured frame! ",
                               "Packet audio data won't be extracted for device: ", deviceKey);
        return;
    }
    if (statedFormat) {
        writeStatedFormat(view.payload, buffers, static_cast<std::uint32_t>(channels), total, deviceKey,
                          *ingest);
        return;
    }
    writeInterleaved(view.payload, buffers, static_cast<std::uint32_t>(channels), total, sampleSize,
                     [this, sampleSize](const std::uint8_t* bytes) {
                         return sampleConverter.convertFromBigEndian(bytes, sampleSize);
                     });
}

void AvtpPacketReceiver::writeStatedFormat(const std::uint8_t* payload,
                                           const std::vector<std::shared_ptr<AvbAudioBuffer>>& buffers,
                                           std::uint32_t channels, std::uint64_t total,
                                           const std::string& deviceKey, DeviceIngest& ingest) {
    switch (ingest.sampleFormat) {
    case sonacore::SampleFormat::Int16:
        writeInterleaved(payload, buffers, channels, total, 2, [this](const std::uint8_t* bytes) {
            return sampleConverter.convertFromBigEndian(bytes, 2);
        });
        break;
    case sonacore::SampleFormat::Int24:
        writeInterleaved(payload, buffers, channels, total, 3, aaf::int24ToFloat);
        break;
    case sonacore::SampleFormat::Int32:
        writeInterleaved(payload, buffers, channels, total, 4, aaf::int32ToFloat);
        break;
    case sonacore::SampleFormat::Float32: {
        std::uint64_t nonFinite = 0;
        writeInterleaved(payload, buffers, channels, total, 4, [&nonFinite](const std::uint8_t* bytes) {
            return aaf::float32ToFloat(bytes, nonFinite);
        });
        if (nonFinite != 0) {
            reportNonFinite(deviceKey, ingest, nonFinite);
        }
        break;
    }
    case sonacore::SampleFormat::Unspecified:
        break;
    }
}

bool AvtpPacketReceiver::isFormatAccepted(const FrameView& view, const std::string& deviceKey,
                                          DeviceIngest& ingest) {
    // The frame passed the length checks, so its header holds the format field.
    const std::uint8_t stated = AvtpFrameReader(view.header, view.headerLength).byteAt(avtp::formatOffset);
    if (stated == aaf::formatCodeOf(ingest.sampleFormat)) {
        ingest.refusedFormatCode = -1;
        return true;
    }
    if (ingest.refusedFormatCode != stated) {
        ingest.refusedFormatCode = stated;
        warnDevice(deviceKey, "Device " + deviceKey + " is configured for " +
                                  sonacore::DeviceConfiguration::sampleFormatName(ingest.sampleFormat) +
                                  " samples, but its frames state " + aaf::formatCodeName(stated) +
                                  " samples, so their audio is refused until the two agree: configure the "
                                  "device with the format its talker sends.");
    }
    return false;
}

void AvtpPacketReceiver::reportNonFinite(const std::string& deviceKey, DeviceIngest& ingest,
                                         std::uint64_t count) {
    ingest.nonFiniteSamples += count;
    ingest.unreportedNonFinite += count;
    // At most one report a second, so that a talker sending nothing but NaN cannot flood the host.
    const auto now = std::chrono::steady_clock::now();
    if (ingest.nonFiniteReported && now - ingest.nonFiniteReportTime < std::chrono::seconds(1)) {
        return;
    }
    ingest.nonFiniteReported = true;
    ingest.nonFiniteReportTime = now;
    warnDevice(deviceKey, "Device " + deviceKey + " sent " + std::to_string(ingest.unreportedNonFinite) +
                              " float samples that are NaN or infinite since the last report (" +
                              std::to_string(ingest.nonFiniteSamples) +
                              " in all), and each was analysed as 0.0.");
    ingest.unreportedNonFinite = 0;
}

void AvtpPacketReceiver::warnDevice(const std::string& deviceKey, const std::string& text) {
    sonacore::log::warning("writeAudioSamplesToBuffer", sonacore::log::name(name()), text);
    emit message(std::make_shared<sonacore::StatusMessage>(deviceKey, sonacore::constants::messageTypeWarning,
                                                           "AvtpPacketReceiver", text));
}

std::int32_t AvtpPacketReceiver::performPreDataExtractionChecks(const std::string& deviceKey,
                                                                std::uint32_t maximumChannels,
                                                                std::uint32_t samplesPerChannel,
                                                                std::uint32_t sampleSize) {
    const DeviceTable& table = devices();
    const auto found = table.packetCheckers.find(deviceKey);
    if (found == table.packetCheckers.end() || !found->second) {
        sonacore::log::warning(
            "performPreDataExtractionChecks", sonacore::log::name(name()),
            "The amount of AVTP packet requirements cannot be checked! The required ",
            "packet data and boundary check instance is not available for device: ", deviceKey);
        return 0;
    }
    return channelsOfFrame(*found->second, deviceKey, maximumChannels, samplesPerChannel, sampleSize);
}

std::int32_t AvtpPacketReceiver::channelsOfFrame(AvtpPacketChecker& checker, const std::string& deviceKey,
                                                 std::uint32_t maximumChannels,
                                                 std::uint32_t samplesPerChannel, std::uint32_t sampleSize) {
    const std::int32_t channels = checker.checkChannelAmount(static_cast<std::int32_t>(maximumChannels));
    // In 32-bit arithmetic, as the stated length is compared with it.
    const auto expected =
        static_cast<std::int32_t>(sampleSize * samplesPerChannel * static_cast<std::uint32_t>(channels));
    if (checker.isStreamDataLengthExpected(expected)) {
        return channels;
    }
    sonacore::log::warning("performPreDataExtractionChecks", sonacore::log::name(name()),
                           "The transferred AVTP stream data length is unexpected! ",
                           "Packet audio data won't be extracted for device: ", deviceKey);
    return 0;
}

AvtpPacketReceiver::BufferAvailability
AvtpPacketReceiver::checkBufferAvailability(const std::string& deviceKey) const {
    if (devices().audioBuffers.count(deviceKey) != 0) {
        return {true, "Buffer already available for the specified device MAC address: " + deviceKey};
    }
    return {false, "No buffer available for the specified device MAC address: " + deviceKey};
}

void AvtpPacketReceiver::end() {
    sonacore::log::debug("end", sonacore::log::name(name()), "Packet receiver forced to end");
    emit finished();
}

void AvtpPacketReceiver::progress() {
    sonacore::log::debug("progress", sonacore::log::name(name()), "Packet receiver progress started");
}

} // namespace avb
