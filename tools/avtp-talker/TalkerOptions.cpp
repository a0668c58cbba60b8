#include "TalkerOptions.h"

#include "CommandLineValues.h"

#include <cctype>
#include <cmath>
#include <functional>

namespace avtptalker {

namespace {

constexpr unsigned maxChannels = 1023;

using commandline::parseNumber;

bool parseStreamId(const std::string& text, std::uint64_t& id) {
    std::string digits;
    for (const char c : text) {
        if (c != ':' && c != '-') {
            digits += c;
        }
    }
    if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
        digits = digits.substr(2);
    }
    if (digits.empty() || digits.size() > 16) {
        return false;
    }
    const std::optional<std::uint64_t> parsed = parseNumber("0x" + digits);
    id = parsed.value_or(0);
    return parsed.has_value();
}

// Splits "K:VALUE" into its two whole numbers.
bool parsePair(const std::string& text, std::uint64_t valueMaximum, std::uint64_t& frame,
               std::uint64_t& value) {
    const std::string::size_type colon = text.find(':');
    if (colon == std::string::npos) {
        return false;
    }
    const std::optional<std::uint64_t> first = parseNumber(text.substr(0, colon));
    const std::optional<std::uint64_t> second = parseNumber(text.substr(colon + 1), 0, valueMaximum);
    frame = first.value_or(0);
    value = second.value_or(0);
    return first && second;
}

// What one run of the parser builds: the options, the two ways of giving the frame count, which only
// together say which one holds, and whether a tag protocol identifier was given, which needs a tag.
struct ParseState {
    TalkerOptions options;
    std::optional<std::uint64_t> count;
    std::optional<double> duration;
    bool vlanTpidGiven = false;
};

using Handler = std::function<bool(const std::string&)>;

// An option that takes a value: what it expects, for the error message, and what reads the value.
struct ValuedOption {
    std::string expected;
    Handler handler;
};

using OptionTable = std::map<std::string, ValuedOption>;

// A whole number from `minimum` to `maximum`, handed to `store`.
template <typename Store> Handler number(std::uint64_t minimum, std::uint64_t maximum, Store store) {
    return [=](const std::string& text) {
        const std::optional<std::uint64_t> value = parseNumber(text, minimum, maximum);
        if (value) {
            store(*value);
        }
        return value.has_value();
    };
}

// A non-empty text, stored as it is.
Handler text(std::string& target) {
    return [&target](const std::string& value) {
        target = value;
        return !value.empty();
    };
}

// A frame index added to a set.
Handler frameSet(std::set<std::uint64_t>& target) {
    return [&target](const std::string& text) {
        const std::optional<std::uint64_t> frame = parseNumber(text);
        if (frame) {
            target.insert(*frame);
        }
        return frame.has_value();
    };
}

// "FRAME:VALUE" with VALUE up to `maximum`, stored per frame.
Handler frameMap(std::map<std::uint64_t, unsigned>& target, std::uint64_t maximum) {
    return [&target, maximum](const std::string& text) {
        std::uint64_t frame = 0;
        std::uint64_t value = 0;
        if (!parsePair(text, maximum, frame, value)) {
            return false;
        }
        target[frame] = static_cast<unsigned>(value);
        return true;
    };
}

// The interface and the addresses the stream is sent from and to.
void addAddressOptions(OptionTable& table, TalkerOptions& options) {
    table["--interface"] = {"an interface name", text(options.interfaceName)};
    table["--source-mac"] = {"a MAC address such as 00:11:22:33:44:55", [&options](const std::string& v) {
                                 options.sourceMac = commandline::parseMac(v);
                                 return options.sourceMac.has_value();
                             }};
    table["--destination-mac"] = {"a MAC address such as 91:e0:f0:00:00:01",
                                  [&options](const std::string& v) {
                                      const std::optional<MacAddress> mac = commandline::parseMac(v);
                                      options.destinationMac = mac.value_or(options.destinationMac);
                                      return mac.has_value();
                                  }};
    table["--stream-id"] = {"up to 16 hexadecimal digits", [&options](const std::string& v) {
                                std::uint64_t id = 0;
                                if (!parseStreamId(v, id)) {
                                    return false;
                                }
                                options.streamId = id;
                                return true;
                            }};
}

// "ID[:PRIORITY]" of a VLAN tag, the priority kept when not given.
Handler vlanTag(std::optional<unsigned>& vlanId, unsigned& vlanPriority) {
    return [&vlanId, &vlanPriority](const std::string& v) {
        std::uint64_t id = 0;
        std::uint64_t priority = vlanPriority;
        const bool good = v.find(':') == std::string::npos
                              ? parsePair(v + ":" + std::to_string(priority), 7, id, priority)
                              : parsePair(v, 7, id, priority);
        if (!good || id > 4094) {
            return false;
        }
        vlanId = unsigned(id);
        vlanPriority = unsigned(priority);
        return true;
    };
}

// The VLAN tags in front of the EtherType.
void addTagOptions(OptionTable& table, ParseState& state) {
    TalkerOptions& options = state.options;
    const std::string tag = "a VLAN ID from 0 to 4094, optionally followed by :PRIORITY from 0 to 7";
    table["--vlan"] = {tag, vlanTag(options.vlanId, options.vlanPriority)};
    table["--outer-vlan"] = {tag, vlanTag(options.outerVlanId, options.outerVlanPriority)};
    table["--vlan-tpid"] = {"a tag protocol identifier of 8100 or 88a8", [&state](const std::string& v) {
                                std::string digits = v;
                                if (digits.rfind("0x", 0) == 0 || digits.rfind("0X", 0) == 0) {
                                    digits = digits.substr(2);
                                }
                                for (char& c : digits) {
                                    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
                                }
                                if (digits != "8100" && digits != "88a8") {
                                    return false;
                                }
                                state.options.vlanTpid = digits == "8100" ? 0x8100 : 0x88a8;
                                state.vlanTpidGiven = true;
                                return true;
                            }};
}

// The shape of every frame: channels, samples, sample width, first sequence number.
void addFormatOptions(OptionTable& table, TalkerOptions& options) {
    table["--channels"] = {
        "a channel count from 1 to 1023",
        number(1, maxChannels, [&options](std::uint64_t v) { options.channels = unsigned(v); })};
    table["--samples-per-frame"] = {
        "a sample count from 1 to 65535",
        number(1, 65535, [&options](std::uint64_t v) { options.samplesPerFrame = unsigned(v); })};
    // Both set the one sample format; the later of the two on the command line holds.
    table["--sample-bits"] = {
        "a sample width of 16, 24 or 32 bits", [&options](const std::string& v) {
            static const std::map<std::uint64_t, SampleFormat> widths{
                {16, SampleFormat::Int16}, {24, SampleFormat::Int24}, {32, SampleFormat::Int32}};
            const auto width = widths.find(parseNumber(v, 0, 32).value_or(0));
            if (width == widths.end()) {
                return false;
            }
            options.sampleFormat = width->second;
            return true;
        }};
    table["--format"] = {
        "a sample format of int16, int24, int32 or float32", [&options](const std::string& v) {
            static const std::map<std::string, SampleFormat> formats{{"int16", SampleFormat::Int16},
                                                                     {"int24", SampleFormat::Int24},
                                                                     {"int32", SampleFormat::Int32},
                                                                     {"float32", SampleFormat::Float32}};
            const auto format = formats.find(v);
            if (format == formats.end()) {
                return false;
            }
            options.sampleFormat = format->second;
            return true;
        }};
    table["--first-sequence"] = {
        "a sequence number from 0 to 255",
        number(0, 255, [&options](std::uint64_t v) { options.firstSequenceNumber = std::uint8_t(v); })};
}

// What the channels play, and where the samples sent are written.
void addSignalOptions(OptionTable& table, TalkerOptions& options) {
    table["--signal"] = {"a signal such as sine:1000:0.5", text(options.signal)};
    table["--channel-signal"] = {"CHANNEL=SIGNAL, such as 1=noise:42", [&options](const std::string& v) {
                                     const std::string::size_type equals = v.find('=');
                                     if (equals == std::string::npos || equals + 1 == v.size()) {
                                         return false;
                                     }
                                     const std::optional<std::uint64_t> channel =
                                         parseNumber(v.substr(0, equals), 0, maxChannels - 1);
                                     if (channel) {
                                         options.channelSignals[unsigned(*channel)] = v.substr(equals + 1);
                                     }
                                     return channel.has_value();
                                 }};
    table["--dump-samples"] = {"a file name", text(options.dumpPath)};
}

// How long and how fast the stream runs.
void addTimingOptions(OptionTable& table, ParseState& state) {
    table["--count"] = {"a frame count of at least 1",
                        number(1, UINT64_MAX, [&state](std::uint64_t v) { state.count = v; })};
    table["--duration"] = {"a positive number of seconds", [&state](const std::string& v) {
                               state.duration = commandline::parseReal(v, 0.0, 1e9);
                               return state.duration.has_value() && *state.duration > 0.0;
                           }};
    table["--priority"] = {"a SCHED_FIFO priority from 1 to 99",
                           number(1, 99, [&state](std::uint64_t v) { state.options.priority = int(v); })};
}

// The faults a test can ask for, each at chosen frames.
void addFaultOptions(OptionTable& table, TalkerOptions& options) {
    table["--drop-every"] = {"a frame interval of at least 2",
                             number(2, UINT64_MAX, [&options](std::uint64_t v) { options.dropEvery = v; })};
    table["--drop-at"] = {"a frame index", frameSet(options.dropAt)};
    table["--repeat-at"] = {"a frame index", frameSet(options.repeatAt)};
    table["--swap-at"] = {"a frame index", frameSet(options.swapAt)};
    table["--channels-at"] = {"FRAME:CHANNELS with CHANNELS from 0 to 1023",
                              frameMap(options.channelsAt, maxChannels)};
    table["--truncate-at"] = {"FRAME:BYTES", frameMap(options.truncateAt, 65535)};
    table["--data-length-at"] = {"FRAME:LENGTH with LENGTH from 0 to 65535",
                                 frameMap(options.dataLengthAt, 65535)};
    table["--insert-subtype"] = {"FRAME:SUBTYPE with SUBTYPE from 0 to 255",
                                 frameMap(options.insertSubtype, 255)};
    table["--insert-ethertype"] = {"FRAME:ETHERTYPE with ETHERTYPE from 0 to 0xffff",
                                   frameMap(options.insertEtherType, 0xffff)};
}

// Reads the arguments into the state through the table. Sets `help` and stops at --help; false with one
// sentence in `error` for an unknown option or a value its option does not take.
bool readArguments(const std::vector<std::string>& arguments, const OptionTable& table, ParseState& state,
                   bool& help, std::string& error) {
    static const std::map<std::string, std::string> shortNames{
        {"-i", "--interface"}, {"-c", "--channels"}, {"-s", "--samples-per-frame"},
        {"-n", "--count"},     {"-d", "--duration"},
    };
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        std::string name = arguments[i];
        std::optional<std::string> value;
        const std::string::size_type equals = name.find('=');
        if (name.rfind("--", 0) == 0 && equals != std::string::npos) {
            value = name.substr(equals + 1);
            name = name.substr(0, equals);
        }
        if (const auto alias = shortNames.find(name); alias != shortNames.end()) {
            name = alias->second;
        }
        if (name == "--help" || name == "-h") {
            help = true;
            return true;
        }
        if (name == "--fast") {
            state.options.fast = true;
            continue;
        }
        const auto option = table.find(name);
        if (option == table.end()) {
            error = "unknown option '" + arguments[i] + "'";
            return false;
        }
        if (!value) {
            if (i + 1 == arguments.size()) {
                error = "option " + name + " needs " + option->second.expected;
                return false;
            }
            value = arguments[++i];
        }
        if (!option->second.handler(*value)) {
            error = "option " + name + " needs " + option->second.expected + ", not '" + *value + "'";
            return false;
        }
    }
    return true;
}

