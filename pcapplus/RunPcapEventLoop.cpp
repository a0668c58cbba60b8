#include "pcapplus/RunPcapEventLoop.h"

#include "pcapplus/LinkWatch.h"
#include "sonacore/Log.h"

#include <utility>

namespace pcapplus {
namespace {

// The loop that runs on this thread: the capture callback is a plain function with a null user pointer, so
// this is how it finds the handle whose frames it is handed.
thread_local RunPcapEventLoop* activeLoop = nullptr;

} // namespace

RunPcapEventLoop::RunPcapEventLoop(std::string snifferName, std::string deviceName, pcap_t* pcapHandle,
                                   std::shared_ptr<CaptureLoopState> state, pcap_handler callback,
                                   PacketCallback target)
    : QObject(nullptr), snifferName(std::move(snifferName)), deviceName(std::move(deviceName)),
      pcapHandle(pcapHandle), state(std::move(state)), callback(callback), target(std::move(target)) {}

RunPcapEventLoop::~RunPcapEventLoop() {
    sonacore::log::debug("~RunPcapEventLoop", sonacore::log::name(snifferName), "Released!");
}

void RunPcapEventLoop::run() {
    {
        // Two loops on one handle must never overlap: a start that follows a stop closely waits here until
        // the previous loop has seen its break.
        std::unique_lock<std::mutex> lock(state->mutex);
        state->changed.wait(lock, [this] { return !state->inLoop; });
        state->inLoop = true;
    }
    sonacore::log::debug("run", sonacore::log::name(snifferName), "PCAP listener active");
    activeLoop = this;
    std::string error;
    const int result = captureUntilBreakOrLoss(error);
    activeLoop = nullptr;
    state->dropWatch.captureEnded(pcapHandle);
    sonacore::log::debug("run", sonacore::log::name(snifferName), "PCAP listener INACTIVE");
    {
        std::lock_guard<std::mutex> lock(state->mutex);
        if (result == PCAP_ERROR && state->loopFailed) {
            state->loopFailed(error);
        }
        state->inLoop = false;
        --state->pending;
    }
    state->changed.notify_all();
}

int RunPcapEventLoop::captureUntilBreakOrLoss(std::string& error) {
    // Written by the watch's thread, read here only after that thread has been joined.
    std::string linkLoss;
    int result = 0;
    {
        LinkWatch watch(deviceName, [&](const std::string& reason) {
            linkLoss = reason;
            pcap_breakloop(pcapHandle);
        });
        unsigned char* user = target ? reinterpret_cast<unsigned char*>(&target) : nullptr;
        result = pcap_loop(pcapHandle, 0, callback, user);
    }
    // The watch has ended here. A break ends the loop with PCAP_ERROR_BREAK, whether a stop or the watch
    // made it; only an adapter that went away ends it with PCAP_ERROR, whose text is read while the handle
    // is certainly open: the sniffer closes it only once this loop is no longer pending.
    if (result == PCAP_ERROR) {
        error = pcap_geterr(pcapHandle);
    } else if (!linkLoss.empty()) {
        error = linkLoss;
        result = PCAP_ERROR;
    }
    return result;
}

void RunPcapEventLoop::frameHandedOver() {
    if (activeLoop != nullptr) {
        activeLoop->state->dropWatch.frameHandedOver(activeLoop->pcapHandle);
    }
}

} // namespace pcapplus
