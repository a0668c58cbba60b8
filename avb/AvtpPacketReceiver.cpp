#include "avb/AvtpPacketReceiver.h"

#include "avb/AvtpFrame.h"
#include "exceptions/SonaCoreException.h"
#include "sonacore/Log.h"

#include <algorithm>

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
                                            sonacore::DeviceConfiguration* configuration) {
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
    if (length < avtp::subtypeOffset + 1 || frame[avtp::subtypeOffset] != avtpSubtype) {
        return;
    }
    extractAvtpPacketData(frame, length);
}

void AvtpPacketReceiver::extractAvtpPacketData(const std::uint8_t* frame, std::uint32_t length) {
    const DeviceTable& table = devices();
    currentFrameLength = length;
    for (const auto& [deviceKey, checker] : table.packetCheckers) {
        if (!checker->isPacketConform(frame, length)) {
            continue;
        }
        if (checker->checkPacketData(frame, length)) {
            writeSamples(frame, length, deviceKey, table, checker.get());
            return;
        }
        const std::uint64_t missed = missedPackets.fetch_add(1, std::memory_order_relaxed) + 1;
        sonacore::log::warning("extractAvtpPacketData", sonacore::log::name(name()),
                               "Packets missed: ", missed);
    }
}

void AvtpPacketReceiver::writeAudioSamplesToBuffer(const std::uint8_t* frame, const std::string& deviceKey) {
    writeSamples(frame, currentFrameLength, deviceKey, devices(), nullptr);
}

void AvtpPacketReceiver::writeSamples(const std::uint8_t* frame, std::uint32_t length,
                                      const std::string& deviceKey, const DeviceTable& table,
                                      AvtpPacketChecker* checker) {
    const auto buffersEntry = table.audioBuffers.find(deviceKey);
    if (buffersEntry == table.audioBuffers.end()) {
        sonacore::log::warning("writeAudioSamplesToBuffer", sonacore::log::name(name()),
                               "Cannot store samples to buffer: ", checkBufferAvailability(deviceKey).second,
                               " No buffer exists for the given device.");
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
    if (!AvtpFrameReader(frame, length).holds(avtp::payloadOffset, 0) ||
        total > (length - avtp::payloadOffset) / sampleSize) {
        sonacore::log::warning("writeAudioSamplesToBuffer", sonacore::log::name(name()),
                               "The stated AVTP stream data length exceeds the captured frame! ",
                               "Packet audio data won't be extracted for device: ", deviceKey);
        return;
    }

    const std::uint64_t stride =
        static_cast<std::uint64_t>(static_cast<std::uint32_t>(channels)) * sampleSize;
    const std::uint8_t* instant = frame + avtp::payloadOffset;
    std::uint64_t written = 0;
    for (std::uint64_t sampleInstant = 0; written < total && sampleInstant < total; ++sampleInstant) {
        std::uint64_t byteOffset = 0;
        std::uint64_t channel = 0;
        for (const auto& buffer : buffers) {
            if (buffer && channel < static_cast<std::uint32_t>(channels)) {
                const float sample = sampleConverter.convertFromBigEndian(instant + byteOffset, sampleSize);
                buffer->writeSample(&sample);
                byteOffset += sampleSize;
                ++written;
            }
            ++channel;
        }
        instant += stride;
    }
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
