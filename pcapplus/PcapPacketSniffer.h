#pragma once

#include "pcapplus/PcapDeviceInfo.h"
#include "pcapplus/PcapHandle.h"
#include "pcapplus/PcapPacketReceiverBase.h"
#include "pcapplus/RunPcapEventLoop.h"
#include "sonacore/BaseMessage.h"
#include "sonacore/SonaCoreConstants.h"
#include "sonacore/StringOverloadBase.h"

#include <QObject>

#include <pcap/pcap.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace pcapplus {

// Owns one libpcap capture handle on one adapter and runs its capture loop on a thread of the global
// QThreadPool. Every frame of every sniffer of the process goes through one class-wide callback, which
// registerPacketReceiver replaces: the receiver registered last gets the frames of all sniffers. Calls into
// it are serialised, so that two adapters' capture threads never run one receiver at the same time. A
// sniffer set to per-adapter capture hands its frames to its own registered receiver instead, on its own
// capture thread, without that lock.
//
// A capture loop that ends with an error (the adapter went down or disappeared) ends the listening: the
// sniffer reports it with libpcap's text and the adapter's name, and a later start() opens the adapter
// anew, with the filter in force, before it listens again.
//
// Thread affinity: set-up, start and stop run on the caller's thread; the loop and the whole packet path on
// the pool thread. Nothing here throws: failures end in a log line and a StatusMessage.
class PcapPacketSniffer : public QObject, public StringOverloadBase {
    Q_OBJECT

public:
    // Opens the adapter through configure().
    PcapPacketSniffer(const PcapDeviceInfo& info, int snapLength, int promiscuous, int timeoutMs,
                      QObject* parent = nullptr);
    // Points the class-wide callback back to the dummy handler, stops, waits for the capture loop to end,
    // then closes the handle.
    ~PcapPacketSniffer() override;

    // Opens the adapter with a kernel ring of kernelRingBytes. An invalid device info (negative number) opens
    // nothing. An adapter that cannot be opened is reported ("Unable to open the adapter number ..." with
    // libpcap's error text) and leaves an open handle as it was. An adapter that opens with a warning from
    // libpcap (such as promiscuous mode not supported) is open: the warning is logged, at warning level.
    void configure(const PcapDeviceInfo& info, int snapLength, int promiscuous, int timeoutMs);
    // Warns (log line and message) when the handle is not open.
    bool isConfigured();
    // Compiles the expression and sets it on the handle; true when the filter is in force.
    bool setFilter(const std::string& expression, int optimize, bpf_u_int32 netmask);
    // Points the class-wide callback to `receiver`, binds it to this adapter and takes its name. The
    // receiver must stay alive until another receiver is registered or every sniffer is gone; with
    // per-adapter capture, until this sniffer is gone.
    void registerPacketReceiver(PcapPacketReceiverBase& receiver);
    // On: the capture loops started from now on hand this adapter's frames to the receiver registered on this
    // sniffer only. Off (the default): to the class-wide callback. The caller's thread.
    void setPerAdapterCapture(bool enabled);

    std::string toString() const override;
    std::string getName() const { return name; }
    const PcapDeviceInfo& getDeviceInfo() const { return deviceInfo; }
    bool isListening() const { return listening.load(); }
    // Blocks until every capture loop handed to the pool has returned; they do so promptly after a break
    // (stop), so that nothing the loop's callback writes into may be freed while it still runs. Any thread
    // but a capture loop's own.
    void waitForLoops();
    bool isFilterActive() const { return filterActive; }
    std::string getFilterExpression() const { return filterExpression; }
    std::string getReceiverName() const { return receiverName; }
    // The kernel's drop counters of the open handle as the capture thread read them last: at most a second
    // ago while frames arrive, or as the latest capture loop ended. Any thread.
    KernelDropWatch::Totals getKernelDrops() const;

