#include "HostOptions.h"

#include "CommandLineValues.h"

#include <functional>
#include <map>
#include <optional>
#include <sstream>

namespace host {
namespace {

bool parseChannels(const std::string& text, std::vector<unsigned>& channels) {
    std::vector<unsigned> parsed;
    std::stringstream stream(text);
    std::string item;
    while (std::getline(stream, item, ',')) {
        const std::optional<std::uint64_t> channel = commandline::parseNumber(item, 0, 255);
        if (!channel) {
            return false;
        }
        parsed.push_back(static_cast<unsigned>(*channel));
    }
    if (parsed.empty()) {
        return false;
    }
    channels = parsed;
    return true;
}

// Reads one option's value into the options: false when the value is not valid, with `error` set when the
// option has a sentence of its own, left empty for the common one.
using ValueReader = std::function<bool(HostOptions&, const std::string&, std::string&)>;

// A whole number from `minimum` to `maximum`, with the flag that says the command line gave it.
ValueReader wholeNumber(std::uint64_t HostOptions::*member, std::uint64_t minimum, std::uint64_t maximum,
                        bool HostOptions::*given = nullptr) {
    return [=](HostOptions& options, const std::string& value, std::string&) {
        const std::optional<std::uint64_t> parsed = commandline::parseNumber(value, minimum, maximum);
        options.*member = parsed.value_or(options.*member);
        if (given != nullptr) {
            options.*given = true;
        }
        return parsed.has_value();
    };
}

// A whole number of the stream's form from `minimum` to `maximum`, with the flag that says the command line
// gave it.
ValueReader streamNumber(std::uint64_t StreamFormat::*member, std::uint64_t minimum, std::uint64_t maximum,
                         bool HostOptions::*given) {
    return [=](HostOptions& options, const std::string& value, std::string&) {
        const std::optional<std::uint64_t> parsed = commandline::parseNumber(value, minimum, maximum);
        options.stream.*member = parsed.value_or(options.stream.*member);
        options.*given = true;
        return parsed.has_value();
    };
}

// Bytes per sample of a stream not heard: 2 are the library's 16-bit samples, any other size leaves the
// format unstated, and the library then reads the samples by their size alone.
bool readSampleSize(HostOptions& options, const std::string& value, std::string&) {
    const std::optional<std::uint64_t> parsed = commandline::parseNumber(value, 1, 8);
    if (!parsed) {
        return false;
    }
    options.stream.sampleSize = *parsed;
    options.stream.sampleFormat =
        *parsed == 2 ? sonacore::SampleFormat::Int16 : sonacore::SampleFormat::Unspecified;
    return true;
}

// Whole seconds from `minimum` to `maximum`.
ValueReader wholeSeconds(double HostOptions::*member, std::uint64_t minimum, std::uint64_t maximum) {
    return [=](HostOptions& options, const std::string& value, std::string&) {
        const std::optional<std::uint64_t> parsed = commandline::parseNumber(value, minimum, maximum);
        if (parsed) {
            options.*member = static_cast<double>(*parsed);
        }
        return parsed.has_value();
    };
}

// A text, which must not be empty unless `emptyAllowed`.
ValueReader text(std::string HostOptions::*member, bool emptyAllowed = false) {
    return [=](HostOptions& options, const std::string& value, std::string&) {
        options.*member = value;
        return emptyAllowed || !value.empty();
    };
}

bool readMac(HostOptions& options, const std::string& value, std::string& error) {
    const std::optional<commandline::MacAddress> mac = commandline::parseMac(value);
    if (!mac) {
        error = "The MAC address '" + value +
                "' is malformed: give six hexadecimal bytes such as 00:a0:c9:11:22:33.";
        return false;
    }
    options.deviceKey = commandline::deviceKey(*mac);
    options.macGiven = true;
    return true;
}

bool readMeter(HostOptions& options, const std::string& value, std::string&) {
    options.meterGiven = parseChannels(value, options.meteredChannels);
    return options.meterGiven;
}

// Every option that takes a value.
const std::map<std::string, ValueReader>& valueReaders() {
    static const std::map<std::string, ValueReader> readers{
        {"--adapter", text(&HostOptions::adapter)},
        {"--mac", readMac},
        {"--channels", streamNumber(&StreamFormat::channels, 1, 255, &HostOptions::channelsGiven)},
        {"--samples-per-frame",
         streamNumber(&StreamFormat::samplesPerFrame, 1, 65535, &HostOptions::samplesPerFrameGiven)},
        {"--sample-size", readSampleSize},
        {"--buffer-size", wholeNumber(&HostOptions::bufferSize, 1, 100000000)},
        {"--signaling", wholeNumber(&HostOptions::signalingAmount, 1, 100000000)},
        {"--clock-period", wholeNumber(&HostOptions::clockPeriodMs, 0, 3600000)},
        {"--meter", readMeter},
        {"--seconds", wholeSeconds(&HostOptions::discoverySeconds, 1, 3600)},
        {"--duration", wholeSeconds(&HostOptions::durationSeconds, 1, 86400)},
        {"--talker", text(&HostOptions::talkerPath, true)},
        {"--record", text(&HostOptions::recordPath)},
        {"--snapshot", text(&HostOptions::snapshotPath)},
    };
    return readers;
}

// The options without a value; false for any other name.
bool readFlag(const std::string& name, HostOptions& options) {
    if (name == "--help" || name == "-h") {
        options.help = true;
    } else if (name == "--list") {
        options.list = true;
    } else if (name == "--discover") {
        options.discover = true;
    } else if (name == "--verbose") {
        options.verbose = true;
    } else {
        return false;
    }
    return true;
}

} // namespace

bool HostOptions::parse(int argc, char** argv, HostOptions& options, std::string& error) {
    for (int index = 1; index < argc; ++index) {
        const std::string name = argv[index];
        if (readFlag(name, options)) {
            continue;
        }
        if (index + 1 >= argc) {
            error =
                "Unknown option or missing value '" + name + "': run 'sonacore-host --help' for the options.";
            return false;
        }
        const auto reader = valueReaders().find(name);
        if (reader == valueReaders().end()) {
            error = "Unknown option '" + name + "': run 'sonacore-host --help' for the options.";
            return false;
        }
        const std::string value = argv[++index];
        if (!reader->second(options, value, error)) {
            if (error.empty()) {
                error = "The value '" + value + "' of " + name +
                        " is not valid: run 'sonacore-host --help' for the ranges.";
            }
            return false;
        }
    }
    return options.complete(error, options.channelsGiven);
}

bool HostOptions::useStream(const std::string& streamDeviceKey, const StreamFormat& heard,
                            std::string& error) {
    deviceKey = streamDeviceKey;
    const StreamFormat given = stream;
    stream = heard;
    if (channelsGiven) {
        stream.channels = given.channels;
    }
    if (samplesPerFrameGiven) {
        stream.samplesPerFrame = given.samplesPerFrame;
    }
    return complete(error, true);
}

bool HostOptions::complete(std::string& error, bool channelsKnown) {
    if (!meterGiven) {
        meteredChannels.clear();
        for (unsigned channel = 0; channel < stream.channels && channel < 8; ++channel) {
            meteredChannels.push_back(channel);
        }
    }
    for (const unsigned channel : meteredChannels) {
        if (channelsKnown && channel >= stream.channels) {
            error = "Channel " + std::to_string(channel) + " is not sent: the stream has " +
                    std::to_string(stream.channels) + " channels, numbered from 0.";
            return false;
        }
    }
    if (bufferSize < spectrumFrameLength) {
        error = "The buffer size must hold one spectrum frame: give --buffer-size " +
                std::to_string(spectrumFrameLength) + " or more.";
        return false;
    }
    if (levelSampleAmount() > bufferSize) {
        error =
            "The buffer size must hold the samples of one level, six signalling amounts: give --signaling " +
            std::to_string(bufferSize / signalsPerLevel) + " or less.";
        return false;
    }
    return true;
}

std::string HostOptions::usage() {
    return "Usage: sonacore-host [options]\n"
           "With no --adapter: the built-in demo on a private network namespace (needs root).\n"
           "Shows per channel the library's A-, C- and Z-weighted fast sound levels in dB re full scale and "
           "the\n"
           "frequency of the strongest bin of its 16384-point power spectrum, for streams of 48 kHz.\n"
           "  --list                   list the capture adapters, numbered from 1\n"
           "  --discover               list the AAF talkers heard on the adapter (without --adapter, on the\n"
           "                           built-in demo's network), one line each, with what the library "
           "cannot\n"
           "                           analyse and why\n"
           "  --seconds S              how long to listen for talkers (default 2)\n"
           "  --adapter N|NAME         capture on this adapter\n"
           "  --mac XX:XX:XX:XX:XX:XX  the stream's source address; without it, the first stream heard on "
           "the\n"
           "                           adapter that the library can analyse. Either way the stream is read\n"
           "                           in the sample format, channels, samples per frame and VLAN tag its\n"
           "                           frames state, as heard for up to --seconds before monitoring\n"
           "  --channels N             channels in the stream (default: as heard, or 2)\n"
           "  --samples-per-frame N    samples per channel in one frame (default: as heard, or 6)\n"
           "  --sample-size N          bytes per sample of a stream not heard (default 2); a stream heard\n"
           "                           is read in the sample format its frames state\n"
           "  --buffer-size N          samples kept per channel, at least one spectrum frame of 16384\n"
           "                           (default 65536, which holds an FFT of order 16)\n"
           "  --signaling N            samples per buffer signal; a level comes every 6 signals, so\n"
           "                           6 x N must fit in the buffer (default 480)\n"
           "  --clock-period MS        milliseconds between spectra on the processors' own clock, or 0 for "
           "a\n"
           "                           spectrum on every buffer signal (default 200); levels always follow\n"
           "                           the buffer's signal\n"
           "  --meter 0,1,...          channels to meter (default: all, up to 8)\n"
           "  --duration S             seconds to run (default 10)\n"
           "  --talker PATH            the AVTP talker for the built-in demo\n"
           "  --record FILE.csv        append every delivery to FILE, one row each, flushed at once; a new\n"
           "                           or empty FILE gets the header line utc,seconds,channel,kind, the\n"
           "                           seven level names (dBA SPL f ... dBFS), peak Hz, bins, bin 0 ...\n"
           "                           bin 32767. A level row fills the seven levels in dB re full scale, a\n"
           "                           spectrum row the peak's frequency, its bin count N and each bin's\n"
           "                           linear power (bin k at k x 48000 / 2N Hz), the rest left empty\n"
           "  --snapshot FILE.png      at the end of the run, also on Ctrl-C, paint a 1200x700 image of the\n"
           "                           first metered channel's last spectrum (dB over 20 Hz to 24 kHz on a\n"
           "                           logarithmic axis) and the last levels of every metered channel\n"
           "  --verbose                also show the library's progress lines and the warnings that every\n"
           "                           start-up brings\n";
}

} // namespace host
