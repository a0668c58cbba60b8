#pragma once

#include "sonacore/INetworkReceiverHandle.h"
#include "sonacore/StringOverloadBase.h"

#include <QObject>

#include <functional>
#include <string>

namespace engine::streaming {

// The host's control of the capture on one adapter. start() and stop() emit the signals of the same name
// with the adapter's name; the receiver that owns the handle connects them directly, so capture starts and
// stops on the caller's thread. Lives and dies with its NetworkReceiver; never deleted by the host.
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

signals:
    // Emitted on the caller's thread, with the adapter's name.
    void start(std::string receiverUid);
    void stop(std::string receiverUid);

private:
    const std::string receiverUid;
    const std::function<bool()> runningQuery;
};

} // namespace engine::streaming
