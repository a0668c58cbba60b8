#include "TalkerOptions.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <functional>

namespace avtptalker {

namespace {

constexpr unsigned kMaxChannels = 1023;

bool parseUnsigned(const std::string& text, std::uint64_t maximum, std::uint64_t& value) {
    if (text.empty() || text[0] == '-' || text[0] == '+' || text[0] == ' ') {
        return false;
    }
    char* end = nullptr;
    errno = 0;
    const unsigned long long parsed = std::strtoull(text.c_str(), &end, 0);
    if (errno != 0 || end != text.c_str() + text.size() || parsed > maximum) {
        return false;
    }
    value = parsed;
    return true;
}

bool parseMac(const std::string& text, MacAddress& mac) {
    // Both 00:11:22:33:44:55 and the 12-digit form 001122334455 are common in this field.
    std::string digits;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if ((c == ':' || c == '-') && i % 3 == 2 && text.size() == 17) {
            continue;
        }
        digits += c;
    }
    if (digits.size() != 12) {
        return false;
    }
    for (std::size_t i = 0; i < 6; ++i) {
        std::uint64_t byte = 0;
        const std::string pair = digits.substr(2 * i, 2);
        if (pair.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos ||
            !parseUnsigned("0x" + pair, 0xff, byte)) {
            return false;
        }
        mac[i] = static_cast<std::uint8_t>(byte);
    }
    return true;
}

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
    if (digits.empty() || digits.size() > 16 ||
        digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        return false;
    }
    return parseUnsigned("0x" + digits, UINT64_MAX, id);
}

/// Splits "K:VALUE" into its two unsigned numbers.
bool parsePair(const std::string& text, std::uint64_t valueMaximum, std::uint64_t& frame,
               std::uint64_t& value) {
    const std::string::size_type colon = text.find(':');
    return colon != std::string::npos && parseUnsigned(text.substr(0, colon), UINT64_MAX, frame) &&
           parseUnsigned(text.substr(colon + 1), valueMaximum, value);
}

} // namespace

