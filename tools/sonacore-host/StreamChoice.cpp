#include "StreamChoice.h"

#include "DiscoveryCapture.h"
#include "StreamSetup.h"

#include <iostream>
#include <optional>
#include <sstream>

namespace host {
namespace {

std::string joined(const std::vector<std::string>& reasons) {
    std::string text;
    for (const std::string& reason : reasons) {
        text += (text.empty() ? "" : "; ") + reason;
    }
    return text;
}

// Takes the stream's form into the options and says on standard output how its frames are read, with what
// the library makes of the rest of the stream where it says anything. False, with the exit status, when a
// chosen channel is not in the stream.
bool take(HostOptions& options, const DiscoveredStream& stream, const StreamFormat& format, int& status) {
    std::string error;
    if (!options.useStream(stream.header.deviceKey, format, error)) {
        std::cerr << error << "\n";
        status = 2;
        return false;
    }
    std::cout << "Read as " << options.stream.describe()
              << (stream.reasons.empty() ? "" : "; " + joined(stream.reasons)) << ".\n";
    return true;
}

} // namespace

int StreamChoice::listen(const HostOptions& options, const std::string& untilHeard,
                         const std::function<bool()>& stop, HeardStreams& heard) {
    const sonacore::INetworkDeviceInfo* adapter = StreamSetup::findAdapter(options.adapter);
    if (adapter == nullptr) {
        std::cerr << StreamSetup::noAdapterText(options.adapter) << "\n";
        return 2;
    }
    heard.adapterName = adapter->getDeviceName();
    StreamDiscovery discovery;
    std::string error;
    const auto enough = [&] { return stop() || (!untilHeard.empty() && discovery.hasHeard(untilHeard)); };
    if (!DiscoveryCapture::listen(heard.adapterName, options.discoverySeconds, enough, discovery,
                                  heard.kernelDrops, error)) {
        std::cerr << error << "\n";
        return 1;
    }
    heard.streams = discovery.streams();
    return 0;
}

void StreamChoice::print(const HeardStreams& heard, double seconds, bool interrupted) {
    std::ostringstream time;
    if (interrupted) {
        time << "until interrupted";
    } else {
        time << "in " << seconds << " s";
    }
    if (heard.streams.empty()) {
        std::cout << "No AAF talker heard on " << heard.adapterName << " " << time.str() << ".\n";
    } else {
        std::cout << "AAF talkers heard on " << heard.adapterName << " " << time.str() << ":\n"
                  << StreamDiscovery::formatTable(heard.streams);
    }
    if (heard.kernelDrops > 0) {
        std::cout << "The capture dropped " << heard.kernelDrops
                  << " frames in the kernel: the rates read low.\n";
    }
}

bool StreamChoice::takeFirstAnalysable(HostOptions& options, const HeardStreams& heard, int& status) {
    const std::optional<DiscoveredStream> chosen = StreamDiscovery::firstAnalysable(heard.streams);
    // A stream the library can analyse always has a form: its reasons would say otherwise.
    const std::optional<StreamFormat> format = chosen ? chosen->streamFormat() : std::nullopt;
    if (!format) {
        print(heard, options.discoverySeconds, false);
        std::cerr << "No stream the library can analyse was heard on " << heard.adapterName
                  << ": give the stream's source address with --mac.\n";
        status = 3;
        return false;
    }
    std::cout << "Monitoring " << StreamDiscovery::summary(*chosen) << "\n";
    return take(options, *chosen, *format, status);
}

bool StreamChoice::takeNamed(HostOptions& options, const HeardStreams& heard, int& status) {
    for (const DiscoveredStream& stream : heard.streams) {
        if (stream.header.deviceKey != options.deviceKey) {
            continue;
        }
        const std::optional<StreamFormat> format = stream.streamFormat();
        if (!format) {
            std::cerr << "The library cannot read the frames of " << StreamDiscovery::summary(stream) << ": "
                      << joined(stream.reasons) << ".\n";
            status = 3;
            return false;
        }
        return take(options, stream, *format, status);
    }
    std::cerr << "No frame of " << options.deviceKey << " was heard on " << heard.adapterName << " in "
              << options.discoverySeconds << " s, so its frames are read as " << options.stream.describe()
              << ".\n";
    // The command line's form, or the defaults, now stand for the stream's: its channels are checked
    // against them as against a stream heard.
    std::string error;
    if (!options.useStream(options.deviceKey, options.stream, error)) {
        std::cerr << error << "\n";
        status = 2;
        return false;
    }
    return true;
}

} // namespace host
