#include "PacketSocket.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace avtptalker {

PacketSocket::~PacketSocket() {
    close();
}

PacketSocket::PacketSocket(PacketSocket&& other) noexcept
    : fd(other.fd), boundInterfaceName(std::move(other.boundInterfaceName)),
      interfaceAddress(other.interfaceAddress), interfaceMtu(other.interfaceMtu) {
    other.fd = -1;
}

PacketSocket& PacketSocket::operator=(PacketSocket&& other) noexcept {
    if (this != &other) {
        close();
        fd = other.fd;
        boundInterfaceName = std::move(other.boundInterfaceName);
        interfaceAddress = other.interfaceAddress;
        interfaceMtu = other.interfaceMtu;
        other.fd = -1;
    }
    return *this;
}

void PacketSocket::close() {
    if (fd >= 0) {
        ::close(fd);
        fd = -1;
    }
}

bool PacketSocket::open(const std::string& interfaceName, std::string& error) {
    close();
    // The interface is looked up before the socket is made, so that a typo is reported as such even
    // without the rights to open a raw socket.
    if (interfaceName.size() >= IFNAMSIZ) {
        error =
            "unknown interface '" + interfaceName + "' (the name is longer than an interface name can be)";
        return false;
    }
    const unsigned index = if_nametoindex(interfaceName.c_str());
    if (index == 0) {
        error = "unknown interface '" + interfaceName + "'";
        return false;
    }

    const int opened = ::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0);
    if (opened < 0) {
        if (errno == EPERM || errno == EACCES) {
            error = "no permission to open a raw packet socket; run as root or grant CAP_NET_RAW";
        } else {
            error = std::string("cannot open a raw packet socket: ") + std::strerror(errno);
        }
        return false;
    }
    fd = opened;
    boundInterfaceName = interfaceName;

    ifreq request{};
    std::strncpy(request.ifr_name, interfaceName.c_str(), IFNAMSIZ - 1);
    if (::ioctl(fd, SIOCGIFHWADDR, &request) < 0) {
        error = "cannot read the hardware address of '" + interfaceName + "': " + std::strerror(errno);
        close();
        return false;
    }
    std::copy_n(reinterpret_cast<const std::uint8_t*>(request.ifr_hwaddr.sa_data), 6,
                interfaceAddress.begin());
    if (::ioctl(fd, SIOCGIFMTU, &request) < 0) {
        error = "cannot read the MTU of '" + interfaceName + "': " + std::strerror(errno);
        close();
        return false;
    }
    interfaceMtu = static_cast<unsigned>(request.ifr_mtu);

    // Binding with protocol 0 fixes the interface for send() without subscribing to any received frames.
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_protocol = 0;
    address.sll_ifindex = static_cast<int>(index);
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) < 0) {
        error = "cannot bind a raw packet socket to '" + interfaceName + "': " + std::strerror(errno);
        close();
        return false;
    }
    return true;
}

bool PacketSocket::send(const std::uint8_t* frame, std::size_t length, std::string& error) {
    while (true) {
        const ssize_t sent = ::send(fd, frame, length, 0);
        if (sent == static_cast<ssize_t>(length)) {
            return true;
        }
        if (sent >= 0) {
            error =
                "the kernel sent only " + std::to_string(sent) + " of " + std::to_string(length) + " bytes";
            return false;
        }
        if (errno == EINTR) {
            continue;
        }
        if (errno == ENOBUFS || errno == EAGAIN) {
            // A full device queue drops the frame and says so; give the receiver a moment and resend, so
            // that running as fast as possible still loses nothing on the sending side.
            const timespec pause{0, 50'000};
            ::nanosleep(&pause, nullptr);
            continue;
        }
        if (errno == ENETDOWN) {
            error = "interface '" + boundInterfaceName + "' is down";
        } else if (errno == EMSGSIZE) {
            error = "a frame of " + std::to_string(length) + " bytes is too long for interface '" +
                    boundInterfaceName + "'";
        } else {
            error = "cannot send on '" + boundInterfaceName + "': " + std::strerror(errno);
        }
        return false;
    }
}

} // namespace avtptalker