bool TalkerOptions::parse(const std::vector<std::string>& arguments, TalkerOptions& out, std::string& error) {
    TalkerOptions options;
    std::optional<std::uint64_t> count;
    std::optional<double> duration;

    using Handler = std::function<bool(const std::string&)>;
    const auto number = [](std::uint64_t minimum, std::uint64_t maximum, auto store) {
        return [=](const std::string& text) {
            std::uint64_t value = 0;
            if (!parseUnsigned(text, maximum, value) || value < minimum) {
                return false;
            }
            store(value);
            return true;
        };
    };
    const auto frameSet = [](std::set<std::uint64_t>& target) {
        return [&target](const std::string& text) {
            std::uint64_t frame = 0;
            if (!parseUnsigned(text, UINT64_MAX, frame)) {
                return false;
            }
            target.insert(frame);
            return true;
        };
    };
    const auto frameMap = [](std::map<std::uint64_t, unsigned>& target, std::uint64_t maximum) {
        return [&target, maximum](const std::string& text) {
            std::uint64_t frame = 0;
            std::uint64_t value = 0;
            if (!parsePair(text, maximum, frame, value)) {
                return false;
            }
            target[frame] = static_cast<unsigned>(value);
            return true;
        };
    };

    struct Option {
        std::string expected;
        Handler handler;
    };
    const std::map<std::string, Option> valued{
        {"--interface",
         {"an interface name",
          [&](const std::string& v) {
              options.interfaceName = v;
              return !v.empty();
          }}},
        {"--source-mac",
         {"a MAC address such as 00:11:22:33:44:55",
          [&](const std::string& v) {
              MacAddress mac{};
              if (!parseMac(v, mac)) {
                  return false;
              }
              options.sourceMac = mac;
              return true;
          }}},
        {"--destination-mac",
         {"a MAC address such as 91:e0:f0:00:00:01",
          [&](const std::string& v) { return parseMac(v, options.destinationMac); }}},
        {"--stream-id",
         {"up to 16 hexadecimal digits",
          [&](const std::string& v) {
              std::uint64_t id = 0;
              if (!parseStreamId(v, id)) {
                  return false;
              }
              options.streamId = id;
              return true;
          }}},
        {"--channels",
         {"a channel count from 1 to 1023",
          number(1, kMaxChannels, [&](std::uint64_t v) { options.channels = unsigned(v); })}},
        {"--samples-per-frame",
         {"a sample count from 1 to 65535",
          number(1, 65535, [&](std::uint64_t v) { options.samplesPerFrame = unsigned(v); })}},
        {"--sample-bits",
         {"a sample width of 16, 24 or 32 bits",
          [&](const std::string& v) {
              std::uint64_t bits = 0;
              if (!parseUnsigned(v, 32, bits) || (bits != 16 && bits != 24 && bits != 32)) {
                  return false;
              }
              options.sampleBits = unsigned(bits);
              return true;
          }}},
        {"--vlan",
         {"a VLAN ID from 0 to 4094, optionally followed by :PRIORITY from 0 to 7",
          [&](const std::string& v) {
              std::uint64_t id = 0;
              std::uint64_t priority = options.vlanPriority;
              const bool good = v.find(':') == std::string::npos
                                    ? parseUnsigned(v, 4094, id)
                                    : parsePair(v, 7, id, priority) && id <= 4094;
              if (!good) {
                  return false;
              }
              options.vlanId = unsigned(id);
              options.vlanPriority = unsigned(priority);
              return true;
          }}},
        {"--signal",
         {"a signal such as sine:1000:0.5",
          [&](const std::string& v) {
              options.signal = v;
              return !v.empty();
          }}},
        {"--channel-signal",
         {"CHANNEL=SIGNAL, such as 1=noise:42",
          [&](const std::string& v) {
              const std::string::size_type equals = v.find('=');
              std::uint64_t channel = 0;
              if (equals == std::string::npos || equals + 1 == v.size() ||
                  !parseUnsigned(v.substr(0, equals), kMaxChannels - 1, channel)) {
                  return false;
              }
              options.channelSignals[unsigned(channel)] = v.substr(equals + 1);
              return true;
          }}},
        {"--count",
         {"a frame count of at least 1", number(1, UINT64_MAX, [&](std::uint64_t v) { count = v; })}},
        {"--duration",
         {"a positive number of seconds",
          [&](const std::string& v) {
              char* end = nullptr;
              errno = 0;
              const double seconds = std::strtod(v.c_str(), &end);
              if (v.empty() || errno != 0 || end != v.c_str() + v.size() || !std::isfinite(seconds) ||
                  seconds <= 0.0 || seconds > 1e9) {
                  return false;
              }
              duration = seconds;
              return true;
          }}},
        {"--first-sequence",
         {"a sequence number from 0 to 255",
          number(0, 255,
                 [&](std::uint64_t v) { options.firstSequenceNumber = static_cast<std::uint8_t>(v); })}},
        {"--priority",
         {"a SCHED_FIFO priority from 1 to 99",
          number(1, 99, [&](std::uint64_t v) { options.priority = int(v); })}},
        {"--dump-samples",
         {"a file name",
          [&](const std::string& v) {
              options.dumpPath = v;
              return !v.empty();
          }}},
        {"--drop-every",
         {"a frame interval of at least 2",
          number(2, UINT64_MAX, [&](std::uint64_t v) { options.dropEvery = v; })}},
        {"--drop-at", {"a frame index", frameSet(options.dropAt)}},
        {"--repeat-at", {"a frame index", frameSet(options.repeatAt)}},
        {"--swap-at", {"a frame index", frameSet(options.swapAt)}},
        {"--channels-at",
         {"FRAME:CHANNELS with CHANNELS from 0 to 1023", frameMap(options.channelsAt, kMaxChannels)}},
        {"--truncate-at", {"FRAME:BYTES", frameMap(options.truncateAt, 65535)}},
        {"--data-length-at",
         {"FRAME:LENGTH with LENGTH from 0 to 65535", frameMap(options.dataLengthAt, 65535)}},
        {"--insert-subtype",
         {"FRAME:SUBTYPE with SUBTYPE from 0 to 255", frameMap(options.insertSubtype, 255)}},
        {"--insert-ethertype",
         {"FRAME:ETHERTYPE with ETHERTYPE from 0 to 0xffff", frameMap(options.insertEtherType, 0xffff)}},
    };
    const std::map<std::string, std::string> shortNames{
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
            out = TalkerOptions();
            out.help = true;
            return true;
        }
        if (name == "--fast") {
            options.fast = true;
            continue;
        }
        const auto option = valued.find(name);
        if (option == valued.end()) {
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

    if (options.interfaceName.empty()) {
        error = "option --interface is required";
        return false;
    }
    if (count && duration) {
        error = "options --count and --duration exclude each other";
        return false;
    }
    if (count) {
        options.frameCount = count;
    } else if (duration) {
        const double frameRate = 48000.0 / options.samplesPerFrame;
        options.frameCount = static_cast<std::uint64_t>(std::llround(*duration * frameRate));
        if (*options.frameCount == 0) {
            error = "option --duration is shorter than one frame";
            return false;
        }
    }
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
    out = options;
    return true;
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

Sends an IEEE 1722 AAF stream (subtype 2, big-endian samples of 16 bits unless told otherwise,
interleaved by channel, nominal 48 kHz, EtherType 0x22f0, no VLAN tag unless told) through a raw packet
socket. Needs CAP_NET_RAW.

Stream:
  -i, --interface NAME          interface to send on (required)
      --source-mac MAC          source address (default: the interface's address)
      --destination-mac MAC     destination address (default 91:e0:f0:00:00:01)
      --stream-id ID            16 hex digits (default: source address followed by 0001)
  -c, --channels N              channels per frame, 1 to 1023 (default 2)
  -s, --samples-per-frame N     samples per channel per frame (default 6: 8000 frames/s)
      --sample-bits N           16, 24 or 32 bits per sample, formats INT_16BIT, INT_24BIT and
                                INT_32BIT (default 16); wider samples carry the 16-bit signal
                                shifted up to fill the width
      --vlan ID[:PRIORITY]      tag every frame for VLAN ID (0 to 4094) with priority 0 to 7
                                (default 3) in an IEEE 802.1Q tag (default: no tag)
      --signal SIGNAL           signal of every channel without its own
      --channel-signal C=SIGNAL signal of channel C (from 0); repeatable
      --first-sequence N        sequence number of the first frame (default 0)

Signals (each a pure function of the sample index; see SignalGenerator.h):
  sine:FREQ[:AMP]   sine of FREQ Hz, AMP of full scale 0..1 (default 0.5)
  noise:SEED[:AMP]  seeded white noise (default AMP 0.5)
  silence           zeros
  counter[:START]   START, START+1, ... modulo 65536
  wav:PATH          16-bit PCM WAV file, looped; channel c plays file channel c modulo its channels
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
