#pragma once

#include "sonacore/SonaCoreExport.h"

#include <cstdint>
#include <string>

namespace sonacore {

// How the audio buffers of a device are sized and when they signal. The only configuration that may change
// after creation: the signalling amount, and buffers that use it follow a change.
//
// A signalling amount above the buffer size is allowed and harmless: a buffer still signals every amount
// written samples, but only its last buffer size samples are held, so a fetch of the whole signalled block is
// cut down to the buffer size (with the fetch's warning) and returns the newest part of the block.
//
// Thread affinity: create and change it on the host's thread (the registry has no lock); the getters may be
// read from any thread.
class SONACORE_EXPORT IBufferConfiguration {
public:
    // A new configuration with signalling off (sample amount 0). Owned by the library until
    // ISonaCore::destroy(). bufferSize is the capacity of one audio buffer in float samples and must be at
    // least 1: a size of 0 is logged as a warning and refused with exceptions::InstanceNotCreateable of the
    // same text ("Buffer size 0 given for buffer configuration '<name>' holds no sample: ..."), and nothing
    // is created nor entered in the registry.
    static IBufferConfiguration* createInstance(std::string name, unsigned long bufferSize);
    // A new configuration that signals every clockSignalingSampleAmount written samples. Refuses a
    // bufferSize of 0 as above.
    static IBufferConfiguration* createInstance(std::string name, unsigned long bufferSize,
                                                unsigned long clockSignalingSampleAmount);

    virtual ~IBufferConfiguration();

    // Capacity of one audio buffer, in float samples; at least 1.
    virtual std::uint64_t getBufferSize() const = 0;
    // How many written samples make one signal; 0 means signalling is off.
    virtual std::uint64_t getClockSignalingSampleAmount() const = 0;
    // Changes the amount. The same value again is ignored; a new one is announced to the buffers. Never
    // throws; 0 turns signalling off.
    virtual void setClockSignalingSampleAmount(std::uint64_t amount) = 0;
    // True when the amount is not 0.
    virtual bool isClockSignalingActive() const = 0;
    // The name, the buffer size, then the signalling amount or "Buffer clock signaling deactivated!".
    virtual std::string toString() const = 0;
};

} // namespace sonacore
