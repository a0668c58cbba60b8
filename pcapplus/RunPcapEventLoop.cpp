#include "pcapplus/RunPcapEventLoop.h"

#include "sonacore/Log.h"

#include <utility>

namespace pcapplus {
namespace {

// The loop that runs on this thread: the capture callback is a plain function with a null user pointer, so
// this is how it finds the handle whose frames it is handed.
thread_local RunPcapEventLoop* activeLoop = nullptr;

} // namespace

RunPcapEventLoop::RunPcapEventLoop(std::string snifferName, pcap_t* pcapHandle,
                                   std::shared_ptr<CaptureLoopState> state, pcap_handler callback)
    : QObject(nullptr), snifferName(std::move(snifferName)), pcapHandle(pcapHandle), state(std::move(state)),
      callback(callback) {}

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
    pcap_loop(pcapHandle, 0, callback, nullptr);
    activeLoop = nullptr;
    state->dropWatch.captureEnded(pcapHandle);
    sonacore::log::debug("run", sonacore::log::name(snifferName), "PCAP listener INACTIVE");
    {
        std::lock_guard<std::mutex> lock(state->mutex);
        state->inLoop = false;
        --state->pending;
    }
    state->changed.notify_all();
}

void RunPcapEventLoop::frameHandedOver() {
    if (activeLoop != nullptr) {
        activeLoop->state->dropWatch.frameHandedOver(activeLoop->pcapHandle);
    }
}

} // namespace pcapplus
