#pragma once

#include "sonacore/IProcessorHandle.h"
#include "sonacore/StringOverloadBase.h"

#include <QObject>

#include <functional>
#include <string>

namespace engine::processing {

// The host's view of one processor, in place of the processor itself. It outlives the processor: after
// removeProcessor it stays with the handle manager, unbound, and a later processor of the same unique ID
// binds it again, so a host pointer stays valid for the life of the library.
//
// While bound, start() and stop() reach the processor through the two direct links its socket made to the
// start and stop signals, and isActive() answers with the processor's active flag. Unbinding takes the links
// and the answer away: an unbound handle's start() and stop() reach nothing and isActive() answers false.
//
// Once the library is destroyed the handle is retired for good: every call logs one warning and does nothing
// (isActive() and isBound() answer false), since the configuration its processor reads is gone.
//
// Thread affinity: the host's thread; start() and stop() run the processor's start and stop on the caller's
// thread. Ownership: the ProcessorHandleManager; never deleted by the host.
class ProcessorHandle : public QObject,
                        public StringOverloadBase,
                        public sonacore::ihandles::IProcessorHandle {
    Q_OBJECT

public:
    // Unbound, answering false to isActive(). Logs "ProcessorHandle" "Handle initialized!".
    ProcessorHandle(std::string uniqueId, QObject* parent);
    ~ProcessorHandle() override;

    // Emits start(uniqueId); whatever is linked runs inside the call.
    void start() override;
    // Emits stop(uniqueId); whatever is linked runs inside the call.
    void stop() override;
    bool isActive() const override;
    std::string getUniqueId() const override;
    bool isBound() const override;
    // "ProcessorHandle\n\tControlled Processor UID: <unique ID>".
    std::string toString() const override;

    // The answer to isActive(); must not be empty.
    void setActivityFunction(std::function<bool()> function);
    // true: only stores the flag (the socket installs the activity function first). false: stores it, takes
    // away every link to the start and stop signals, installs an answer of false and logs "Handle unbound!".
    void setHandleBound(bool bound);
    // Unbinds for good, without the unbinding log line: from here on every call warns and does nothing.
    void retire();
    bool isRetired() const { return retired; }

signals:
    // Carry the handle's unique ID. Emitted on the caller's thread of start() and stop(), under no lock;
    // receivers are linked directly.
    void start(std::string uniqueId);
    void stop(std::string uniqueId);

private:
    // Takes away both links and installs an answer of false.
    void unlink();

    const std::string uniqueId;
    std::function<bool()> activityFunction;
    bool handleBound;
    bool retired = false;
};

} // namespace engine::processing