// The frame count from --count or --duration, which exclude each other.
bool resolveFrameCount(ParseState& state, std::string& error) {
    if (state.count && state.duration) {
        error = "options --count and --duration exclude each other";
        return false;
    }
    if (state.count) {
        state.options.frameCount = state.count;
    } else if (state.duration) {
        const double frameRate = 48000.0 / state.options.samplesPerFrame;
        state.options.frameCount = static_cast<std::uint64_t>(std::llround(*state.duration * frameRate));
        if (*state.options.frameCount == 0) {
            error = "option --duration is shorter than one frame";
            return false;
        }
    }
    return true;
}

// What options say of each other: channel signals within the stream, swaps that neither overlap nor run
// past the end, truncations that keep the Ethernet header.
bool checkConsistency(const TalkerOptions& options, std::string& error) {
    const unsigned maximum = options.maximumChannels();
    for (const auto& [channel, text] : options.channelSignals) {
        if (channel >= maximum) {
            error = "option --channel-signal names channel " + std::to_string(channel) +
                    " but the stream has at most " + std::to_string(maximum) + " channels";
            return false;
        }
    }
    for (const std::uint64_t frame : options.swapAt) {
        if (options.swapAt.count(frame + 1) != 0) {
            error =
                "swaps at frames " + std::to_string(frame) + " and " + std::to_string(frame + 1) + " overlap";
            return false;
        }
        if (options.frameCount && frame + 1 >= *options.frameCount) {
            error = "a swap at frame " + std::to_string(frame) + " needs frame " + std::to_string(frame + 1) +
                    " within the frame count";
            return false;
        }
    }
    for (const auto& [frame, bytes] : options.truncateAt) {
        if (bytes < 14) {
            error = "a frame cannot be truncated below its 14-byte Ethernet header";
            return false;
        }
    }
    return true;
}

