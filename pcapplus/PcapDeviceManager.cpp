#include "pcapplus/PcapDeviceManager.h"

#include "exceptions/SonaCoreException.h"
#include "sonacore/Log.h"

#include <pcap/pcap.h>

#include <stdexcept>

namespace sonacore {
INetworkDeviceManager::~INetworkDeviceManager() = default;
} // namespace sonacore

namespace pcapplus {
namespace {

// Owns the list that pcap_findalldevs hands out. It is given back to libpcap in every case, also when the
// list is empty or building an entry throws.
class DeviceList {
public:
    DeviceList() = default;
    ~DeviceList() { pcap_freealldevs(head); }
    DeviceList(const DeviceList&) = delete;
    DeviceList& operator=(const DeviceList&) = delete;

    pcap_if_t* head = nullptr;
};

// Logged as this object's name. A plain text, since the manager is built during the library's load.
constexpr const char* managerName = PcapDeviceManager::objectName;

} // namespace

PcapDeviceManager::PcapDeviceManager() {
    sonacore::log::debug("PcapDeviceManager", "Initialized");
    scanDevices();
}

PcapDeviceManager::~PcapDeviceManager() = default;

std::string PcapDeviceManager::toString() const {
    std::string text = "DeviceManager: \n";
    for (const auto& device : devices) {
        text += device.toString() + "\n";
    }
    return text;
}

bool PcapDeviceManager::scanDevices() {
    devices.clear();

    char errorBuffer[PCAP_ERRBUF_SIZE] = {};
    DeviceList list;
    if (pcap_findalldevs(&list.head, errorBuffer) == -1) {
        sonacore::log::warning("scanDevices", sonacore::log::name(managerName),
                               "Device scan cannot be performed: ", static_cast<const char*>(errorBuffer));
        return false;
    }
    std::int32_t counter = 0;
    for (const pcap_if_t* entry = list.head; entry != nullptr; entry = entry->next) {
        ++counter;
        devices.emplace_back(counter, entry->name != nullptr ? entry->name : "",
                             entry->description != nullptr ? entry->description
                                                           : PcapDeviceInfo::descriptionNotAvailable);
    }

    if (counter == 0) {
        sonacore::log::debug("scanDevices", sonacore::log::name(managerName),
                             "No interfaces found! Make sure WinPcap is installed correctly!.");
        return false;
    }
    sonacore::log::debug("scanDevices", sonacore::log::name(managerName),
                         "Number of available Ethernet devices: ", counter);
    return true;
}

std::uint64_t PcapDeviceManager::getDeviceCount() const {
    return devices.size();
}

PcapDeviceInfo& PcapDeviceManager::getDeviceInfo(std::uint64_t number) {
    if (number == 0) {
        sonacore::log::warning("getDeviceInfo",
                               "Please enter a valid index! Device info indexing starts at number: 1");
    }
    try {
        // For number 0 the subtraction wraps, and the access fails like any other number too large.
        return devices.at(number - 1);
    } catch (const std::out_of_range&) {
        sonacore::log::raise<exceptions::ResourceNotAvailable>(
            "getDeviceInfo", "Requested index number is not available: " + std::to_string(number) + ". " +
                                 "The index number is out of range! Please pass a number between 1 and " +
                                 std::to_string(devices.size()));
    }
}

} // namespace pcapplus
