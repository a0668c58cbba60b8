// Frames per second and nanoseconds per sample through the receiver's packet entry, for frames of 6 samples
// per channel, each sample converted and written under its buffer's lock, with signalling on.
#include "avb/AvtpPacketReceiver.h"
#include "sonacore/BufferConfiguration.h"
#include "sonacore/DeviceConfiguration.h"

#include <benchmark/benchmark.h>

#include <QtGlobal>

#include <cstdint>
#include <vector>

namespace {

void quiet(QtMsgType, const QMessageLogContext&, const QString&) {}

std::vector<std::uint8_t> aafFrame(int channels, int samplesPerChannel) {
    std::vector<std::uint8_t> frame = {0x91, 0xe0, 0xf0, 0x00, 0xfe, 0x01, 0x00, 0xa0, 0xc9, 0x11, 0x22,
                                       0x33, 0x22, 0xf0, 0x02, 0x81, 0x00, 0x00, 0x00, 0xa0, 0xc9, 0x11,
                                       0x22, 0x33, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x04, 0x50};
    const int length = channels * samplesPerChannel * 2;
    frame.push_back(static_cast<std::uint8_t>(channels));
    frame.push_back(16);
    frame.push_back(static_cast<std::uint8_t>(length >> 8));
    frame.push_back(static_cast<std::uint8_t>(length & 0xff));
    frame.push_back(0);
    frame.push_back(0);
    for (int index = 0; index < length; ++index) {
        frame.push_back(static_cast<std::uint8_t>(index * 29));
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
        frame[16] = sequence++;
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
