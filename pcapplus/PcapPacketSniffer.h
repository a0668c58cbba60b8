#pragma once

#include "pcapplus/PcapDeviceInfo.h"
#include "pcapplus/PcapPacketReceiverBase.h"
#include "pcapplus/RunPcapEventLoop.h"
#include "sonacore/BaseMessage.h"
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
// registerPacketReceiver replaces: the receiver registered last gets the frames of all sniffers.
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

    // Opens the adapter with pcap_open_live. An invalid device info (negative number) opens nothing.
    void configure(const PcapDeviceInfo& info, int snapLength, int promiscuous, int timeoutMs);
    // Warns (log line and message) when the handle is not open.
    bool isConfigured();
    // Compiles the expression and sets it on the handle; true when the filter is in force.
    bool setFilter(const std::string& expression, int optimize, bpf_u_int32 netmask);
    // Points the class-wide callback to `receiver`, binds it to this adapter and takes its name. The
    // receiver must stay alive until another receiver is registered or every sniffer is gone.
    void registerPacketReceiver(PcapPacketReceiverBase& receiver);

    std::string toString() const override;
    std::string getName() const { return name; }
    const PcapDeviceInfo& getDeviceInfo() const { return deviceInfo; }
    bool isListening() const { return listening.load(); }
    bool isFilterActive() const { return filterActive; }
    std::string getFilterExpression() const { return filterExpression; }
    std::string getReceiverName() const { return receiverName; }

    // Hands a frame to the class-wide callback; the function given to pcap_loop. It lets no exception
    // through to libpcap.
    static void pcapCallback(unsigned char* user, const pcap_pkthdr* header, const unsigned char* frame);
    // What the class-wide callback holds while no receiver is registered: a warning for each frame.
    static void dummyPacketHandler(unsigned char* user, const pcap_pkthdr* header, const unsigned char* frame);

public slots:
    // Starts the capture loop; returns at once. Warns when already listening or not configured.
    void start();
    // Breaks the capture loop and returns at once, without waiting for the loop to end.
    void stop();

signals:
    // Status of configuration, filter, listening and stop, emitted on the thread of the call that caused it.
    void message(std::shared_ptr<sonacore::BaseMessage> message);

private:
    void emitStatus(const std::string& text);
    // Blocks until every capture loop handed to the pool has returned; they do so promptly after a break.
    void waitForLoops();

    std::string name;
    PcapDeviceInfo deviceInfo;
    bool configured = false;
    std::atomic<bool> listening{false};
    bool filterActive = false;
    std::string filterExpression = "None";
    std::string receiverName = "None";
    pcap_t* pcapHandle = nullptr;
    // The runnable handed to the pool latest. The pool deletes it; it is never dereferenced here.
    RunPcapEventLoop* eventLoop = nullptr;
    const std::shared_ptr<CaptureLoopState> loopState = std::make_shared<CaptureLoopState>();
};

} // namespace pcapplus
