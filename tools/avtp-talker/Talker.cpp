#include "Talker.h"

#include "AafStream.h"
#include "LatenessStats.h"
#include "PacketSocket.h"

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

constexpr std::uint64_t kNsPerSecond = 1'000'000'000;
// Lead time between setting up and the first deadline, so that frame 0 is not late by construction.
constexpr std::uint64_t kStartLeadNs = 2'000'000;

std::uint64_t now(clockid_t clock) {
    timespec ts{};
    ::clock_gettime(clock, &ts);
    return static_cast<std::uint64_t>(ts.tv_sec) * kNsPerSecond + static_cast<std::uint64_t>(ts.tv_nsec);
}

std::string macText(const MacAddress& mac) {
    char text[18];
    std::snprintf(text, sizeof(text), "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4],
                  mac[5]);
    return text;
}

/// Samples are written as the signed values of their full width, so a 32-bit sample shows the 16-bit signal
/// value times 65536.
void writeDumpLine(std::ofstream& dump, const OutgoingFrame& frame, std::size_t headerLength,
                   unsigned sampleBytes) {
    const std::vector<std::uint8_t>& bytes = frame.bytes;
    const std::size_t sequenceOffset = headerLength - AafStream::kHeaderLength + 16;
    dump << frame.frameIndex << (frame.stray ? "*" : "") << ' '
         << (bytes.size() > sequenceOffset ? static_cast<unsigned>(bytes[sequenceOffset]) : 0u) << ' '
         << frame.channels << " :";
    for (std::size_t i = headerLength; i + sampleBytes <= bytes.size(); i += sampleBytes) {
        std::uint32_t value = 0;
        for (unsigned b = 0; b < sampleBytes; ++b) {
            value = (value << 8) | bytes[i + b];
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
        signals.push_back(generator);
    }
    return true;
}

Talker::Talker(TalkerOptions options, std::vector<SignalGenerator> signals)
    : m_options(std::move(options)), m_signals(std::move(signals)) {}

bool Talker::run(const volatile std::sig_atomic_t& stopRequested, std::string& error) {
    PacketSocket socket;
    if (!socket.open(m_options.interfaceName, error)) {
        return false;
    }
    const MacAddress sourceMac = m_options.sourceMac.value_or(socket.hardwareAddress());

    std::ofstream dump;
    if (!m_options.dumpPath.empty()) {
        dump.open(m_options.dumpPath, std::ios::trunc);
        if (!dump) {
            error = "cannot write the sample dump '" + m_options.dumpPath + "'";
            return false;
        }
    }

    if (m_options.priority > 0) {
        sched_param parameter{};
        parameter.sched_priority = m_options.priority;
        if (::sched_setscheduler(0, SCHED_FIFO, &parameter) < 0) {
            error = "cannot switch to SCHED_FIFO priority " + std::to_string(m_options.priority) + ": " +
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

    const std::uint64_t startNs = now(CLOCK_MONOTONIC) + kStartLeadNs;
    // No gPTP here: the presentation times follow TAI, which is what gPTP distributes, on the same
    // timeline as the deadlines.
    const std::uint64_t timestampBaseNs = now(CLOCK_TAI) + kStartLeadNs;
    AafStream stream(m_options, m_signals, sourceMac, timestampBaseNs);

    // The kernel lets a tagged frame's tag lie outside the MTU, as it does the Ethernet header.
    if (stream.maximumLength() - stream.ethernetHeaderLength() > socket.mtu()) {
        error = "frames of " + std::to_string(stream.maximumLength()) + " bytes exceed the MTU of '" +
                m_options.interfaceName + "' (" + std::to_string(socket.mtu()) + " bytes of payload)";
        return false;
    }

    const double nominalRate = 48000.0 / m_options.samplesPerFrame;
    std::fprintf(
        stderr,
        "sonacore-avtp-talker: %u channel(s) x %u samples per frame from %s to %s on %s, %s%.3f frames/s\n",
        m_options.channels, m_options.samplesPerFrame, macText(sourceMac).c_str(),
        macText(m_options.destinationMac).c_str(), m_options.interfaceName.c_str(),
        m_options.fast ? "as fast as possible, nominal " : "", nominalRate);

    // Preallocate the largest frames once so that the loop never allocates.
    std::vector<OutgoingFrame> frames(AafStream::kMaxFramesPerSlot);
    for (OutgoingFrame& frame : frames) {
        frame.bytes.reserve(stream.maximumLength());
    }
    LatenessStats lateness;
    std::uint64_t framesSent = 0;
    std::uint64_t straysSent = 0;
    std::uint64_t slots = 0;
    std::uint64_t firstSlotEndNs = 0;
    std::uint64_t lastSlotEndNs = 0;
    bool failed = false;

    for (std::uint64_t slot = 0; !m_options.frameCount || slot < *m_options.frameCount; ++slot) {
        if (stopRequested) {
            break;
        }
        // The frame is built before the wait, so that only the send itself stands between the deadline
        // and the wire.
        const std::size_t count = stream.framesForSlot(slot, frames);
        const std::uint64_t deadlineNs = startNs + AafStream::offsetNs(slot, m_options.samplesPerFrame);
        if (!m_options.fast) {
            const timespec deadline{static_cast<time_t>(deadlineNs / kNsPerSecond),
                                    static_cast<long>(deadlineNs % kNsPerSecond)};
            int result = 0;
            while ((result = ::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr)) ==
                       EINTR &&
                   !stopRequested) {
            }
            if (stopRequested) {
                break;
            }
        }
        for (std::size_t i = 0; i < count; ++i) {
            if (!socket.send(frames[i].bytes.data(), frames[i].bytes.size(), error)) {
                failed = true;
                break;
            }
            if (frames[i].stray) {
                ++straysSent;
            }
            ++framesSent;
            if (dump.is_open()) {
                writeDumpLine(dump, frames[i], stream.headerLength(), m_options.sampleBytes());
            }
        }
        if (failed) {
            break;
        }
        const std::uint64_t endNs = now(CLOCK_MONOTONIC);
        if (!m_options.fast && count > 0) {
            lateness.add(static_cast<std::int64_t>(endNs - deadlineNs));
        }
        if (slots == 0) {
            firstSlotEndNs = endNs;
        }
        lastSlotEndNs = endNs;
        ++slots;
    }

    const double elapsed = static_cast<double>(lastSlotEndNs - firstSlotEndNs) / kNsPerSecond;
    const double rate = slots > 1 && elapsed > 0.0 ? static_cast<double>(slots - 1) / elapsed : 0.0;
    std::fprintf(stderr,
                 "sonacore-avtp-talker: frames sent: %" PRIu64 " (stream frames %" PRIu64 ", stray %" PRIu64
                 ")\n",
                 framesSent, slots, straysSent);
    std::fprintf(stderr, "sonacore-avtp-talker: elapsed: %.6f s (first to last frame)\n", elapsed);
    std::fprintf(stderr, "sonacore-avtp-talker: frame rate: %.3f frames/s (nominal %.3f)\n", rate,
                 nominalRate);
    if (m_options.fast) {
        std::fprintf(stderr,
                     "sonacore-avtp-talker: lateness: not measured when sending as fast as possible\n");
    } else {
        std::fprintf(stderr, "sonacore-avtp-talker: lateness: mean %.1f us, p99 %.1f us, max %.1f us\n",
                     lateness.meanNs() / 1000.0, static_cast<double>(lateness.quantileNs(0.99)) / 1000.0,
                     static_cast<double>(lateness.maximumNs()) / 1000.0);
    }
    if (dump.is_open()) {
        dump.flush();
        if (!dump && !failed) {
            error = "cannot write the sample dump '" + m_options.dumpPath + "'";
            return false;
        }
    }
    return !failed;
}

} // namespace avtptalker
