// How long a stall the capture survives without losing a frame, what kernel memory that costs and what CPU
// the capture thread spends, for each way of opening the adapter that keeps the read timeout of 1 ms. A plain
// libpcap listener, opened as the sniffer opens its adapter (snap length 65536, promiscuous, 1 ms, filter
// "ether proto 0x22f0"), receives our talker's 8-channel stream at the real rate of 8000 frames per second on
// a veth pair in a private network namespace.
//
// Ways (arguments):
// - immediate:0, MiB:N: libpcap's usual kernel ring of blocks of 256 KiB, which the kernel hands over after
//   the 1 ms timeout however little they hold, so that a stalled reader is out of blocks after about as many
//   milliseconds as there are blocks. N MiB through pcap_set_buffer_size; 0 is libpcap's default, what
//   pcap_open_live gets.
// - immediate:1, MiB:N: libpcap's immediate mode, one slot per frame, handed over at once. A slot is sized
// for
//   the largest frame the interface may deliver: with segmentation or receive offload on (a veth's default,
//   and most network cards'), a block of 128 KiB per slot; with offloadOff:1, a frame-sized slot of about
//   2 KiB.
// - processStall:1: the stalls stop the whole process (SIGSTOP, then SIGCONT from a child) instead of the
//   capture callback.
//
// Figures per way:
// - kernel_MiB: the ring that the kernel allocated for the handle (the size of its mapping).
// - survived_ms: the longest stall after which the kernel reports no drop, found by stalls of growing length
//   and then halving the interval to the first loss down to 10 ms; lost_at_next is the count of frames lost
//   at the shortest stall that did lose (none is tried beyond 2 s). kernel_MiB_per_500ms scales the memory to
//   a 500 ms stall.
// - cpu_percent: CPU time of the capture thread per second of stream, median of three windows of 3 s, and
//   wakeups_per_s, the times it was put on a processor per second.
//
// The talker gets the last processor to itself and this process the others, as in the end-to-end benchmarks.
// Run as root: scripts/run-benchmarks.sh --benchmark_filter=captureRing
#include "../support/TalkerSandbox.h"
#include "../support/ThreadCpu.h"

#include <benchmark/benchmark.h>
#include <pcap/pcap.h>

#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// The processor the talker runs on, set in main.
std::string talkerProcessor = "0-1023";

constexpr unsigned channels = 8;
// The longest stall tried; a way that survives it is reported as surviving at least this long.
constexpr int longestStallMs = 2000;
constexpr int resolutionMs = 10;

