#pragma once

#include "pcapplus/KernelDropWatch.h"
#include "pcapplus/PcapPacketReceiverBase.h"

#include <QObject>
#include <QRunnable>

#include <pcap/pcap.h>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace pcapplus {

// What a sniffer and its capture runnables share about the loops on one handle: how many runnables were
// handed to the pool and have not finished, and whether one of them is inside pcap_loop. It lets a new loop
// wait for the previous one on the same handle, and the sniffer wait for all of them before it closes the
// handle. The loop that runs also watches the handle's kernel drops.
struct CaptureLoopState {
    std::mutex mutex;
    std::condition_variable changed;
    int pending = 0;
    bool inLoop = false;
    KernelDropWatch dropWatch;
    // Called, under `mutex`, on the capture thread when pcap_loop ends with an error (the adapter went down
    // or away), with libpcap's error text. Cleared under `mutex` by a sniffer that goes away.
    std::function<void(const std::string& error)> loopFailed;
};

// Sits in pcap_loop on a thread of the global QThreadPool until pcap_breakloop, or until the adapter is lost:
// an error of pcap_loop, or the adapter going down (LinkWatch). The handle is not owned;
// the sniffer closes it only after this runnable has finished. Deleted by the pool after run().
class RunPcapEventLoop : public QObject, public QRunnable {
    Q_OBJECT

public:
    // The caller has already counted this runnable as pending in `state`.
    // With a `target`, the callback is handed a pointer to it as its user argument with every frame, so that
    // this loop's frames reach that target alone; without one, the user argument is null.
    // `deviceName` is the adapter's, watched for going down while the loop runs.
    RunPcapEventLoop(std::string snifferName, std::string deviceName, pcap_t* pcapHandle,
                     std::shared_ptr<CaptureLoopState> state, pcap_handler callback,
                     PacketCallback target = {});
    ~RunPcapEventLoop() override;

    void run() override;

    // Called by the capture callback after each frame: lets the loop running on this thread, if any, watch
    // its handle's kernel drops. Does nothing on a thread that runs no capture loop.
    static void frameHandedOver();

private:
    // pcap_loop, with the adapter watched; returns pcap_loop's result and, for a loss, the reason.
    int captureUntilBreakOrLoss(std::string& error);

    const std::string snifferName;
    const std::string deviceName;
    pcap_t* const pcapHandle;
    const std::shared_ptr<CaptureLoopState> state;
    const pcap_handler callback;
    PacketCallback target;
};

} // namespace pcapplus
