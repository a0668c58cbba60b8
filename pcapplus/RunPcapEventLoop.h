#pragma once

#include "pcapplus/KernelDropWatch.h"

#include <QObject>
#include <QRunnable>

#include <pcap/pcap.h>

#include <condition_variable>
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
};

// Sits in pcap_loop on a thread of the global QThreadPool until pcap_breakloop. The handle is not owned;
// the sniffer closes it only after this runnable has finished. Deleted by the pool after run().
class RunPcapEventLoop : public QObject, public QRunnable {
    Q_OBJECT

public:
    // The caller has already counted this runnable as pending in `state`.
    RunPcapEventLoop(std::string snifferName, pcap_t* pcapHandle, std::shared_ptr<CaptureLoopState> state,
                     pcap_handler callback);
    ~RunPcapEventLoop() override;

    void run() override;

    // Called by the capture callback after each frame: lets the loop running on this thread, if any, watch
    // its handle's kernel drops. Does nothing on a thread that runs no capture loop.
    static void frameHandedOver();

private:
    const std::string snifferName;
    pcap_t* const pcapHandle;
    const std::shared_ptr<CaptureLoopState> state;
    const pcap_handler callback;
};

} // namespace pcapplus
