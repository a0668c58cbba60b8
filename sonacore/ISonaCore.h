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
// on that thread: results, messages and timer ticks wait in its queue. Every call below is for that thread
// only; none of them may run while another is running.
class SONACORE_EXPORT ISonaCore {
public:
    // The library's core; the same object on every call, nothing is allocated.
    static ISonaCore* createInstance();
    // The library's version object; the same object on every call.
    static sonacore::IVersionInfo* getVersion();
    // Stops all processors, then all capture, waits until every capture loop has returned and every
    // processor has finished the calculation in hand (milliseconds; at most 5 s for the processors), then
    // deletes every configuration object, each before what it refers to. Call it once, at the end of the
    // host's use of the library.
    //
    // After it, every handle and metering data source the host still holds is inert, and none of them touches
    // freed memory, whether frames still arrive or not. Each call logs one warning, "The library has been
    // destroyed, so this call does nothing", under the call's name and the handle's unique ID or adapter
    // name:
    // - IProcessorHandle: start() and stop() do nothing, isActive() and isBound() answer false;
    //   getUniqueId() answers as before, without a warning;
    // - INetworkReceiverHandle: start() and stop() do nothing (capture stays stopped), isRunning() answers
    //   false; getReceiverUid() answers as before, without a warning;
    // - IMeteringDataSource: bindChannelCallback() binds nothing and answers false.
    // On the core, these throw after their warning, changing nothing:
    // - removeProcessor and getMeteringDataSource: exceptions::ResourceNotAvailable, "The library has been
    //   destroyed, so processor handle unique ID '<ID>' has no processor to remove" and "The library has been
    //   destroyed, so no MeteringDataSource is available for processor handle unique ID: <ID>";
    // - addRemoteStreamReceiver, addProcessor and addGeneratorProcessor: exceptions::InstanceNotCreateable,
    //   "The library has been destroyed, so no stream or processor can be added any more", before the
    //   configuration passed is touched (it may be deleted).
    // setMessageReceiver works as before; a second destroy() logs its lines again and deletes nothing.
    static void destroy();

    virtual ~ISonaCore();

    // Starts receiving the configured stream on its adapter (not yet capturing) and returns the adapter's
    // receiver handle, the same for every stream on that adapter. The first stream on an adapter opens it.
    // The first stream on an adapter that accepts VLAN-tagged frames widens the adapter's capture filter to
    // "ether proto 0x22f0 or (vlan and ether proto 0x22f0)"; a capture already running on it stops, waits
    // for its loop (about a millisecond) and starts again around the change, with the usual "Stop
    // listening" and "Start listening" messages.
    // Throws, after a warning, and adds no stream:
    // - exceptions::InstanceNotCreateable when the adapter cannot be opened (no receiver is kept, and a later
    //   call tries again), or when the device configuration has 0 or more than 1023 channels, a sample size
    //   of 0 or 0 samples per channel (the adapter's receiver, opened by this call or before, stays for later
    //   streams);
    // - exceptions::StreamingDeviceAlreadyExists when a stream of the same device key was added before, on
    //   any adapter;
    // - std::bad_cast for a configuration not made by this library.
    virtual sonacore::ihandles::INetworkReceiverHandle*
    addRemoteStreamReceiver(sonacore::IStreamConfiguration& streamConfiguration) = 0;
    // Builds a processor on one channel of an added stream, on a thread of its own, inactive, and returns its
    // handle: a new one, or the earlier handle of the same unique ID bound again after removeProcessor. Start
    // it through the handle. Throws, after a warning, and creates nothing:
    // - exceptions::ResourceNotAvailable when no stream of the configuration's device key was added, or its
    //   channel is not one of the stream's;
    // - exceptions::ProcessorAlreadyExists when a processor of the same unique ID (type, device, channel) is
    //   in place, whatever the configuration's name;
    // - exceptions::InstanceNotCreateable for settings of a processor that needs no stream (the generator:
    //   use addGeneratorProcessor);
    // - exceptions::InstanceNotConvertable when the processor settings are of another class than their type
    //   says;
    // - std::bad_cast for a configuration not made by this library.
    virtual sonacore::ihandles::IProcessorHandle*
    addProcessor(sonacore::IProcessConfiguration& processConfiguration) = 0;
    // Ends and deletes the handle's processor; it need not be stopped first. The handle stays valid and
    // unbound (start and stop do nothing), and its metering data source stays too: adding the same
    // configuration again binds both anew. Throws exceptions::ResourceNotAvailable, changing nothing, when no
    // processor of the handle's unique ID is in place (never added, or removed already), and std::bad_cast
    // for a handle not made by this library.
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
    // Chooses where each adapter's frames go; call it before the first addRemoteStreamReceiver.
    // - Off, the default: every adapter's capture thread hands its frames to the adapter opened last, one
    //   thread at a time, so only the streams added on that adapter are heard, from every adapter.
    // - On: each adapter's frames reach only the streams added on that adapter, and each adapter's capture
    //   thread runs its own streams in parallel with the others. Use it to monitor two networks at once,
    //   such as the two halves of a redundant system.
    // After the first stream is added it logs the warning "setPerAdapterCapture" "Per-adapter capture is
    // chosen before the first stream is added; it stays off" (or "on") and changes nothing.
    virtual void setPerAdapterCapture(bool enabled) = 0;
};
