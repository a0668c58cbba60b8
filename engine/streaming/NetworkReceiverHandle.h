#pragma once

#include "sonacore/INetworkReceiverHandle.h"
#include "sonacore/StringOverloadBase.h"

#include <QObject>

#include <functional>
#include <string>

namespace engine::streaming {

// The host's control of the capture on one adapter. start() and stop() emit the signals of the same name
// with the adapter's name; the receiver that owns the handle connects them directly, so capture starts and
// stops on the caller's thread. Lives and dies with its NetworkReceiver; never deleted by the host. Once the
// library is destroyed the handle is retired for good: every call logs one warning and does nothing
// (isRunning() answers false), since the settings its receiver writes with are gone.
class NetworkReceiverHandle : public QObject,
                              public StringOverloadBase,
                              public sonacore::ihandles::INetworkReceiverHandle {
    Q_OBJECT

public:
    // runningQuery answers isRunning(); an empty one makes isRunning() throw std::bad_function_call.
    NetworkReceiverHandle(std::string receiverUid, std::function<bool()> runningQuery,
                          QObject* parent = nullptr);
    ~NetworkReceiverHandle() override;

    void start() override;
    void stop() override;
    bool isRunning() const override;
    std::string getReceiverUid() const override;
    // "NetworkReceiverHandle\n\tControlled Network Receiver UID: " uid
    std::string toString() const override;

    // Takes away the links to the receiver for good: from here on every call warns and does nothing.
    void retire();

signals:
    // Emitted on the caller's thread, with the adapter's name.
    void start(std::string receiverUid);
    void stop(std::string receiverUid);

private:
    const std::string receiverUid;
    const std::function<bool()> runningQuery;
    bool retired = false;
};

} // namespace engine::streaming
