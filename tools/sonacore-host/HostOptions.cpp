#include "HostOptions.h"

#include "CommandLineValues.h"

#include <algorithm>
#include <functional>
#include <map>
#include <optional>

namespace host {
namespace {

// The value as a refusal quotes it: as typed, or in quotes when it is empty or holds a space.
std::string shown(const std::string& value) {
    if (!value.empty() && value.find_first_of(" \t") == std::string::npos) {
        return value;
    }
    return "'" + value + "'";
}

// The sentence that refuses `value` of the option `name`, with what to give instead.
std::string refusal(const std::string& name, const std::string& value, const std::string& advice) {
    return name + " " + shown(value) + " is not valid: " + advice + ".";
}

// A whole number from `minimum` to `maximum` of what `unit` names ("whole seconds"), as the help and every
// refusal state it.
struct Range {
    std::uint64_t minimum;
    std::uint64_t maximum;
    const char* unit;

    std::string advice() const {
        return std::string("give ") + unit + " from " + std::to_string(minimum) + " to " +
               std::to_string(maximum);
    }
};

// The metered channels, "0,1,3": each from 0 to HostOptions::highestChannel, each once.
bool parseChannels(const std::string& value, std::vector<unsigned>& channels, std::string& error) {
    std::vector<unsigned> parsed;
    std::size_t begin = 0;
    for (;;) {
        const std::size_t comma = value.find(',', begin);
        const std::string item = value.substr(begin, comma == std::string::npos ? comma : comma - begin);
        const std::optional<std::uint64_t> channel =
            commandline::parseNumber(item, 0, HostOptions::highestChannel);
        if (!channel) {
            error = refusal("--meter", value,
                            "give channel numbers from 0 to " + std::to_string(HostOptions::highestChannel) +
                                ", separated by commas, such as 0,1");
            return false;
        }
        if (std::find(parsed.begin(), parsed.end(), *channel) != parsed.end()) {
            error =
                refusal("--meter", value,
                        "channel " + std::to_string(*channel) + " is named twice; name each channel once");
            return false;
        }
        parsed.push_back(static_cast<unsigned>(*channel));
        if (comma == std::string::npos) {
            break;
        }
        begin = comma + 1;
    }
    channels = parsed;
    return true;
}

// Reads one option's value into the options: false when the value is not valid, with the refusal in
// `error`.
using ValueReader =
    std::function<bool(HostOptions&, const std::string& name, const std::string& value, std::string& error)>;

// A whole number in `range`, with the flag that says the command line gave it.
ValueReader wholeNumber(std::uint64_t HostOptions::*member, Range range, bool HostOptions::*given = nullptr) {
    return [=](HostOptions& options, const std::string& name, const std::string& value, std::string& error) {
        const std::optional<std::uint64_t> parsed =
            commandline::parseNumber(value, range.minimum, range.maximum);
        if (!parsed) {
            error = refusal(name, value, range.advice());
            return false;
        }
        options.*member = *parsed;
        if (given != nullptr) {
            options.*given = true;
        }
        return true;
    };
}

// A whole number of the stream's form in `range`, with the flag that says the command line gave it.
ValueReader streamNumber(std::uint64_t StreamFormat::*member, Range range, bool HostOptions::*given) {
    return [=](HostOptions& options, const std::string& name, const std::string& value, std::string& error) {
        const std::optional<std::uint64_t> parsed =
            commandline::parseNumber(value, range.minimum, range.maximum);
        if (!parsed) {
            error = refusal(name, value, range.advice());
            return false;
        }
        options.stream.*member = *parsed;
        options.*given = true;
        return true;
    };
}

// Bytes per sample of a stream not heard: 2 are the library's 16-bit samples, any other size leaves the
// format unstated, and the library then reads the samples by their size alone.
ValueReader sampleSize(Range range) {
    return [=](HostOptions& options, const std::string& name, const std::string& value, std::string& error) {
        const std::optional<std::uint64_t> parsed =
            commandline::parseNumber(value, range.minimum, range.maximum);
        if (!parsed) {
            error = refusal(name, value, range.advice());
            return false;
        }
        options.stream.sampleSize = *parsed;
        options.stream.sampleFormat =
            *parsed == 2 ? sonacore::SampleFormat::Int16 : sonacore::SampleFormat::Unspecified;
        return true;
    };
}

// Whole seconds in `range`.
ValueReader wholeSeconds(double HostOptions::*member, Range range) {
    return [=](HostOptions& options, const std::string& name, const std::string& value, std::string& error) {
        const std::optional<std::uint64_t> parsed =
            commandline::parseNumber(value, range.minimum, range.maximum);
        if (!parsed) {
            error = refusal(name, value, range.advice());
            return false;
        }
        options.*member = static_cast<double>(*parsed);
        return true;
    };
}

// A text, which must not be empty unless `emptyAllowed`; `advice` says what to give.
ValueReader text(std::string HostOptions::*member, const char* advice, bool emptyAllowed = false) {
    return [=](HostOptions& options, const std::string& name, const std::string& value, std::string& error) {
        if (value.empty() && !emptyAllowed) {
            error = refusal(name, value, advice);
            return false;
        }
        options.*member = value;
        return true;
    };
}

bool readMac(HostOptions& options, const std::string&, const std::string& value, std::string& error) {
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

// --adapter once per network, or several names or numbers at once, separated by commas.
bool readAdapter(HostOptions& options, const std::string&, const std::string& value, std::string& error) {
    std::string rest = value;
    do {
        const std::size_t comma = rest.find(',');
        const std::string name = rest.substr(0, comma);
        rest = comma == std::string::npos ? std::string() : rest.substr(comma + 1);
        if (name.empty()) {
            error = "--adapter '" + value +
                    "' is not valid: give an adapter's number or name, as --list shows "
                    "them, or several separated by commas.";
            return false;
        }
        if (name == options.adapter || std::find(options.otherAdapters.begin(), options.otherAdapters.end(),
                                                 name) != options.otherAdapters.end()) {
            error = "Adapter " + name + " is named twice; name each adapter once.";
            return false;
        }
        (options.adapter.empty() ? options.adapter : options.otherAdapters.emplace_back()) = name;
    } while (!rest.empty());
    return true;
}

bool readMeter(HostOptions& options, const std::string&, const std::string& value, std::string& error) {
    options.meterGiven = parseChannels(value, options.meteredChannels, error);
    return options.meterGiven;
}

// The ranges of the numeric options, as --help states them.
const Range channelsRange{1, 255, "a whole number of channels"};
const Range samplesPerFrameRange{1, 65535, "a whole number of samples"};
const Range sampleSizeRange{1, 4, "a whole number of bytes"};
const Range bufferSizeRange{HostOptions::spectrumFrameLength, 1048576, "a whole number of samples"};
const Range signalingRange{1, 48000, "a whole number of samples"};
const Range clockPeriodRange{0, 60000, "whole milliseconds"};
const Range secondsRange{1, 3600, "whole seconds"};
const Range durationRange{1, 86400, "whole seconds"};

// Every option that takes a value.
const std::map<std::string, ValueReader>& valueReaders() {
    static const std::map<std::string, ValueReader> readers{
        {"--adapter", readAdapter},
        {"--mac", readMac},
        {"--channels", streamNumber(&StreamFormat::channels, channelsRange, &HostOptions::channelsGiven)},
        {"--samples-per-frame", streamNumber(&StreamFormat::samplesPerFrame, samplesPerFrameRange,
                                             &HostOptions::samplesPerFrameGiven)},
        {"--sample-size", sampleSize(sampleSizeRange)},
        {"--buffer-size", wholeNumber(&HostOptions::bufferSize, bufferSizeRange)},
        {"--signaling", wholeNumber(&HostOptions::signalingAmount, signalingRange)},
        {"--clock-period", wholeNumber(&HostOptions::clockPeriodMs, clockPeriodRange)},
        {"--meter", readMeter},
        {"--seconds", wholeSeconds(&HostOptions::discoverySeconds, secondsRange)},
        {"--duration", wholeSeconds(&HostOptions::durationSeconds, durationRange)},
        {"--talker", text(&HostOptions::talkerPath, "", true)},
        {"--record", text(&HostOptions::recordPath, "give the name of a CSV file")},
        {"--snapshot",
         text(&HostOptions::snapshotPath, "give the name of an image file, such as snapshot.png")},
    };
    return readers;
}

// The options without a value; false for any other name.
bool readFlag(const std::string& name, HostOptions& options) {
    if (name == "--help" || name == "-h") {
        options.help = true;
    } else if (name == "--version") {
        options.version = true;
    } else if (name == "--list") {
        options.list = true;
    } else if (name == "--all") {
        options.allAdapters = true;
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
        const auto reader = valueReaders().find(name);
        if (reader == valueReaders().end()) {
            error = "Unknown option '" + name + "': run 'sonacore-host --help' for the options.";
            return false;
        }
        if (index + 1 >= argc) {
            error = name + " needs a value: run 'sonacore-host --help' for the options.";
            return false;
        }
        const std::string value = argv[++index];
        if (!reader->second(options, name, value, error)) {
            return false;
        }
    }
    if (options.allAdapters && !options.list) {
        error = "--all goes with --list: run 'sonacore-host --list --all' for every adapter.";
        return false;
    }
    if (!options.otherAdapters.empty() && (options.macGiven || options.discover)) {
        error = std::string(options.macGiven ? "--mac" : "--discover") +
                " takes one adapter: on several, the first stream heard on each is monitored.";
        return false;
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
                    (stream.channels == 1 ? std::string("1 channel, numbered 0.")
                                          : std::to_string(stream.channels) + " channels, numbered from 0.");
            return false;
        }
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
           "  --version                the monitor's name and the library's version\n"
           "  --list                   list the Ethernet capture adapters, numbered from 1 as the library\n"
           "                           numbers every adapter\n"
           "  --list --all             list every capture adapter libpcap gives, loopback and others too\n"
           "  --discover               list the AAF talkers heard on the adapter (without --adapter, on the\n"
           "                           built-in demo's network), one line each, with what the library "
           "cannot\n"
           "                           analyse and why\n"
           "  --seconds S              how long to listen for talkers, 1 to 3600 (default 2)\n"
           "  --adapter N|NAME         capture on this adapter; given again (or as a list, eth1,eth2), on\n"
           "                           several networks at once, each with the first stream heard on it\n"
           "  --mac XX:XX:XX:XX:XX:XX  the stream's source address; without it, the first stream heard on "
           "the\n"
           "                           adapter that the library can analyse. Either way the stream is read\n"
           "                           in the sample format, channels, samples per frame and VLAN tag its\n"
           "                           frames state, as heard for up to --seconds before monitoring\n"
           "  --channels N             channels in the stream, 1 to 255 (default: as heard, or 2)\n"
           "  --samples-per-frame N    samples per channel in one frame, 1 to 65535 (default: as heard, or "
           "6)\n"
           "  --sample-size N          bytes per sample of a stream not heard, 1 to 4 (default 2); a stream\n"
           "                           heard is read in the sample format its frames state\n"
           "  --buffer-size N          samples kept per channel, 16384 (one spectrum frame) to 1048576\n"
           "                           (default 65536, which holds an FFT of order 16)\n"
           "  --signaling N            samples per buffer signal, 1 to 48000; a level comes every 6 "
           "signals,\n"
           "                           so 6 x N must fit in the buffer (default 480)\n"
           "  --clock-period MS        milliseconds between spectra on the processors' own clock, 0 to "
           "60000,\n"
           "                           where 0 calculates a spectrum on every buffer signal (default 200);\n"
           "                           levels always follow the buffer's signal\n"
           "  --meter 0,1,...          channels to meter, each 0 to 254 and named once (default: all, up to "
           "8)\n"
           "  --duration S             seconds to run, 1 to 86400 (default 10)\n"
           "  --talker PATH            the AVTP talker for the built-in demo\n"
           "  --record FILE.csv        append every delivery to FILE, one row each, flushed at once; a new\n"
           "                           or empty FILE gets the header line utc,seconds,channel,kind, the\n"
           "                           seven level names (dBA SPL f ... dBFS), peak Hz, bins, bin 0 ...\n"
           "                           bin 32767. A level row fills the seven levels in dB re full scale, a\n"
           "                           spectrum row the peak's frequency, its bin count N and each bin's\n"
           "                           linear power (bin k at k x 48000 / 2N Hz), the rest left empty\n"
           "  --snapshot FILE.png      at the end of the run, also on Ctrl-C, paint a 1200x700 image of the\n"
           "                           first metered channel's last spectrum (dB over 20 Hz to 24 kHz on a\n"
           "                           logarithmic axis) and the last levels of every metered channel, in\n"
           "                           the format FILE's suffix names (.png, .jpg, .bmp, ...)\n"
           "  --verbose                also show the library's progress lines and the warnings that every\n"
           "                           start-up brings\n"
           "The folders of --record and --snapshot are checked before the run starts.\n"
           "Exit status: 0 done; 1 the run failed (no right to capture, the library refused, the record or\n"
           "the snapshot could not be written); 2 a bad command line or output path, or an unknown adapter;\n"
           "3 no audio or no stream that can be analysed; 129 the terminal closed (SIGHUP); 130 Ctrl-C\n"
           "(SIGINT); 141 the standard output closed (SIGPIPE, as with '| head'); 143 SIGTERM. Every way "
           "out\n"
           "removes what the demo made, ends its talker, and keeps the record and the snapshot.\n";
}

} // namespace host