// The outer tag and the tag protocol identifier both need the tag they stand in front of or name.
bool checkTags(const ParseState& state, std::string& error) {
    if (state.options.outerVlanId && !state.options.vlanId) {
        error = "option --outer-vlan needs --vlan, the tag behind it";
        return false;
    }
    if (state.vlanTpidGiven && !state.options.vlanId) {
        error = "option --vlan-tpid needs --vlan, the tag it names";
        return false;
    }
    return true;
}

} // namespace

bool TalkerOptions::parse(const std::vector<std::string>& arguments, TalkerOptions& out, std::string& error) {
    ParseState state;
    OptionTable table;
    addAddressOptions(table, state.options);
    addTagOptions(table, state);
    addFormatOptions(table, state.options);
    addSignalOptions(table, state.options);
    addTimingOptions(table, state);
    addFaultOptions(table, state.options);

    bool help = false;
    if (!readArguments(arguments, table, state, help, error)) {
        return false;
    }
    if (help) {
        out = TalkerOptions();
        out.help = true;
        return true;
    }
    // The interface comes first among the checks, as the most likely thing a user forgot.
    if (state.options.interfaceName.empty()) {
        error = "option --interface is required";
        return false;
    }
    if (!resolveFrameCount(state, error) || !checkTags(state, error) ||
        !checkConsistency(state.options, error)) {
        return false;
    }
    out = state.options;
    return true;
}

