#include "pcapplus/RunPcapEventLoop.h"

#include "sonacore/Log.h"

#include <utility>

namespace pcapplus {

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
    pcap_loop(pcapHandle, 0, callback, nullptr);
    sonacore::log::debug("run", sonacore::log::name(snifferName), "PCAP listener INACTIVE");
    {
        std::lock_guard<std::mutex> lock(state->mutex);
        state->inLoop = false;
        --state->pending;
    }
    state->changed.notify_all();
}

} // namespace pcapplus
