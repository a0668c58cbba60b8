#pragma once

#include "sonacore/ChannelData.h"
#include "sonacore/DataObjectBase.h"

#include <QObject>

#include <functional>
#include <string>

namespace process {

// The station between a processor and the host: its slot receives each result of one processor and hands it
// to the function taken from the processor's metering data source.
//
// Ownership: a member of the processor's socket, with no parent. Thread affinity: the thread that built it,
// the one that added the processor, which it never leaves; results emitted on the processor's worker thread
// reach signalToCallbackConnector queued, so that thread must run a Qt event loop. setCallbackMethod must be
// called on that thread too.
class ProcessConnection : public QObject, public sonacore::DataObjectBase {
    Q_OBJECT

public:
    // Logs "ProcessConnection" and "Object created".
    explicit ProcessConnection(std::string name, QObject* parent = nullptr);
    ~ProcessConnection() override;

    // Stores the function that each result is handed to and logs "setCallbackMethod" and "Callback
    // initialized!". An empty function is stored as it is, and the next result then throws
    // std::bad_function_call.
    void setCallbackMethod(std::function<void(sonacore::ChannelData&)> callback);

public slots:
    // Calls the stored function with the record. Before any function has been set, warns
    // "signalToCallbackConnector" "Callback not initialized! Please set a valid callback" and drops the
    // record.
    void signalToCallbackConnector(sonacore::ChannelData channel);

private:
    std::function<void(sonacore::ChannelData&)> callbackMethod;
    bool callbackSet;
};

} // namespace process
