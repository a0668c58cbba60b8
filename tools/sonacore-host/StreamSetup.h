#pragma once

#include "HostOptions.h"

#include "sonacore/INetworkDeviceInfo.h"
#include "sonacore/IStreamConfiguration.h"

#include <string>

namespace host {

// The step from a stream's form to the library's configurations of it: the adapter it is captured on, and
// the buffer, device and stream configurations a receiver is added with. Only the library's public
// interface is used.
//
// Thread affinity: the host's thread, as the library's factories ask.
class StreamSetup {
public:
    // The adapter of that number (from 1, as --list shows them) or name, after the library has listed the
    // adapters anew: a sandbox's interface appears after the library listed them at load. Null when there
    // is none. Owned by the library.
    static sonacore::INetworkDeviceInfo* findAdapter(const std::string& wanted);

    // The sentence for an adapter that findAdapter does not know.
    static std::string noAdapterText(const std::string& wanted);

    // The configurations of the options' stream on `adapter`: a buffer of the options' size and signalling
    // amount; a device of the stream's channels and samples per frame that states its sample format, or for
    // SampleFormat::Unspecified gives the sample size alone; and the stream configuration of the options'
    // device key that accepts tagged frames when the stream's frames were heard with a tag. Untagged frames
    // are accepted either way, so a talker that drops its tag is still heard.
    //
    // Returns the stream configuration, owned by the library until ISonaCore::destroy(). Throws what the
    // factories throw; with configurations of the library's own making and a format of the enumeration, none
    // of that happens.
    static sonacore::IStreamConfiguration& configure(const HostOptions& options,
                                                     sonacore::INetworkDeviceInfo& adapter);
};

} // namespace host
