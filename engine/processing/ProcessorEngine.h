#pragma once

#include "engine/processing/ProcessorFactory.h"
#include "engine/processing/ProcessorHandle.h"
#include "engine/processing/ProcessorHandleManager.h"
#include "process/ProcessConnection.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace avb {
class AvbAudioBuffer;
} // namespace avb

namespace sonacore {
class ProcessConfiguration;
} // namespace sonacore

namespace engine::processing {

class ProcessorSocket;

// Owns every running processor: one socket per processor unique ID (processor type "_" streaming device "_"
// channel), and the handles the host holds for them.
//
// Thread affinity: the host's thread. All operations run there and the tables are plain maps; the host or the
// core serialises the calls. Only the calculations run elsewhere, on each processor's worker thread, and they
// touch no table. Results reach the host as queued calls on this thread, so it must run a Qt event loop.
//
// Ownership: owns the sockets (and through them the processors) and, through the handle manager, the
// handles. Owns neither configurations nor buffers: both must outlive the processors that use them.
class ProcessorEngine {
public:
    ProcessorEngine();
    // Deletes every socket in key order (each stops and ends its processor), logs "~ProcessorEngine"
    // "Processor sockets cleared!" and "Deleted!", then the handles go with the manager.
    ~ProcessorEngine();

    ProcessorEngine(const ProcessorEngine&) = delete;
    ProcessorEngine& operator=(const ProcessorEngine&) = delete;

    // Builds the processor of the configuration's processor type on the buffer, runs it on a thread of its
    // own, inactive, and returns its handle: a new one, or the earlier handle of the same unique ID bound
    // again. The host starts it through the handle.
    // Failures, each after a warning and with the tables unchanged: a processor of the same unique ID exists
    // (exceptions::ProcessorAlreadyExists, whatever the configuration's name); no processor of that type can
    // be built on a buffer (exceptions::InstanceNotCreateable); the processor configuration is of another
    // class than its type says (exceptions::InstanceNotConvertable).
    ProcessorHandle* addProcessor(const sonacore::ProcessConfiguration& processConfiguration,
                                  avb::AvbAudioBuffer* buffer);
    // Builds a processor that needs no buffer (a generator, type "DemoProcessor") and runs it on a thread of
    // its own. It is set active before its thread opens, because a generator's loop is entered only once, as
    // the thread opens: it runs from this call on, and a stop through its handle ends it for good (remove and
    // add it again to restart). The unique ID is made as for any processor, from the process configuration's
    // device key and channel, which need not name a stream. Failures as for addProcessor; a type that needs a
    // buffer is exceptions::InstanceNotCreateable.
    ProcessorHandle* addGeneratorProcessor(const sonacore::ProcessConfiguration& processConfiguration);
    // Unbinds the handle's processor from it, then ends and deletes the processor; it need not be stopped
    // first. The handle stays valid, unbound. An unknown unique ID throws exceptions::ResourceNotAvailable.
    void removeProcessor(sonacore::ihandles::IProcessorHandle* processorHandle);
    // Where the results of the handle's processor arrive; valid until the processor is removed. An unknown
    // unique ID throws exceptions::ResourceNotAvailable.
    process::ProcessConnection* getProcessConnection(sonacore::ihandles::IProcessorHandle* processorHandle);
    // Stops every processor through its handle and logs "stop" "Processor engine stopped!". Removes nothing;
    // a later start through a handle works.
    void stop();
    // Blocks until every processor thread has finished the event it was handling when this was called, or
    // `limit` has passed: after stop, a calculation still under way may read its configuration, which must
    // not be deleted before it ends. Later events find the processor stopped. The host's thread only.
    void waitForProcessorsIdle(std::chrono::milliseconds limit);
    // Retires every handle for good: the library's tear-down, after stop and before the configurations go.
    void retireHandles();

    // The socket of a unique ID, or null.
    ProcessorSocket* findSocket(const std::string& uniqueId) const;
    // The unique ID a processor of this configuration gets.
    static std::string makeUniqueId(const sonacore::ProcessConfiguration& processConfiguration);

private:
    // The steps both kinds share: the duplicate check, the building (build gets the configuration's name),
    // the socket, the log line and the handle.
    ProcessorHandle* addBuiltProcessor(
        const sonacore::ProcessConfiguration& processConfiguration,
        const std::function<process::Processor*(const std::string& name, process::ProcessorConfigBase&)>&
            build);

    ProcessorFactory processorFactory;
    ProcessorHandleManager processorHandleManager;
    std::map<std::string, std::unique_ptr<ProcessorSocket>> processorSockets;
};

} // namespace engine::processing
