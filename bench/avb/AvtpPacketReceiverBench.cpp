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

// An AAF frame from device 00:a0:c9:11:22:33, stream ID 00a0c9112233:0001, of 16-bit samples unless told
// otherwise.
std::vector<std::uint8_t> aafFrame(int channels, int samplesPerChannel,
                                   std::uint8_t format = avb::avtp::formatInt16, int sampleBytes = 2) {
    using namespace avb::avtp;
    const int length = channels * samplesPerChannel * sampleBytes;
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
    frame[formatOffset] = format;
    frame[nominalRateOffset] = static_cast<std::uint8_t>(nominalRate48kHz << 4);
    frame[channelsPerFrameOffset] = static_cast<std::uint8_t>(channels);
    frame[bitDepthOffset] = static_cast<std::uint8_t>(8 * sampleBytes);
    put16(frame, streamDataLengthOffset, static_cast<std::uint32_t>(length));
    for (int index = 0; index < length; ++index) {
        // Bytes that make finite floats too: the top byte of every 4 stays below 0x7f.
        frame[payloadOffset + static_cast<std::size_t>(index)] =
            static_cast<std::uint8_t>((index * 29) & 0x3f);
    }
    return frame;
}

// Frames per second, and nanoseconds per sample of `samplesPerFrame` samples (all channels) per frame.
void reportRates(benchmark::State& state, int samplesPerFrame) {
    state.counters["frames/s"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["ns/sample"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * samplesPerFrame,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
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
    reportRates(state, channels * samplesPerChannel);
    qInstallMessageHandler(nullptr);
}

// The forms a device can state, each with its frame's format code and sample bytes, and its tags.
struct Form {
    sonacore::SampleFormat format;
    std::uint8_t code;
    int sampleBytes;
    std::vector<std::uint16_t> tags;
};

const std::vector<Form>& forms() {
    static const std::vector<Form> all{
        {sonacore::SampleFormat::Int16, avb::avtp::formatInt16, 2, {}},
        {sonacore::SampleFormat::Int24, avb::avtp::formatInt24, 3, {}},
        {sonacore::SampleFormat::Int32, avb::avtp::formatInt32, 4, {}},
        {sonacore::SampleFormat::Float32, avb::avtp::formatFloat32, 4, {}},
        {sonacore::SampleFormat::Int16, avb::avtp::formatInt16, 2, {0x8100, 0x6002}},
        {sonacore::SampleFormat::Int32, avb::avtp::formatInt32, 4, {0x8100, 0x6002}},
        {sonacore::SampleFormat::Int32, avb::avtp::formatInt32, 4, {0x88a8, 0x0064, 0x8100, 0x6002}}};
    return all;
}

// The packet entry for a device that states its format and accepts tagged frames. Arguments: channels,
// and the form's row: 0 Int16, 1 Int24, 2 Int32, 3 Float32, untagged; 4 Int16 and 5 Int32 behind one
// 802.1Q tag; 6 Int32 behind a service tag stacked on an 802.1Q tag.
void packetEntryForm(benchmark::State& state) {
    qInstallMessageHandler(quiet);
    const int channels = static_cast<int>(state.range(0));
    const Form& form = forms().at(static_cast<std::size_t>(state.range(1)));
    constexpr int samplesPerChannel = 6;
    sonacore::BufferConfiguration buffer("bench", 48000, 48);
    sonacore::DeviceConfiguration device("bench", &buffer, form.format, static_cast<std::uint64_t>(channels),
                                         samplesPerChannel);
    avb::AvtpPacketReceiver receiver(2);
    receiver.addStreamingDevice("00a0c9112233", &device, true);

    const std::vector<std::uint8_t> untagged =
        aafFrame(channels, samplesPerChannel, form.code, form.sampleBytes);
    std::vector<std::uint8_t> frame(untagged.begin(), untagged.begin() + avb::avtp::etherTypeOffset);
    for (const std::uint16_t field : form.tags) {
        frame.push_back(static_cast<std::uint8_t>(field >> 8));
        frame.push_back(static_cast<std::uint8_t>(field));
    }
    frame.insert(frame.end(), untagged.begin() + avb::avtp::etherTypeOffset, untagged.end());
    const std::size_t sequenceAt = avb::avtp::sequenceNumberOffset + 2 * form.tags.size();
    pcap_pkthdr header{};
    header.len = header.caplen = static_cast<bpf_u_int32>(frame.size());
    std::uint8_t sequence = 0;
    for (auto _ : state) {
        frame[sequenceAt] = sequence++;
        receiver.receivePacket(nullptr, &header, frame.data());
    }
    if (receiver.getMissedPackets() != 0 ||
        receiver.getAudioBuffer("00a0c9112233", 0)->getWritePosition() == 0) {
        state.SkipWithError("frames were refused");
    }
    reportRates(state, channels * samplesPerChannel);
    qInstallMessageHandler(nullptr);
}

} // namespace

BENCHMARK(packetEntry)->Arg(2)->Arg(8)->ArgName("channels");
BENCHMARK(packetEntryForm)->ArgsProduct({{2, 8}, {0, 1, 2, 3, 4, 5, 6}})->ArgNames({"channels", "form"});