void pause(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// Switches segmentation and receive offload off on an interface, so that libpcap sizes immediate-mode slots
// for one frame of the MTU.
bool switchOffloadOff(const std::string& interface) {
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    if (fd < 0) {
        return false;
    }
    bool done = true;
    for (const std::uint32_t command : {ETHTOOL_STSO, ETHTOOL_SGSO, ETHTOOL_SGRO, ETHTOOL_SFLAGS}) {
        ethtool_value value{};
        value.cmd = command;
        value.data = 0;
        ifreq request{};
        std::strncpy(request.ifr_name, interface.c_str(), IFNAMSIZ - 1);
        request.ifr_data = reinterpret_cast<char*>(&value);
        done = ioctl(fd, SIOCETHTOOL, &request) == 0 && done;
    }
    close(fd);
    return done;
}

// Bytes of the mapping of the packet socket `fd`: the ring the kernel allocated for it.
std::uint64_t ringBytes(int fd) {
    struct stat status {};
    if (fstat(fd, &status) != 0) {
        return 0;
    }
    const std::string socket = "socket:[" + std::to_string(status.st_ino) + "]";
    std::ifstream maps("/proc/self/maps");
    std::string line;
    std::uint64_t total = 0;
    while (std::getline(maps, line)) {
        if (line.find(socket) == std::string::npos) {
            continue;
        }
        std::istringstream range(line);
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
        char dash = 0;
        range >> std::hex >> begin >> dash >> end;
        total += end - begin;
    }
    return total;
}

// One capture handle with its loop on a thread of its own. The callback stalls once when asked to.
class Listener {
public:
    Listener(const std::string& interface, bool immediate, int bufferBytes, std::string& error) {
        char errorBuffer[PCAP_ERRBUF_SIZE] = {};
        handle = pcap_create(interface.c_str(), errorBuffer);
        if (handle == nullptr) {
            error = errorBuffer;
            return;
        }
        pcap_set_snaplen(handle, 65536);
        pcap_set_promisc(handle, 1);
        pcap_set_timeout(handle, 1);
        pcap_set_immediate_mode(handle, immediate ? 1 : 0);
        if (bufferBytes > 0) {
            pcap_set_buffer_size(handle, bufferBytes);
        }
        bpf_program program{};
        if (pcap_activate(handle) < 0 ||
            pcap_compile(handle, &program, "ether proto 0x22f0", 1, 0xffffffff) != 0 ||
            pcap_setfilter(handle, &program) != 0) {
            error = pcap_geterr(handle);
            pcap_close(handle);
            handle = nullptr;
            return;
        }
        pcap_freecode(&program);
        kernelBytes = ringBytes(pcap_fileno(handle));
        thread = std::thread([this] {
            threadId.store(static_cast<long>(syscall(SYS_gettid)));
            pcap_loop(handle, 0, &Listener::handOver, reinterpret_cast<unsigned char*>(this));
        });
    }
    ~Listener() {
        if (handle != nullptr) {
            pcap_breakloop(handle);
            thread.join();
            pcap_close(handle);
        }
    }
    bool open() const { return handle != nullptr; }

    // The next frame's callback stalls for `milliseconds`; returns once the stall has begun.
    void stallCallback(int milliseconds) {
        stallMs.store(milliseconds);
        while (stallMs.load() != 0) {
            pause(1);
        }
    }

    // Frames the kernel dropped since the handle was opened: the sum of ps_drop and ps_ifdrop. Read by the
    // capture thread at its next frame, so that libpcap is never called from two threads at once; the stream
    // runs on, so that frame comes within a millisecond.
    std::uint64_t drops() {
        dropsRead.store(false);
        readDrops.store(true);
        while (!dropsRead.load()) {
            pause(1);
        }
        return droppedFrames.load();
    }

    std::uint64_t frames() const { return handed.load(); }
    long captureThread() const { return threadId.load(); }
    std::uint64_t kernelBytes = 0;

private:
    static void handOver(unsigned char* user, const pcap_pkthdr*, const unsigned char*) {
        auto* self = reinterpret_cast<Listener*>(user);
        self->handed.fetch_add(1);
        if (self->readDrops.exchange(false)) {
            pcap_stat statistics{};
            if (pcap_stats(self->handle, &statistics) == 0) {
                self->droppedFrames.store(static_cast<std::uint64_t>(statistics.ps_drop) +
                                          statistics.ps_ifdrop);
            }
            self->dropsRead.store(true);
        }
        if (const int milliseconds = self->stallMs.load(); milliseconds != 0) {
            self->stallMs.store(0);
            pause(milliseconds);
        }
    }

    pcap_t* handle = nullptr;
    std::thread thread;
    std::atomic<int> stallMs{0};
    std::atomic<std::uint64_t> handed{0};
    std::atomic<long> threadId{0};
    std::atomic<bool> readDrops{false};
    std::atomic<bool> dropsRead{false};
    std::atomic<std::uint64_t> droppedFrames{0};
};

enum class Stall { callback, process };

// Stops this whole process for `milliseconds`: a child sends SIGSTOP, waits and sends SIGCONT.
void stopProcess(int milliseconds) {
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0) {
        kill(parent, SIGSTOP);
        const timespec wait{milliseconds / 1000, static_cast<long>(milliseconds % 1000) * 1000000L};
        nanosleep(&wait, nullptr);
        kill(parent, SIGCONT);
        _exit(0);
    }
    if (child > 0) {
        waitpid(child, nullptr, 0);
    }
}

// Frames lost by one stall of `milliseconds`, once the capture has caught up again.
std::uint64_t lossOfStall(Listener& listener, Stall kind, int milliseconds) {
    const std::uint64_t before = listener.drops();
    if (kind == Stall::callback) {
        listener.stallCallback(milliseconds);
        pause(milliseconds);
    } else {
        stopProcess(milliseconds);
    }
    // Long enough for the capture to work off what the ring holds and for the counters to settle.
    pause(600);
    return listener.drops() - before;
}

struct Survival {
    int survivedMs = 0;
    std::uint64_t lostAtNext = 0;
};

// Stalls of growing length until one loses frames, then halves the interval between the longest stall
// without loss and the shortest with loss down to the resolution.
Survival survival(Listener& listener, Stall kind) {
    Survival result;
    int failedMs = 0;
    for (const int milliseconds :
         {5, 10, 20, 50, 100, 200, 300, 400, 500, 600, 700, 800, 1000, 1500, longestStallMs}) {
        const std::uint64_t lost = lossOfStall(listener, kind, milliseconds);
        if (lost != 0) {
            failedMs = milliseconds;
            result.lostAtNext = lost;
            break;
        }
        result.survivedMs = milliseconds;
    }
    while (failedMs != 0 && failedMs - result.survivedMs > resolutionMs) {
        const int middle = (result.survivedMs + failedMs) / 2;
        const std::uint64_t lost = lossOfStall(listener, kind, middle);
        if (lost != 0) {
            failedMs = middle;
            result.lostAtNext = lost;
        } else {
            result.survivedMs = middle;
        }
    }
    return result;
}

