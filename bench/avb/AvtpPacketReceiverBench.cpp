// Frames per second and nanoseconds per sample through the receiver's packet entry, for frames of 6 samples
// per channel, each sample converted and written under its buffer's lock, with signalling on.
#include "avb/AvtpFrame.h"
#include "avb/AvtpPacketReceiver.h"
#include "sonacore/BufferConfiguration.h"
#include "sonacore/DeviceConfiguration.h"

#include <benchmark/benchmark.h>

#include <QtGlobal>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <vector>

namespace {

void quiet(QtMsgType, const QMessageLogContext&, const QString&) {}

void put16(std::vector<std::uint8_t>& frame, std::uint32_t offset, std::uint32_t value) {
    frame[offset] = static_cast<std::uint8_t>(value >> 8);
    frame[offset + 1] = static_cast<std::uint8_t>(value);
}

// An AAF frame of 16-bit samples from device 00:a0:c9:11:22:33, stream ID 00a0c9112233:0001.
std::vector<std::uint8_t> aafFrame(int channels, int samplesPerChannel) {
    using namespace avb::avtp;
    const int length = channels * samplesPerChannel * 2;
    std::vector<std::uint8_t> frame(payloadOffset + static_cast<std::size_t>(length), 0);
    const std::uint8_t destination[] = {0x91, 0xe0, 0xf0, 0x00, 0xfe, 0x01};
    const std::uint8_t source[] = {0x00, 0xa0, 0xc9, 0x11, 0x22, 0x33};
    std::copy(std::begin(destination), std::end(destination), frame.begin() + destinationMacOffset);
    std::copy(std::begin(source), std::end(source), frame.begin() + sourceMacOffset);
    put16(frame, etherTypeOffset, avtpEtherType);
    frame[subtypeOffset] = aafSubtype;
    frame[validityOffset] = streamAndTimestampValid;
    std::copy(std::begin(source), std::end(source), frame.begin() + streamIdOffset);
    put16(frame, streamIdOffset + macSize, 0x0001);
    frame[formatOffset] = formatInt16;
    frame[nominalRateOffset] = static_cast<std::uint8_t>(nominalRate48kHz << 4);
    frame[channelsPerFrameOffset] = static_cast<std::uint8_t>(channels);
    frame[bitDepthOffset] = 16;
    put16(frame, streamDataLengthOffset, static_cast<std::uint32_t>(length));
    for (int index = 0; index < length; ++index) {
        frame[payloadOffset + static_cast<std::size_t>(index)] = static_cast<std::uint8_t>(index * 29);
    }
    return frame;
}

void packetEntry(benchmark::State& state) {
    qInstallMessageHandler(quiet);
    const int channels = static_cast<int>(state.range(0));
    constexpr int samplesPerChannel = 6;
    // 48000-sample buffers signalling every 48 samples, as a host with a waveform processor would set them.
    sonacore::BufferConfiguration buffer("bench", 48000, 48);
    sonacore::DeviceConfiguration device("bench", &buffer, 2, static_cast<std::uint64_t>(channels),
                                         samplesPerChannel);
    avb::AvtpPacketReceiver receiver(2);
    receiver.addStreamingDevice("00a0c9112233", &device);

    std::vector<std::uint8_t> frame = aafFrame(channels, samplesPerChannel);
    pcap_pkthdr header{};
    header.len = header.caplen = static_cast<bpf_u_int32>(frame.size());
    std::uint8_t sequence = 0;
    for (auto _ : state) {
        frame[avb::avtp::sequenceNumberOffset] = sequence++;
        receiver.receivePacket(nullptr, &header, frame.data());
    }
    if (receiver.getMissedPackets() != 0) {
        state.SkipWithError("frames were refused");
    }
    state.counters["frames/s"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["ns/sample"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * channels * samplesPerChannel,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    qInstallMessageHandler(nullptr);
}

} // namespace

BENCHMARK(packetEntry)->Arg(2)->Arg(8)->ArgName("channels");
