#pragma once

#include "TalkerOptions.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace avtptalker {

// A Linux AF_PACKET raw socket bound to one interface, for sending whole Ethernet frames.
//
// Owns the descriptor (closed by the destructor; move-only). The socket is opened with protocol 0 so that
// the kernel queues no received frames to it. Not thread-safe.
class PacketSocket {
public:
    PacketSocket() = default;
    ~PacketSocket();
    PacketSocket(PacketSocket&& other) noexcept;
    PacketSocket& operator=(PacketSocket&& other) noexcept;
    PacketSocket(const PacketSocket&) = delete;
    PacketSocket& operator=(const PacketSocket&) = delete;

    // Opens a socket on `interfaceName`. Returns false and sets `error` to one sentence when the interface
    // does not exist, the process lacks CAP_NET_RAW, or the kernel refuses for another reason.
    bool open(const std::string& interfaceName, std::string& error);

    // The interface's own hardware address.
    const MacAddress& hardwareAddress() const { return interfaceAddress; }

    // The interface's MTU in bytes, without the 14-byte Ethernet header.
    unsigned mtu() const { return interfaceMtu; }

    // Sends `length` bytes starting at the Ethernet header. When the kernel's queue is full the call
    // waits for room and tries again, so a frame is never silently lost here. Returns false and sets
    // `error` on any other failure.
    bool send(const std::uint8_t* frame, std::size_t length, std::string& error);

private:
    void close();

    int fd = -1;
    std::string boundInterfaceName;
    MacAddress interfaceAddress{};
    unsigned interfaceMtu = 0;
};

} // namespace avtptalker
