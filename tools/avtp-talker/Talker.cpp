#include "Talker.h"

#include "AafStream.h"
#include "LatenessStats.h"
#include "PacketSocket.h"

#include "avb/AvtpFrame.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>

#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>

namespace avtptalker {

namespace {

constexpr std::uint64_t nsPerSecond = 1'000'000'000;
// Lead time between setting up and the first deadline, so that frame 0 is not late by construction.
constexpr std::uint64_t startLeadNs = 2'000'000;

std::uint64_t now(clockid_t clock) {
    timespec ts{};
    ::clock_gettime(clock, &ts);
    return static_cast<std::uint64_t>(ts.tv_sec) * nsPerSecond + static_cast<std::uint64_t>(ts.tv_nsec);
}

std::string macText(const MacAddress& mac) {
    char text[18];
    std::snprintf(text, sizeof(text), "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4],
                  mac[5]);
    return text;
}

// Integer samples are written as the signed values of their full width, so a 32-bit sample shows the 16-bit
// signal value times 65536; float samples with the 9 significant digits that give back the same float, and
// as nan, inf and -inf.
void writeDumpLine(std::ofstream& dump, const OutgoingFrame& frame, std::size_t headerLength,
                   unsigned sampleBytes, bool floats) {
    const std::vector<std::uint8_t>& bytes = frame.bytes;
    const std::size_t sequenceOffset =
        headerLength - AafStream::headerBytes + avb::avtp::sequenceNumberOffset;
    dump << frame.frameIndex << (frame.stray ? "*" : "") << ' '
         << (bytes.size() > sequenceOffset ? static_cast<unsigned>(bytes[sequenceOffset]) : 0u) << ' '
         << frame.channels << " :";
    for (std::size_t i = headerLength; i + sampleBytes <= bytes.size(); i += sampleBytes) {
        std::uint32_t value = 0;
        for (unsigned b = 0; b < sampleBytes; ++b) {
            value = (value << 8) | bytes[i + b];
        }
        if (floats) {
            float single = 0.0f;
            std::memcpy(&single, &value, sizeof single);
            char text[32];
            std::snprintf(text, sizeof text, "%.9g", static_cast<double>(single));
            dump << ' ' << text;
            continue;
        }
        // Sign-extend from the sample's width.
        const unsigned unused = 32 - 8 * sampleBytes;
        dump << ' ' << (static_cast<std::int32_t>(value << unused) >> unused);
    }
    dump << '\n';
}

} // namespace

bool Talker::resolveSignals(const TalkerOptions& options, std::vector<SignalGenerator>& signals,
                            std::string& error) {
    const unsigned maximumChannels = options.maximumChannels();
    signals.clear();
    signals.reserve(maximumChannels);
    for (unsigned channel = 0; channel < maximumChannels; ++channel) {
        const auto own = options.channelSignals.find(channel);
        const std::string& text = own != options.channelSignals.end() ? own->second : options.signal;
        if (text.empty()) {
            signals.push_back(SignalGenerator::defaultFor(channel));
            continue;
        }
        SignalGenerator generator;
        if (!SignalGenerator::parse(text, channel, generator, error)) {
            return false;
        }
        if (!generator.hasIntegerSamples() && options.sampleFormat != SampleFormat::Float32) {
            error = "invalid signal '" + text + "': NaN and infinities need --format float32";
            return false;
        }
        signals.push_back(generator);
    }
    return true;
}

Talker::Talker(TalkerOptions options, std::vector<SignalGenerator> signals)
    : options(std::move(options)), signals(std::move(signals)) {}

namespace {

// What the loop over the slots did, for the summary.
struct SendCounters {
    std::uint64_t framesSent = 0;
    std::uint64_t straysSent = 0;
    std::uint64_t slots = 0;
    std::uint64_t firstSlotEndNs = 0;
    std::uint64_t lastSlotEndNs = 0;
    LatenessStats lateness;
    bool failed = false;
};

// Opens the sample dump when one was asked for.
bool openDump(const TalkerOptions& options, std::ofstream& dump, std::string& error) {
    if (options.dumpPath.empty()) {
        return true;
    }
    dump.open(options.dumpPath, std::ios::trunc);
    if (!dump) {
        error = "cannot write the sample dump '" + options.dumpPath + "'";
        return false;
    }
    return true;
}

// Real-time priority when asked for, one processor, and no timer slack.
bool tuneScheduling(const TalkerOptions& options, std::string& error) {
    if (options.priority > 0) {
        sched_param parameter{};
        parameter.sched_priority = options.priority;
        if (::sched_setscheduler(0, SCHED_FIFO, &parameter) < 0) {
            error = "cannot switch to SCHED_FIFO priority " + std::to_string(options.priority) + ": " +
                    std::strerror(errno);
            return false;
        }
        // A page fault in the loop would cost more than the whole period of a frame.
        ::mlockall(MCL_CURRENT | MCL_FUTURE);
    }
    // Frames sent from one processor stay in order on a veth pair, whose far end takes them up in
    // per-processor queues: a talker that migrated between processors could have its frames overtake each
    // other.
    const int cpu = ::sched_getcpu();
    if (cpu >= 0) {
        cpu_set_t cpus;
        CPU_ZERO(&cpus);
        CPU_SET(cpu, &cpus);
        ::sched_setaffinity(0, sizeof cpus, &cpus);
    }
    // The default timer slack of 50 us would make every wake-up late by up to that much.
    ::prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
    return true;
}

// Sleeps until the absolute deadline; false when a stop was requested meanwhile.
bool waitUntil(std::uint64_t deadlineNs, const volatile std::sig_atomic_t& stopRequested) {
    const timespec deadline{static_cast<time_t>(deadlineNs / nsPerSecond),
                            static_cast<long>(deadlineNs % nsPerSecond)};
    while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR && !stopRequested) {
    }
    return !stopRequested;
}

// Sends the frames of one slot, dumping each one sent.
void sendFrames(PacketSocket& socket, const std::vector<OutgoingFrame>& frames, std::size_t count,
                const AafStream& stream, const TalkerOptions& options, std::ofstream& dump,
                SendCounters& counters, std::string& error) {
    const unsigned sampleBytes = options.sampleBytes();
    const bool floats = options.sampleFormat == SampleFormat::Float32;
    for (std::size_t i = 0; i < count; ++i) {
        if (!socket.send(frames[i].bytes.data(), frames[i].bytes.size(), error)) {
            counters.failed = true;
            return;
        }
        if (frames[i].stray) {
            ++counters.straysSent;
        }
        ++counters.framesSent;
        if (dump.is_open()) {
            writeDumpLine(dump, frames[i], stream.headerLength(), sampleBytes, floats);
        }
    }
}

void printSummary(const TalkerOptions& options, const SendCounters& counters, double nominalRate) {
    const double elapsed =
        static_cast<double>(counters.lastSlotEndNs - counters.firstSlotEndNs) / nsPerSecond;
    const double rate =
        counters.slots > 1 && elapsed > 0.0 ? static_cast<double>(counters.slots - 1) / elapsed : 0.0;
    std::fprintf(stderr,
                 "sonacore-avtp-talker: frames sent: %" PRIu64 " (stream frames %" PRIu64 ", stray %" PRIu64
                 ")\n",
                 counters.framesSent, counters.slots, counters.straysSent);
    std::fprintf(stderr, "sonacore-avtp-talker: elapsed: %.6f s (first to last frame)\n", elapsed);
    std::fprintf(stderr, "sonacore-avtp-talker: frame rate: %.3f frames/s (nominal %.3f)\n", rate,
                 nominalRate);
    if (options.fast) {
        std::fprintf(stderr,
                     "sonacore-avtp-talker: lateness: not measured when sending as fast as possible\n");
    } else {
        const LatenessStats& lateness = counters.lateness;
        std::fprintf(stderr, "sonacore-avtp-talker: lateness: mean %.1f us, p99 %.1f us, max %.1f us\n",
                     lateness.meanNs() / 1000.0, static_cast<double>(lateness.quantileNs(0.99)) / 1000.0,
                     static_cast<double>(lateness.maximumNs()) / 1000.0);
    }
}

// Paces and sends the slots until the frame count, a stop request or a failed send.
SendCounters sendStream(const TalkerOptions& options, PacketSocket& socket, AafStream& stream,
                        std::uint64_t startNs, std::ofstream& dump,
                        const volatile std::sig_atomic_t& stopRequested, std::string& error) {
    // Preallocate the largest frames once so that the loop never allocates.
    std::vector<OutgoingFrame> frames(AafStream::maxFramesPerSlot);
    for (OutgoingFrame& frame : frames) {
        frame.bytes.reserve(stream.maximumLength());
    }
    SendCounters counters;
    for (std::uint64_t slot = 0; !options.frameCount || slot < *options.frameCount; ++slot) {
        if (stopRequested) {
            break;
        }
        // The frame is built before the wait, so that only the send itself stands between the deadline
        // and the wire.
        const std::size_t count = stream.framesForSlot(slot, frames);
        const std::uint64_t deadlineNs = startNs + AafStream::offsetNs(slot, options.samplesPerFrame);
        if (!options.fast && !waitUntil(deadlineNs, stopRequested)) {
            break;
        }
        sendFrames(socket, frames, count, stream, options, dump, counters, error);
        if (counters.failed) {
            break;
        }
        const std::uint64_t endNs = now(CLOCK_MONOTONIC);
        if (!options.fast && count > 0) {
            counters.lateness.add(static_cast<std::int64_t>(endNs - deadlineNs));
        }
        if (counters.slots == 0) {
            counters.firstSlotEndNs = endNs;
        }
        counters.lastSlotEndNs = endNs;
        ++counters.slots;
    }
    return counters;
}

} // namespace