    // The kernel ring of the capture, in bytes. The kernel hands its blocks of 256 KiB to the capture thread
    // one every read timeout (1 ms) however little each holds, so the ring lets the capture thread, or the
    // whole process, stall for about one millisecond per block without losing a frame, whatever the stream:
    // 640 blocks, for 500 ms and a quarter more, rode out 590 to 690 ms in capture_ring_benchmark (the
    // capture thread stalled or the whole process stopped). The ring is the kernel's memory, taken and
    // cleared when the adapter opens; libpcap takes less when the kernel cannot give this much.
    static constexpr int kernelRingBytes = 160 << 20;

    // Hands a frame to the class-wide callback, under a lock that serialises the capture threads, or, when
    // `user` is set, to the PacketCallback it points to; the function given to pcap_loop. It lets no
    // exception through to libpcap.
    static void pcapCallback(unsigned char* user, const pcap_pkthdr* header, const unsigned char* frame);
    // What the class-wide callback holds while no receiver is registered: a warning for each frame.
    static void dummyPacketHandler(unsigned char* user, const pcap_pkthdr* header,
                                   const unsigned char* frame);

public slots:
    // Starts the capture loop; returns at once. Warns when already listening or not configured.
    void start();
    // Breaks the capture loop and returns at once, without waiting for the loop to end.
    void stop();

signals:
    // Status of configuration, filter, listening and stop, emitted on the thread of the call that caused it.
    // When a capture loop ends with an error: "Capture on adapter '<name>' failed and has stopped: " and
    // libpcap's text, of type "WARNING", emitted on the capture thread once the listening has ended.
    // While capturing, also "Capture dropped N frames in the kernel (total T)", of type "WARNING", emitted on
    // the capture thread only when the kernel has dropped frames since the previous one (N since then, T
    // since the adapter was opened): at most once a second while frames arrive, and once more as a capture
    // loop ends after a stop.
    void message(std::shared_ptr<sonacore::BaseMessage> message);

private:
    // pcap_create, the given settings, the kernel ring, pcap_activate. Null with `error` set on failure.
    PcapHandle openAdapter(int snapLength, int promiscuous, int timeoutMs, std::string& error);
    // On the capture thread: logs the drops at warning level and sends them as a StatusMessage.
    void reportKernelDrops(std::uint64_t dropped, std::uint64_t total);
    // On the capture thread, as a loop ends with `error`: ends the listening and reports it.
    void reportCaptureLost(const std::string& error);
    // Opens the adapter again with the settings of the latest configure, and sets the filter in force on it.
    // False when it cannot be opened.
    bool reopenAfterLoss();
    void emitStatus(const std::string& text,
                    const std::string& type = sonacore::constants::messageTypeInformation);

    std::string name;
    PcapDeviceInfo deviceInfo;
    bool configured = false;
    std::atomic<bool> listening{false};
    bool filterActive = false;
    std::string filterExpression = "None";
    std::string receiverName = "None";
    // The open adapter; closed when replaced by a new configure or when the sniffer goes.
    PcapHandle pcapHandle;
    // What the latest configure was given, for reopening after a lost adapter.
    int openSnapLength = 0;
    int openPromiscuous = 0;
    int openTimeoutMs = 0;
    // The settings of the filter in force, for the same reason.
    int filterOptimize = 1;
    bpf_u_int32 filterNetmask = PCAP_NETMASK_UNKNOWN;
    // The receiver registered on this sniffer, for per-adapter capture.
    PacketCallback ownReceiver;
    bool perAdapterCapture = false;
    // Set on the capture thread when a loop ended with an error; the next start reopens the adapter.
    std::atomic<bool> captureLost{false};
    // The runnable handed to the pool latest. The pool deletes it; it is never dereferenced here.
    RunPcapEventLoop* eventLoop = nullptr;
    const std::shared_ptr<CaptureLoopState> loopState = std::make_shared<CaptureLoopState>();
};

} // namespace pcapplus
