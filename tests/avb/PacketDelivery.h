#pragma once

#include "avb/AvtpPacketReceiver.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace avbtest {

// Hands a whole frame to the receiver's packet entry, as libpcap hands over a frame it captured whole.
inline void deliver(avb::AvtpPacketReceiver& receiver, const std::vector<std::uint8_t>& frame) {
    pcap_pkthdr header{};
    header.len = static_cast<bpf_u_int32>(frame.size());
    header.caplen = header.len;
    receiver.receivePacket(nullptr, &header, frame.data());
}

// Hands over the first `length` bytes of a frame whose wire length was its whole size, as libpcap does with
// a frame cut short. The bytes lie in an allocation of exactly that size, so that a read past them is an
// error under the address sanitizer.
inline void deliverTruncated(avb::AvtpPacketReceiver& receiver, const std::vector<std::uint8_t>& frame,
                             std::size_t length) {
    auto exact = std::make_unique<std::uint8_t[]>(length == 0 ? 1 : length);
    std::copy(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(length), exact.get());
    pcap_pkthdr header{};
    header.len = static_cast<bpf_u_int32>(frame.size());
    header.caplen = static_cast<bpf_u_int32>(length);
    receiver.receivePacket(nullptr, &header, exact.get());
}

} // namespace avbtest