bool Talker::run(const volatile std::sig_atomic_t& stopRequested, std::string& error) {
    PacketSocket socket;
    std::ofstream dump;
    if (!socket.open(options.interfaceName, error) || !openDump(options, dump, error) ||
        !tuneScheduling(options, error)) {
        return false;
    }
    const MacAddress sourceMac = options.sourceMac.value_or(socket.hardwareAddress());
    const std::uint64_t startNs = now(CLOCK_MONOTONIC) + startLeadNs;
    // No gPTP here: the presentation times follow TAI, which is what gPTP distributes, on the same
    // timeline as the deadlines.
    const std::uint64_t timestampBaseNs = now(CLOCK_TAI) + startLeadNs;
    AafStream stream(options, signals, sourceMac, timestampBaseNs);

    if (stream.maximumLength() - stream.lengthOutsideMtu() > socket.mtu()) {
        error = "frames of " + std::to_string(stream.maximumLength()) + " bytes exceed the MTU of '" +
                options.interfaceName + "' (" + std::to_string(socket.mtu()) + " bytes of payload)";
        return false;
    }
    const double nominalRate = 48000.0 / options.samplesPerFrame;
    std::fprintf(
        stderr,
        "sonacore-avtp-talker: %u channel(s) x %u samples per frame from %s to %s on %s, %s%.3f frames/s\n",
        options.channels, options.samplesPerFrame, macText(sourceMac).c_str(),
        macText(options.destinationMac).c_str(), options.interfaceName.c_str(),
        options.fast ? "as fast as possible, nominal " : "", nominalRate);

    const SendCounters counters = sendStream(options, socket, stream, startNs, dump, stopRequested, error);
    printSummary(options, counters, nominalRate);
    if (dump.is_open()) {
        dump.flush();
        if (!dump && !counters.failed) {
            error = "cannot write the sample dump '" + options.dumpPath + "'";
            return false;
        }
    }
    return !counters.failed;
}

} // namespace avtptalker
