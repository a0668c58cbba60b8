#pragma once

#include "process/ProcessConnection.h"
#include "sonacore/StringOverloadBase.h"
#include "threading/Controller.h"

#include <QMetaObject>
#include <QObject>
#include <QPointer>

#include <string>

namespace process {
class Processor;
} // namespace process

namespace engine::processing {

class ProcessorHandle;

// Holds one processor with its thread and its link to the result path. Building the socket starts the
// processor's worker thread, moves the processor there and opens it (the Controller base); deleting it ends
// the processor (stopped first), quits the thread and waits for it, and the processor is deleted on its own
// thread. The processor's results reach processConnection queued, on the thread that built the socket.
//
// Thread affinity: the thread that called addProcessor; build, use and delete it there. That thread must run
// a Qt event loop for results to reach the host.
// Ownership: the ProcessorEngine owns the socket; the socket owns the processor (through its thread) and the
// ProcessConnection.
class ProcessorSocket : public threading::Controller, public StringOverloadBase {
    Q_OBJECT

public:
    // name: the process configuration's name, also that of processConnection. The processor must have no
    // parent, must not be null, and must be complete: its configuration replayed. Logs "ProcessorSocket",
    // the name and "Created!".
    ProcessorSocket(std::string name, std::string uniqueId, process::Processor* processor);
    // Takes away its links from a handle that is still bound to it, then ends the processor and its thread.
    ~ProcessorSocket() override;

    // "ProcessorSocket: <name>\n" followed by the processor's text.
    std::string toString() const override;
    virtual std::string getName() const;
    virtual std::string getUniqueId() const;
    virtual process::Processor* getProcessor() const;
    // The member; valid as long as the socket.
    virtual process::ProcessConnection* getProcessConnection();
    // Binds the handle to this socket: installs an activity function that answers with the processor's flag,
    // marks the handle bound, and links the handle's start and stop signals directly to the processor's
    // start() and stop(), for the signals that carry this socket's unique ID.
    virtual void setProcessorHandle(ProcessorHandle& handle);

private:
    const std::string name;
    const std::string uniqueId;
    process::Processor* const processor;
    process::ProcessConnection processConnection;
    QMetaObject::Connection resultLink;
    // The handle bound through this socket, with the links made to it; null when none is or when the handle
    // is gone.
    QPointer<ProcessorHandle> boundHandle;
    QMetaObject::Connection startLink;
    QMetaObject::Connection stopLink;
};

} // namespace engine::processing
