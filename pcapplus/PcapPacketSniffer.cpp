#include "pcapplus/PcapPacketSniffer.h"

#include "sonacore/Log.h"
#include "sonacore/SonaCoreConstants.h"
#include "sonacore/StatusMessage.h"

#include <QThreadPool>

#include <exception>
#include <mutex>

namespace pcapplus {
namespace {

// The class-wide callback. Each frame holds the lock for the length of its call, so the capture threads of
// several adapters take turns in the one receiver, whose packet checkers and buffers expect one writer; and
// a receiver that is replaced (or whose sniffer ends) is never called afterwards.
std::mutex callbackMutex;
PacketCallback packetCallback = &PcapPacketSniffer::dummyPacketHandler;

void replaceCallback(PacketCallback callback) {
    std::lock_guard<std::mutex> lock(callbackMutex);
    packetCallback = std::move(callback);
}

// What a failed activation of `device` reports, in the words libpcap's own one-call open uses, so that the
// error text reads the same whichever way the adapter is opened.
std::string activationError(const std::string& device, int status, const char* detail) {
    if (status == PCAP_ERROR) {
        return device + ": " + detail;
    }
    if (status == PCAP_ERROR_NO_SUCH_DEVICE || status == PCAP_ERROR_PERM_DENIED ||
        status == PCAP_ERROR_PROMISC_PERM_DENIED) {
        return device + ": " + pcap_statustostr(status) + " (" + detail + ")";
    }
    return device + ": " + pcap_statustostr(status);
}

} // namespace

PcapPacketSniffer::PcapPacketSniffer(const PcapDeviceInfo& info, int snapLength, int promiscuous,
                                     int timeoutMs, QObject* parent)
    : QObject(parent), name("PcapPacketSniffer (eth" + std::to_string(info.getDeviceNumber()) + ")"),
      deviceInfo(info) {
    loopState->dropWatch.setReport(
        [this](std::uint64_t dropped, std::uint64_t total) { reportKernelDrops(dropped, total); });
    {
        std::lock_guard<std::mutex> lock(loopState->mutex);
        loopState->loopFailed = [this](const std::string& error) { reportCaptureLost(error); };
    }
    configure(info, snapLength, promiscuous, timeoutMs);
}

PcapPacketSniffer::~PcapPacketSniffer() {
    // First, so that a loop still running reports nothing through a sniffer that is going away.
    loopState->dropWatch.clearReport();
    {
        std::lock_guard<std::mutex> lock(loopState->mutex);
        loopState->loopFailed = nullptr;
    }
    replaceCallback(&PcapPacketSniffer::dummyPacketHandler);
    stop();
    waitForLoops();
    if (configured) {
        sonacore::log::debug("~PcapPacketSniffer", sonacore::log::name(name), "Release PCAP and free memory");
        pcapHandle.reset();
    }
}

void PcapPacketSniffer::configure(const PcapDeviceInfo& info, int snapLength, int promiscuous,
                                  int timeoutMs) {
    if (!info.isValid()) {
        configured = false;
        sonacore::log::debug("configure", sonacore::log::name(name),
                             "Passed device info object is invalid! Cannot configure device",
                             " number: ", info.getDeviceNumber());
        return;
    }
    deviceInfo = PcapDeviceInfo(info.getDeviceNumber(), info.getDeviceName(), info.getDeviceDescription());
    openSnapLength = snapLength;
    openPromiscuous = promiscuous;
    openTimeoutMs = timeoutMs;

    std::string error;
    PcapHandle handle = openAdapter(snapLength, promiscuous, timeoutMs, error);
    std::string text;
    if (handle) {
        // A second configure of an open sniffer replaces its handle, once no loop can use the old one.
        if (pcapHandle) {
            if (listening.load()) {
                stop();
            }
            waitForLoops();
        }
        pcapHandle = std::move(handle);
        captureLost.store(false);
        loopState->dropWatch.restart();
        text = "Successfully configured adapter number " + std::to_string(deviceInfo.getDeviceNumber());
        configured = true;
    } else {
        text = "Unable to open the adapter number " + std::to_string(deviceInfo.getDeviceNumber()) +
               ". Error message: " + error;
        configured = static_cast<bool>(pcapHandle);
    }
    sonacore::log::debug("configure", sonacore::log::name(name), text);
    emitStatus(text);
}

PcapHandle PcapPacketSniffer::openAdapter(int snapLength, int promiscuous, int timeoutMs,
                                          std::string& error) {
    const std::string& device = deviceInfo.getDeviceName();
    char errorBuffer[PCAP_ERRBUF_SIZE] = {};
    PcapHandle opened(pcap_create(device.c_str(), errorBuffer));
    if (!opened) {
        error = errorBuffer;
        return {};
    }
    pcap_t* handle = opened.get();
    // These only fail on an activated handle.
    pcap_set_snaplen(handle, snapLength);
    pcap_set_promisc(handle, promiscuous);
    pcap_set_timeout(handle, timeoutMs);
    pcap_set_buffer_size(handle, kernelRingBytes);
    const int status = pcap_activate(handle);
    if (status < 0) {
        error = activationError(device, status, pcap_geterr(handle));
        return {};
    }
    if (status > 0) {
        // The adapter is open and captures; the warning says what it does differently from what was asked.
        const std::string detail = pcap_geterr(handle);
        const std::string text =
            "Adapter number " + std::to_string(deviceInfo.getDeviceNumber()) +
            " opened with a warning: " + (detail.empty() ? std::string(pcap_statustostr(status)) : detail);
        sonacore::log::warning("configure", sonacore::log::name(name), text);
    }
    return opened;
}

bool PcapPacketSniffer::isConfigured() {
    if (!configured) {
        const std::string text = "Sniffer not configured properly! Please set a valid configuration!";
        sonacore::log::warning("isConfigured", sonacore::log::name(name), text);
        emitStatus(text);
    }
    return configured;
}

bool PcapPacketSniffer::setFilter(const std::string& expression, int optimize, bpf_u_int32 netmask) {
    if (!isConfigured()) {
        return false;
    }
    std::string text = "Filter '" + expression + "'";
    // A failed compile leaves the program empty, which pcap_setfilter then refuses with its own error text.
    bpf_program program{};
    if (pcap_compile(pcapHandle.get(), &program, expression.c_str(), optimize, netmask) != 0) {
        text += ": Unable to compile! Check the syntax";
        filterActive = false;
    }
    // Set also after a failed compile, in this order, so that the handle's own error text is reported.
    if (pcap_setfilter(pcapHandle.get(), &program) == 0) {
        filterActive = true;
        text += " enabled";
        filterExpression = expression;
        filterOptimize = optimize;
        filterNetmask = netmask;
    } else {
        text += std::string(": cannot be set! Error message: ") + pcap_geterr(pcapHandle.get());
        filterActive = false;
    }
    // libpcap keeps its own copy of a program it has set.
    pcap_freecode(&program);
    sonacore::log::debug("setFilter", sonacore::log::name(name), text);
    emitStatus(text);
    return filterActive;
}

void PcapPacketSniffer::registerPacketReceiver(PcapPacketReceiverBase& receiver) {
    ownReceiver = receiver.getCallbackConnector();
    replaceCallback(ownReceiver);
    receiver.bindReceiver(deviceInfo.getDeviceNumber());
    receiverName = receiver.getReceiverName();
    const std::string text = "Registered: " + receiverName;
    sonacore::log::debug("registerPacketReceiver", sonacore::log::name(name), text);
    emitStatus(text);
}

void PcapPacketSniffer::setPerAdapterCapture(bool enabled) {
    perAdapterCapture = enabled;
}

void PcapPacketSniffer::start() {
    if (listening.load() || !isConfigured()) {
        const std::string text = "Sniffer already listening, cannot be started!";
        sonacore::log::warning("start", sonacore::log::name(name), text);
        emitStatus(text);
        return;
    }
    // A handle whose loop failed is dead for good (an adapter that went away and came back is a new
    // interface), so it is opened anew; while the adapter is missing the start goes no further.
    if (captureLost.load() && !reopenAfterLoss()) {
        return;
    }
    sonacore::log::debug("start", sonacore::log::name(name), "Start listening");

    {
        std::lock_guard<std::mutex> lock(loopState->mutex);
        ++loopState->pending;
    }
    eventLoop = new RunPcapEventLoop(name, deviceInfo.getDeviceName(), pcapHandle.get(), loopState,
                                     &PcapPacketSniffer::pcapCallback,
                                     perAdapterCapture ? ownReceiver : PacketCallback());
    eventLoop->setAutoDelete(true);
    // Each listening sniffer holds one pool thread for as long as it listens. The pool grows rather than
    // queue a capture loop behind others, which would leave frames unread and a later close waiting.
    QThreadPool* pool = QThreadPool::globalInstance();
    if (!pool->tryStart(eventLoop)) {
        pool->setMaxThreadCount(pool->maxThreadCount() + 1);
        pool->start(eventLoop, 0);
    }

    emitStatus("Start listening");
    listening.store(true);
}

void PcapPacketSniffer::stop() {
    if (!listening.load()) {
        const std::string text = "Sniffer not listening, cannot be stopped!";
        sonacore::log::warning("stop", sonacore::log::name(name), text);
        emitStatus(text);
        return;
    }
    listening.store(false);
    pcap_breakloop(pcapHandle.get());
    sonacore::log::debug("stop", sonacore::log::name(name), "Stop listening");
    emitStatus("Stop listening");
}

std::string PcapPacketSniffer::toString() const {
    if (!configured) {
        return name + "\nNicSniffer initialized but not configured properly!";
    }
    return name + " configured on device: " + std::to_string(deviceInfo.getDeviceNumber()) +
           "\nBound to packet receiver: " + receiverName + "\nFilter set: " + filterExpression +
           "\nRunning: " + (listening.load() ? "1" : "0") + "\nAdapter details:\n\t" + deviceInfo.toString();
}

void PcapPacketSniffer::pcapCallback(unsigned char* user, const pcap_pkthdr* header,
                                     const unsigned char* frame) {
    try {
        if (user != nullptr) {
            // Per-adapter capture: the loop's own receiver, which only this thread calls.
            (*reinterpret_cast<PacketCallback*>(user))(nullptr, header, frame);
        } else {
            std::lock_guard<std::mutex> lock(callbackMutex);
            packetCallback(nullptr, header, frame);
        }
    } catch (const std::exception& error) {
        sonacore::log::warning("pcapCallback", "Frame handling failed: ", error.what());
    } catch (...) {
        sonacore::log::warning("pcapCallback", "Frame handling failed");
    }
    RunPcapEventLoop::frameHandedOver();
}

void PcapPacketSniffer::dummyPacketHandler(unsigned char*, const pcap_pkthdr*, const unsigned char*) {
    sonacore::log::warning("dummyPacketHandler",
                           "Pcap++ callback not bound! Please call method 'registerCallback'",
                           "to bind a valid receiver!");
}

void PcapPacketSniffer::waitForLoops() {
    // A handle may be closed only after every loop that may use it has returned.
    std::unique_lock<std::mutex> lock(loopState->mutex);
    loopState->changed.wait(lock, [this] { return loopState->pending == 0; });
}

KernelDropWatch::Totals PcapPacketSniffer::getKernelDrops() const {
    return loopState->dropWatch.totals();
}

void PcapPacketSniffer::reportKernelDrops(std::uint64_t dropped, std::uint64_t total) {
    const std::string text = "Capture dropped " + std::to_string(dropped) + " frames in the kernel (total " +
                             std::to_string(total) + ")";
    sonacore::log::warning("reportKernelDrops", sonacore::log::name(name), text);
    emitStatus(text, sonacore::constants::messageTypeWarning);
}

void PcapPacketSniffer::reportCaptureLost(const std::string& error) {
    captureLost.store(true);
    listening.store(false);
    const std::string text =
        "Capture on adapter '" + deviceInfo.getDeviceName() + "' failed and has stopped: " + error;
    sonacore::log::warning("run", sonacore::log::name(name), text);
    emitStatus(text, sonacore::constants::messageTypeWarning);
}

bool PcapPacketSniffer::reopenAfterLoss() {
    const std::string filter = filterActive ? filterExpression : std::string();
    configure(deviceInfo, openSnapLength, openPromiscuous, openTimeoutMs);
    if (!captureLost.load()) {
        // configure() took the new handle.
        if (!filter.empty()) {
            setFilter(filter, filterOptimize, filterNetmask);
        }
        return true;
    }
    return false;
}

void PcapPacketSniffer::emitStatus(const std::string& text, const std::string& type) {
    emit message(std::make_shared<sonacore::StatusMessage>(name, type, "PcapPacketSniffer", text));
}

} // namespace pcapplus
