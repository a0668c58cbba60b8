#pragma once

#include "sonacore/StringOverloadBase.h"

#include <map>
#include <memory>
#include <string>

namespace engine::processing {

class ProcessorHandle;
class ProcessorSocket;

// Keeps every processor handle ever made, keyed by unique ID, for the life of the engine: a handle is made
// once per unique ID and bound again to each later processor of that ID.
//
// Thread affinity: the host's thread; no lock. Ownership: owns the handles and deletes them when it ends.
class ProcessorHandleManager : public StringOverloadBase {
public:
    ProcessorHandleManager();
    // Deletes every handle, then logs "~ProcessorHandleManager" "Processor handles cleared!" and "Deleted!".
    ~ProcessorHandleManager() override;

    ProcessorHandleManager(const ProcessorHandleManager&) = delete;
    ProcessorHandleManager& operator=(const ProcessorHandleManager&) = delete;

    // The handle for the socket's unique ID: a new one (addHandle) or the earlier one bound again
    // (enableHandle).
    ProcessorHandle* bindHandle(ProcessorSocket* socket);
    // Makes, enters and binds a new handle for the socket's unique ID.
    ProcessorHandle* addHandle(ProcessorSocket* socket);
    // Binds the existing handle of the socket's unique ID to the socket. A handle that is still bound is
    // warned about and throws exceptions::ResourceNotAvailable; an unknown ID throws std::out_of_range.
    ProcessorHandle* enableHandle(ProcessorSocket* socket);
    // Unbinds the handle of the socket's unique ID and answers true; an unknown ID is warned about and
    // answers false.
    bool deactivateProcessorHandle(ProcessorSocket* socket);
    // stop() on every handle that is not retired, in key order; unbound handles reach nothing.
    void stopAllHandles();
    // Retires every handle for good (ProcessorHandle::retire); the library's tear-down.
    void retireAllHandles();

    // The handle of a unique ID, or null.
    ProcessorHandle* findHandle(const std::string& uniqueId) const;

    // "ProcessorHandleManager\n\tList of managed processor handles (UID's):\n" and "\t\t<ID>\n" per handle.
    std::string toString() const override;

private:
    std::map<std::string, std::unique_ptr<ProcessorHandle>> processorHandles;
};

} // namespace engine::processing
