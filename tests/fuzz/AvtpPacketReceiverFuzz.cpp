// Fuzz target for the packet path: arbitrary bytes become a captured frame, handed to the receiver's packet
// entry the way libpcap hands it over. The first two input bytes choose how the wire length relates to the
// captured length; the rest is the frame, copied into an allocation of exactly its size so that any read
// past it is caught by the address sanitizer.
//
// Build and run: scripts/run-fuzz.sh [seconds]
#include "avb/AvtpPacketReceiver.h"
#include "sonacore/BufferConfiguration.h"
#include "sonacore/DeviceConfiguration.h"

#include <QtGlobal>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace {

void discardLog(QtMsgType, const QMessageLogContext&, const QString&) {}

// Devices of several shapes, keyed by addresses the seed frames use; the fuzzer mutates from there.
struct Receiver {
    Receiver() {
        receiver.addStreamingDevice("00a0c9112233", &stereo);
        receiver.addStreamingDevice("001122334455", &eight);
        receiver.addStreamingDevice("000000000001", &wide);
        receiver.addStreamingDevice("0000000000", &stereo);
        // Devices that state their format and accept tagged frames, so that tags of every depth and every
        // sample format's conversion are reached.
        receiver.addStreamingDevice("00a0c9112244", &int32Eight, true);
        receiver.addStreamingDevice("00a0c9112255", &float32Stereo, true);
        receiver.addStreamingDevice("00a0c9112266", &int24Stereo, true);
        receiver.addStreamingDevice("00a0c9112277", &int16Stereo, false);
    }
    sonacore::BufferConfiguration buffer{"fuzz", 256, 7};
    sonacore::DeviceConfiguration stereo{"stereo", &buffer, 2, 2, 6};
    sonacore::DeviceConfiguration eight{"eight", &buffer, 2, 8, 6};
    sonacore::DeviceConfiguration wide{"wide", &buffer, 3, 4, 64};
    sonacore::DeviceConfiguration int32Eight{"int32", &buffer, sonacore::SampleFormat::Int32, 8, 6};
    sonacore::DeviceConfiguration float32Stereo{"float32", &buffer, sonacore::SampleFormat::Float32, 2, 6};
    sonacore::DeviceConfiguration int24Stereo{"int24", &buffer, sonacore::SampleFormat::Int24, 2, 6};
    sonacore::DeviceConfiguration int16Stereo{"int16", &buffer, sonacore::SampleFormat::Int16, 2, 6};
    avb::AvtpPacketReceiver receiver{2};
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    qInstallMessageHandler(discardLog);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Receiver target;
    if (size < 2) {
        return 0;
    }
    const std::uint8_t mode = data[0];
    const std::uint8_t extra = data[1];
    data += 2;
    size -= 2;

    auto frame = std::make_unique<std::uint8_t[]>(size == 0 ? 1 : size);
    std::memcpy(frame.get(), data, size);
    pcap_pkthdr header{};
    header.caplen = static_cast<bpf_u_int32>(size);
    switch (mode % 3) {
    case 0:
        header.len = header.caplen;
        break;
    case 1:
        // A frame that was cut by the snap length: the wire was longer than what was captured.
        header.len = header.caplen + extra + 1U;
        break;
    default:
        // A header that claims less than was captured.
        header.len = header.caplen > extra ? header.caplen - extra : 0;
        break;
    }
    target.receiver.receivePacket(nullptr, &header, frame.get());
    return 0;
}
