#include "engine/streaming/StreamingEngine.h"

#include "exceptions/SonaCoreException.h"
#include "sonacore/Log.h"

#include <memory>

namespace engine::streaming {
namespace {

const sonacore::INetworkDeviceInfo& adapterOf(const sonacore::StreamConfiguration& configuration) {
    return *configuration.getNetworkDeviceInfo();
}

} // namespace

StreamingEngine::StreamingEngine(QObject* parent) : QObject(parent) {
    sonacore::log::debug("StreamingEngine", "Initialized");
}

StreamingEngine::~StreamingEngine() {
    for (auto& [name, receiver] : networkReceivers) {
        receiver.reset();
        sonacore::log::debug("~StreamingEngine", "Network receiver cleared!");
    }
    sonacore::log::debug("~StreamingEngine", "Cleanup completed!");
}

void StreamingEngine::addRemoteStreamReceiver(sonacore::StreamConfiguration& configuration) {
    const auto& adapter = adapterOf(configuration);
    if (networkReceivers.count(adapter.getDeviceName()) != 0) {
        sonacore::log::debug("addRemoteStreamReceiver", "Network receiver for network device '",
                             adapter.getDeviceDescription(), "' (", adapter.getDeviceName(),
                             ") already available, the device stream can be added");
    } else {
        initiateNetworkReceiver(configuration);
    }
    addNetworkStreamToNetworkReceiver(configuration);
}

void StreamingEngine::initiateNetworkReceiver(sonacore::StreamConfiguration& configuration) {
    const auto& adapter = adapterOf(configuration);
    auto receiver = std::make_unique<NetworkReceiver>(pcapplus::PcapDeviceInfo(adapter), avtpSubtype,
                                                      std::string(captureFilter));
    if (!static_cast<pcapplus::PcapPacketSniffer&>(*receiver).isConfigured()) {
        const std::string text =
            "Packet receiver cannot be initialized by configuration '" + configuration.getName() +
            "' for streaming device: " + configuration.getDeviceMacAddress() + "! Wrong configuration passed";
        sonacore::log::warning("initiateNetworkReceiver", text);
        sonacore::log::warning("initiateNetworkReceiver",
                               "Cannot be registered on: ", adapter.getDeviceDescription(), "' (",
                               adapter.getDeviceName(), ")");
        throw exceptions::InstanceNotCreateable(text);
    }
    receiver->setPerAdapterCapture(perAdapterCapture);
    networkReceivers[adapter.getDeviceName()] = std::move(receiver);
    sonacore::log::debug("initiateNetworkReceiver", "Network receiver initialized by configuration '",
                         configuration.getName(),
                         "'' for streaming device :", configuration.getDeviceMacAddress());
    sonacore::log::debug("initiateNetworkReceiver",
                         "Registered on network device: ", adapter.getDeviceDescription(), "' (",
                         adapter.getDeviceName(), ")");
}

void StreamingEngine::addNetworkStreamToNetworkReceiver(sonacore::StreamConfiguration& configuration) {
    const std::string macAddress = configuration.getDeviceMacAddress();
    const auto known = streamRegistry.find(macAddress);
    if (known != streamRegistry.end()) {
        // The interface that holds the stream already, by its receiver's adapter.
        const auto& holder = networkReceivers.at(known->second)->getDeviceInfo();
        const std::string text = "Streaming device already exists: " + macAddress +
                                 "' already registered to '" + holder.getDeviceDescription() + "' (" +
                                 holder.getDeviceName() + "). No action will be performed!";
        sonacore::log::warning("addNetworkStreamToNetworkReceiver", text);
        throw exceptions::StreamingDeviceAlreadyExists(text, macAddress, holder.getDeviceName());
    }
    const auto& adapter = adapterOf(configuration);
    NetworkReceiver* receiver = networkReceivers.at(adapter.getDeviceName()).get();
    receiver->addStreamingDevice(macAddress, configuration.getDeviceConfiguration(),
                                 configuration.getAcceptVlanTagged());
    // On every add, not unique: a receiver with two devices delivers each of its messages twice.
    connect(static_cast<avb::AvtpPacketReceiver*>(receiver), &avb::AvtpPacketReceiver::message, this,
            &StreamingEngine::message, Qt::AutoConnection);
    // After the connection, so that the host hears of the wider filter.
    if (configuration.getAcceptVlanTagged()) {
        receiver->widenFilterForVlanTagged(vlanCaptureFilter);
    }
    streamRegistry[macAddress] = adapter.getDeviceName();
    sonacore::log::debug("addNetworkStreamToNetworkReceiver",
                         "Network stream successfully added by configuration '", configuration.getName(),
                         "'' for streaming device :", macAddress);
    sonacore::log::debug("addNetworkStreamToNetworkReceiver", "Receiver is: ", adapter.getDeviceDescription(),
                         "' (", adapter.getDeviceName(), ")");
}

avb::AvbAudioBuffer* StreamingEngine::getAudioBuffer(const std::string& macAddress, std::uint64_t channel) {
    const auto found = streamRegistry.find(macAddress);
    if (found == streamRegistry.end()) {
        sonacore::log::raise<exceptions::ResourceNotAvailable>(
            "getAudioBuffer", "The requested audio buffer for streaming device MAC '" + macAddress + "' " +
                                  "is NOT available! The device stream is not received by the engine");
    }
    return networkReceivers.at(found->second)->getAudioBuffer(macAddress, channel);
}

NetworkReceiverHandle& StreamingEngine::getNetworkDeviceHandle(const std::string& name) {
    const auto found = networkReceivers.find(name);
    if (found == networkReceivers.end()) {
        sonacore::log::raise<exceptions::ResourceNotAvailable>(
            "getNetworkDeviceHandle",
            "The requested network receiver handle for network receiver UID '" + name +
                "' is NOT available! No network receiver for the given ID available by "
                "this engine");
    }
    return found->second->getReceiverHandle();
}

void StreamingEngine::stop() {
    for (auto& [name, receiver] : networkReceivers) {
        if (receiver != nullptr && receiver->isListening()) {
            static_cast<pcapplus::PcapPacketSniffer*>(receiver.get())->stop();
        }
    }
    sonacore::log::debug("stop", "Network receivers stopped!");
}

void StreamingEngine::setPerAdapterCapture(bool enabled) {
    if (!networkReceivers.empty()) {
        sonacore::log::warning(
            "setPerAdapterCapture",
            std::string("Per-adapter capture is chosen before the first stream is added; it "
                        "stays ") +
                (perAdapterCapture ? "on" : "off"));
        return;
    }
    perAdapterCapture = enabled;
    sonacore::log::debug("setPerAdapterCapture",
                         std::string("Per-adapter capture ") + (enabled ? "on" : "off"));
}

void StreamingEngine::retireHandles() {
    for (auto& [name, receiver] : networkReceivers) {
        if (receiver != nullptr) {
            receiver->getReceiverHandle().retire();
        }
    }
}

void StreamingEngine::waitForCaptureEnd() {
    for (auto& [name, receiver] : networkReceivers) {
        if (receiver != nullptr) {
            static_cast<pcapplus::PcapPacketSniffer*>(receiver.get())->waitForLoops();
        }
    }
}

} // namespace engine::streaming
