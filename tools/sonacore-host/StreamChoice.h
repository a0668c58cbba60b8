#pragma once

#include "HostOptions.h"
#include "StreamDiscovery.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace host {

// What listening on an adapter heard.
struct HeardStreams {
    // The adapter's libpcap name.
    std::string adapterName;
    // Every stream heard, in the order of its first frame, each with its reasons.
    std::vector<DiscoveredStream> streams;
    // Frames the kernel dropped while listening, which make the measured rates low.
    std::uint64_t kernelDrops = 0;
};

// Which stream a monitoring run on a real network sets up, and in which form: the run listens on the adapter
// first, as --discover does, and takes the stream's form from its frames (see StreamFormat).
//
// Each call writes what the user is to read: the choice and the form on standard output, the reasons for
// ending on standard error. Thread affinity: the host's thread; listen blocks it for the listening time.
class StreamChoice {
public:
    // Listens on the options' adapter for options.discoverySeconds, until `stop` returns true (asked at least
    // every 100 ms), or, with a non-empty `untilHeard` device key, until a frame of that device arrives.
    // Returns 0, or the program's exit status with the reason on standard error when it cannot listen: 2 for
    // an unknown adapter, 1 for a capture that fails.
    static int listen(const HostOptions& options, const std::string& untilHeard,
                      const std::function<bool()>& stop, HeardStreams& heard);

    // The table of the streams heard, or the sentence that none was, and the kernel's drops, on standard
    // output; `interrupted` says that Ctrl-C ended the listening.
    static void print(const HeardStreams& heard, double seconds, bool interrupted);

    // Without --mac: the first stream heard that the library can analyse, in its form, where the command line
    // gave no channels or samples per frame. False when the program is to end, with its exit status in
    // `status`: 3 when no such stream was heard (after the table of those that were), 2 when a chosen
    // channel is not in the stream.
    static bool takeFirstAnalysable(HostOptions& options, const HeardStreams& heard, int& status);

    // With --mac: the named stream in the form heard. A stream not heard keeps the command line's form or
    // the defaults, which standard error says in one sentence. False when the program is to end, with its
    // exit status in `status`: 3 when the stream was heard in a form the library cannot read, 2 when a
    // chosen channel is not in the stream, heard or not.
    static bool takeNamed(HostOptions& options, const HeardStreams& heard, int& status);
};

} // namespace host