unsigned TalkerOptions::sampleBits() const {
    switch (sampleFormat) {
    case SampleFormat::Int16:
        return 16;
    case SampleFormat::Int24:
        return 24;
    case SampleFormat::Int32:
    case SampleFormat::Float32:
        break;
    }
    return 32;
}

unsigned TalkerOptions::maximumChannels() const {
    unsigned maximum = channels;
    for (const auto& [frame, count] : channelsAt) {
        maximum = count > maximum ? count : maximum;
    }
    return maximum;
}

std::string TalkerOptions::usage() {
    return R"(Usage: sonacore-avtp-talker --interface NAME [options]

Sends an IEEE 1722 AAF stream (subtype 2, big-endian 16-bit samples unless told otherwise, interleaved
by channel, nominal 48 kHz, EtherType 0x22f0, no VLAN tag unless told) through a raw packet socket.
Needs CAP_NET_RAW.

Stream:
  -i, --interface NAME          interface to send on (required)
      --source-mac MAC          source address (default: the interface's address)
      --destination-mac MAC     destination address (default 91:e0:f0:00:00:01)
      --stream-id ID            16 hex digits (default: source address followed by 0001)
  -c, --channels N              channels per frame, 1 to 1023 (default 2)
  -s, --samples-per-frame N     samples per channel per frame (default 6: 8000 frames/s)
      --format F                int16, int24, int32 (formats INT_16BIT, INT_24BIT, INT_32BIT) or
                                float32 (FLOAT_32BIT) (default int16); wider integers carry the
                                16-bit signal shifted up to fill the width, float32 the signal's
                                value as a fraction of full scale, before its rounding to 16 bits
      --sample-bits N           16, 24 or 32: the same as --format int16, int24 or int32
      --vlan ID[:PRIORITY]      tag every frame for VLAN ID (0 to 4094) with priority 0 to 7
                                (default 3) in an IEEE 802.1Q tag (default: no tag)
      --vlan-tpid T             8100 or 88a8: the tag protocol identifier of the --vlan tag
                                (default 8100)
      --outer-vlan ID[:PRIORITY]
                                an outer tag (0x88a8) for VLAN ID with priority 0 to 7 (default 3)
                                in front of the --vlan tag, as in QinQ (default: none)
      --signal SIGNAL           signal of every channel without its own
      --channel-signal C=SIGNAL signal of channel C (from 0); repeatable
      --first-sequence N        sequence number of the first frame (default 0)

Signals (each a pure function of the sample index; see SignalGenerator.h):
  sine:FREQ[:AMP]   sine of FREQ Hz, AMP of full scale 0..1 (default 0.5)
  noise:SEED[:AMP]  seeded white noise (default AMP 0.5)
  steps:FREQ:AMP1:AMP2:SECONDS  sine of FREQ Hz whose amplitude alternates AMP1, AMP2 every SECONDS
  silence           zeros
  counter[:START]   START, START+1, ... modulo 65536
  wav:PATH          16-bit PCM WAV file, looped; channel c plays file channel c modulo its channels
  special:WHICH     float32 only: nan, inf or -inf on every sample, or cycle: NaN, +inf, -inf
                    and 0.5 in turn
  Default for channel c: sine:1000*(1+c%16):0.5

Timing:
  -n, --count N                 stop after N stream frames
  -d, --duration SECONDS        stop after SECONDS worth of frames
                                (without either: run until SIGINT or SIGTERM)
      --fast                    send as fast as possible instead of in real time
      --priority P              run with SCHED_FIFO priority P (1 to 99)

Faults (K counts stream frames from 0; faults never shift other frames' samples or sequence numbers):
      --drop-every N            do not send frames K with (K+1) a multiple of N
      --drop-at K               do not send frame K; repeatable
      --repeat-at K             send frame K twice; repeatable
      --swap-at K               send frame K+1 before frame K; repeatable
      --channels-at K:C         C channels (0 to 1023) from frame K on; repeatable
      --truncate-at K:BYTES     send only the first BYTES bytes of frame K (at least 14); repeatable
      --data-length-at K:LEN    frame K states stream data length LEN; repeatable
      --insert-subtype K:V      send a stray copy of frame K with subtype V just before it; repeatable
      --insert-ethertype K:E    send a stray copy of frame K with EtherType E just before it; repeatable

Output:
      --dump-samples FILE       one line per frame sent: "FRAME SEQUENCE CHANNELS : SAMPLE ..."
                                (FRAME is the stream frame index, SAMPLE the payload's values in
                                order; a stray inserted copy is marked with '*' after FRAME)
  -h, --help                    this text

A summary goes to stderr at the end: frames sent, elapsed time, achieved frame rate and the lateness
of each send against its deadline (mean, 99th percentile, maximum).
)";
}

} // namespace avtptalker