// CPU share and wake-ups of the capture thread per second of stream, median of three windows.
std::pair<double, double> captureCpu(const Listener& listener) {
    std::vector<double> shares;
    std::vector<double> wakeups;
    for (int window = 0; window < 3; ++window) {
        const auto start = bench::threadUse();
        const auto begin = Clock::now();
        pause(3000);
        const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
        const auto end = bench::threadUse();
        const auto thread = listener.captureThread();
        if (start.count(thread) == 0 || end.count(thread) == 0) {
            continue;
        }
        shares.push_back((end.at(thread).seconds - start.at(thread).seconds) / seconds);
        wakeups.push_back((end.at(thread).runs - start.at(thread).runs) / seconds);
    }
    if (shares.empty()) {
        return {0, 0};
    }
    std::sort(shares.begin(), shares.end());
    std::sort(wakeups.begin(), wakeups.end());
    return {shares[shares.size() / 2], wakeups[wakeups.size() / 2]};
}

// args: immediate mode (0 or 1), buffer size in MiB (0: libpcap's default), offload off (0 or 1), stall kind
// (0: callback, 1: whole process).
void captureRing(benchmark::State& state) {
    const bool immediate = state.range(0) != 0;
    const int bufferBytes = static_cast<int>(state.range(1)) << 20;
    const bool offloadOff = state.range(2) != 0;
    const Stall kind = state.range(3) == 0 ? Stall::callback : Stall::process;
    static int runs = 0;
    for (auto _ : state) {
        bench::TalkerSandbox sandbox("ring", "scr", runs++);
        if (!sandbox.ready) {
            state.SkipWithError("needs root to create a network namespace and a veth pair");
            return;
        }
        if (offloadOff && !switchOffloadOff(sandbox.capture)) {
            state.SkipWithError("cannot switch offload off on the capture end");
            return;
        }
        std::string error;
        Listener listener(sandbox.capture, immediate, bufferBytes, error);
        if (!listener.open()) {
            state.SkipWithError(("cannot open the capture: " + error).c_str());
            return;
        }
        sandbox.startTalker(
            SONACORE_TALKER_PATH, talkerProcessor,
            {"--channels", std::to_string(channels), "--signal", "counter", "--duration", "600"});
        // The stream settles before anything is measured.
        pause(1000);
        const auto [cpu, wakeups] = captureCpu(listener);
        const Survival result = survival(listener, kind);
        sandbox.stopTalker();

        state.counters["kernel_MiB"] = static_cast<double>(listener.kernelBytes) / (1 << 20);
        state.counters["survived_ms"] = result.survivedMs;
        state.counters["lost_at_next"] = static_cast<double>(result.lostAtNext);
        state.counters["cpu_percent"] = cpu * 100.0;
        state.counters["wakeups_per_s"] = wakeups;
        state.counters["frames"] = static_cast<double>(listener.frames());
        state.counters["kernel_MiB_per_500ms"] =
            result.survivedMs > 0 ? state.counters["kernel_MiB"] * 500.0 / result.survivedMs : 0.0;
    }
}

} // namespace

// The default ring as pcap_open_live gets it, and sized rings around what 500 ms need.
BENCHMARK(captureRing)
    ->ArgNames({"immediate", "MiB", "offloadOff", "processStall"})
    ->Args({0, 0, 0, 0})
    ->Args({0, 32, 0, 0})
    ->Args({0, 64, 0, 0})
    ->Args({0, 128, 0, 0})
    ->Args({0, 144, 0, 0})
    ->Args({0, 160, 0, 0})
    ->Args({0, 192, 0, 0})
    ->Args({0, 160, 0, 1})
    ->Args({1, 0, 0, 0})
    ->Args({1, 64, 0, 0})
    ->Args({1, 320, 0, 0})
    ->Args({1, 4, 1, 0})
    ->Args({1, 8, 1, 0})
    ->Args({1, 12, 1, 0})
    ->Args({1, 12, 1, 1})
    ->Iterations(1)
    ->Unit(benchmark::kSecond)
    ->UseRealTime();

int main(int argc, char** argv) {
    const int kept = bench::keepLastProcessorFree();
    if (kept >= 0) {
        talkerProcessor = std::to_string(kept);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
