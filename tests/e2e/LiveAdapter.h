#pragma once

#include "sonacore/INetworkDeviceManager.h"

#include <cstdint>
#include <string>

namespace e2etest {

// The library's adapter of the interface `name`, after a fresh scan; null when the scan fails or finds none.
inline sonacore::INetworkDeviceInfo* adapterNamed(const std::string& name) {
    auto* manager = sonacore::INetworkDeviceManager::createInstance();
    if (!manager->scanDevices()) {
        return nullptr;
    }
    for (std::uint64_t number = 1; number <= manager->getDeviceCount(); ++number) {
        if (manager->getDeviceInfo(number).getDeviceName() == name) {
            return &manager->getDeviceInfo(number);
        }
    }
    return nullptr;
}

} // namespace e2etest
