#pragma once

#include "sonacore/IBaseMessage.h"
#include "sonacore/IMeteringDataSource.h"
#include "sonacore/INetworkReceiverHandle.h"
#include "sonacore/IProcessConfiguration.h"
#include "sonacore/IProcessorHandle.h"
#include "sonacore/IStreamConfiguration.h"
#include "sonacore/IVersionInfo.h"
#include "sonacore/SonaCoreExport.h"

#include <functional>
#include <memory>

// The library's one entry object. Call it from the thread that loaded the library, and run a Qt event loop
// on that thread: results, messages and timer ticks wait in its queue.
class SONACORE_EXPORT ISonaCore {
public:
    // The library's core; the same object on every call, nothing is allocated.
    static ISonaCore* createInstance();
    // The library's version object; the same object on every call.
    static sonacore::IVersionInfo* getVersion();
    // Stops all processors, then all capture, then deletes every configuration object, each before what it
    // refers to. Call it once, at the end of the host's use of the library.
    static void destroy();

    virtual ~ISonaCore();

    // Starts receiving the configured stream on its adapter (not yet capturing) and returns the adapter's
    // receiver handle.
    virtual sonacore::ihandles::INetworkReceiverHandle*
    addRemoteStreamReceiver(sonacore::IStreamConfiguration& streamConfiguration) = 0;
    // Builds a processor on one channel of an added stream and returns its handle.
    virtual sonacore::ihandles::IProcessorHandle*
    addProcessor(sonacore::IProcessConfiguration& processConfiguration) = 0;
    virtual void removeProcessor(sonacore::ihandles::IProcessorHandle& processorHandle) = 0;
    // Throws exceptions::ResourceNotAvailable when no processor of the handle's unique ID was ever added.
    virtual sonacore::IMeteringDataSource*
    getMeteringDataSource(sonacore::ihandles::IProcessorHandle& processorHandle) = 0;
    // The function that receives every status message; an empty function turns delivery off.
    virtual void
    setMessageReceiver(std::function<void(std::shared_ptr<sonacore::imessages::IBaseMessage>)> receiver) = 0;
    // Builds a processor that needs no stream, the sine generator of a process configuration made with
    // sonacore::iprocess::IDemoConfig settings, and returns its handle; its results arrive through
    // getMeteringDataSource(handle) as with any processor. Its device key and channel only make up its unique
    // ID ("DemoProcessor_<device>_<channel>"). It runs from this call on: bind the callback before the host's
    // event loop runs again and no delivery is missed. Stopping it through the handle ends it for good;
    // removeProcessor and a new call restart it. Throws exceptions::ProcessorAlreadyExists for a unique ID in
    // use, exceptions::InstanceNotCreateable for settings of a processor that needs a stream, and
    // std::bad_cast for a configuration not made by this library; nothing is created then.
    virtual sonacore::ihandles::IProcessorHandle*
    addGeneratorProcessor(sonacore::IProcessConfiguration& processConfiguration) = 0;
};
