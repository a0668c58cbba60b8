#pragma once

#include "engine/processing/ProcessorEngine.h"
#include "engine/streaming/StreamingEngine.h"
#include "sonacore/BaseMessage.h"
#include "sonacore/ISonaCore.h"
#include "sonacore/MeteringDataSource.h"

#include <QObject>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace sonacore {

// The only implementation of ISonaCore, and the one place where the streaming side and the processing side
// meet. One static object of it exists from load on. It lives on the thread that loaded the library, and its
// operations must be called from there: the map and the receiver have no lock.
class SonaCore : public QObject, public ISonaCore {
public:
    SonaCore();
    ~SonaCore() override;

    ihandles::INetworkReceiverHandle*
    addRemoteStreamReceiver(IStreamConfiguration& streamConfiguration) override;
    ihandles::IProcessorHandle* addProcessor(IProcessConfiguration& processConfiguration) override;
    void removeProcessor(ihandles::IProcessorHandle& processorHandle) override;
    IMeteringDataSource* getMeteringDataSource(ihandles::IProcessorHandle& processorHandle) override;
    void setMessageReceiver(std::function<void(std::shared_ptr<imessages::IBaseMessage>)> receiver) override;
    ihandles::IProcessorHandle* addGeneratorProcessor(IProcessConfiguration& processConfiguration) override;
    void setPerAdapterCapture(bool enabled) override;

    // Hands a message to the host's receiver; with no receiver the message is dropped in silence. Reached
    // through an automatic connection, so a message raised on another thread arrives here queued.
    void relayMessage(std::shared_ptr<BaseMessage> message);

    // Stops all processors, then all capture, then deletes every configuration object of the registries, each
    // kind before the kinds it refers to.
    void destroy();
    // Stops processing and capture without waiting; the engines stay in place.
    void stopEngines();

    // Registers the types that cross threads by queued signal, under the names the signals use.
    static void registerMetaTypes();

private:
    // Gives a new processor its metering data source, keyed by the handle's unique ID.
    void attachMeteringDataSource(const ProcessConfiguration& configuration,
                                  engine::processing::ProcessorHandle* handle);
    // Throws `Exception` with `text`, after its warning under `method`, once destroy() has run.
    template <typename Exception> void refuseAfterDestroy(const char* method, const std::string& text) const;

    engine::streaming::StreamingEngine streamingEngine;
    engine::processing::ProcessorEngine processorEngine;
    // Keyed by a processor handle's unique ID; the map owns the sources.
    std::map<std::string, std::unique_ptr<MeteringDataSource>> meteringDataSources;
    std::function<void(std::shared_ptr<imessages::IBaseMessage>)> messageReceiver;
    // A source made for an ID that the map held already. Unique IDs make this impossible in use; the source
    // is kept rather than deleted because its processor's connection refers to it.
    std::vector<std::unique_ptr<MeteringDataSource>> unmappedSources;
    // Set by destroy(): the configurations are gone, so nothing may be added or removed any more, and every
    // handle and source the host holds is retired.
    bool destroyed = false;
};

} // namespace sonacore
