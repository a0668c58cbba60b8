// End-to-end figures of the library, as a host sees it: our talker sends at the real rate of 8000 frames per
// second in a private network namespace, the library captures on the other end of a veth pair, and waveform
// processors deliver to the host's callbacks.
//
// - latency: from the kernel's capture time of the frame that completes a signalled block (external clock,
//   signalling amount 48) to the host's callback for that block; median and 99th percentile. A second libpcap
//   handle on the same interface reads the capture times, matched by the counter signal's values.
// - CPU: the process's CPU time per second of stream, for 2 and 8 channels with a waveform processor on every
//   channel, in blocks of 48 and of 480 samples, without the second handle; split into the library's threads
//   (capture and workers) and the host's thread (its event loop and callbacks), each with the number of times
//   its threads were put on a processor per second. The talker runs in its own process and is not counted.
//   thread_hop_benchmark measures what the same thread hops cost this machine without the library.
//
// On a real network the talker is another device. Here it shares the machine, and its 8000 wake-ups a second
// would preempt the library's threads and charge them the switches; so the talker gets the last processor to
// itself and this process runs on the others (on a two-processor machine, the library has one).
//
// Run as root: scripts/run-benchmarks.sh --benchmark_filter=endToEnd
#include "avb/AvtpFrame.h"
#include "sonacore/INetworkDeviceManager.h"
#include "sonacore/ISonaCore.h"
#include "sonacore/ISoundLevelValueConfig.h"
#include "sonacore/ISpectrumConfig.h"
#include "sonacore/IWaveformConfig.h"

#include "../support/TalkerSandbox.h"
#include "../support/ThreadCpu.h"
#include "../support/WholeRuns.h"

#include <QCoreApplication>
#include <QTimer>

#include <benchmark/benchmark.h>
#include <pcap/pcap.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

// The processor the talker runs on, set in main.
std::string talkerProcessor = "0-1023";

void quiet(QtMsgType, const QMessageLogContext&, const QString&) {}

double now() {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// Capture times of frames, by the counter value of their first sample on channel 0.
struct SideCapture {
    explicit SideCapture(const std::string& interface) {
        char error[PCAP_ERRBUF_SIZE] = {};
        handle = pcap_create(interface.c_str(), error);
        pcap_set_snaplen(handle, 128);
        pcap_set_immediate_mode(handle, 1);
        pcap_set_buffer_size(handle, 16 << 20);
        pcap_activate(handle);
        thread = std::thread([this] {
            pcap_loop(
                handle, 0,
                [](unsigned char* user, const pcap_pkthdr* header, const unsigned char* frame) {
                    auto* self = reinterpret_cast<SideCapture*>(user);
                    using namespace avb::avtp;
                    const avb::AvtpFrameReader reader(frame, header->caplen);
                    if (!reader.holds(payloadOffset, 2) ||
                        reader.bigEndian16At(etherTypeOffset) != avtpEtherType) {
                        return;
                    }
                    // The first sample of channel 0: the talker's counter signal.
                    const std::uint16_t counter = reader.bigEndian16At(payloadOffset);
                    std::lock_guard<std::mutex> lock(self->mutex);
                    self->frames.emplace_back(
                        static_cast<double>(header->ts.tv_sec) + header->ts.tv_usec * 1e-6, counter);
                },
                reinterpret_cast<unsigned char*>(this));
        });
    }
    ~SideCapture() {
        pcap_breakloop(handle);
        thread.join();
        pcap_close(handle);
    }
    pcap_t* handle = nullptr;
    std::thread thread;
    std::mutex mutex;
    // Capture time and first counter value of every frame, in the order of capture.
    std::vector<std::pair<double, std::uint16_t>> frames;
};

struct Run {
    std::vector<double> latencies;
    bench::ProcessUse cpu;
};

// What runs on every channel of a stream.
enum class Processors {
    // A waveform processor, delivering every signalled block.
    waveform,
    // A sound level processor on the buffer's signal, over 2880 samples.
    soundLevel,
    // A spectrum processor of order 14 with a moving average over 8 spectra, on its own timer of 100 ms
    // (every 4800 samples at 48 kHz).
    spectrum,
    // Both of the above.
    analysers,
};

void addAnalysers(ISonaCore& core, const std::string& key, unsigned channel, Processors processors,
                  std::vector<sonacore::ihandles::IProcessorHandle*>& handles) {
    const auto number = static_cast<unsigned char>(channel);
    std::vector<sonacore::iprocess::IProcessorConfigBase*> analysers;
    if (processors != Processors::spectrum) {
        analysers.push_back(sonacore::iprocess::ISoundLevelValueConfig::createInstance("bench", 2880));
    }
    if (processors != Processors::soundLevel) {
        auto* spectrum = sonacore::iprocess::ISpectrumConfig::createInstance("bench", 16384, 100);
        spectrum->setMovingAverageWindowSize(8);
        spectrum->setMovingAverageActivity(true);
        analysers.push_back(spectrum);
    }
    for (auto* settings : analysers) {
        auto* process = sonacore::IProcessConfiguration::createInstance("bench", *settings, key, number);
        auto* handle = core.addProcessor(*process);
        // The values are computed and delivered; a host would show them.
        core.getMeteringDataSource(*handle)->bindChannelCallback([](sonacore::IChannelData&) {});
        handle->start();
        handles.push_back(handle);
    }
}

// Streams `channels` channels for `seconds` at the real rate, with `processors` on every channel.
Run stream(benchmark::State& state, unsigned channels, std::uint64_t signaling, double seconds,
           bool measureLatency, Processors processors = Processors::waveform) {
    Run run;
    // Streams are never removed from the library, so each run sends from its own address.
    static int runs = 0;
    const int runNumber = runs++;
    bench::TalkerSandbox sandbox("bench", "scb", runNumber);
    if (!sandbox.ready) {
        state.SkipWithError("needs root to create a network namespace and a veth pair");
        return run;
    }
    ISonaCore* core = ISonaCore::createInstance();
    auto* manager = sonacore::INetworkDeviceManager::createInstance();
    manager->scanDevices();
    sonacore::INetworkDeviceInfo* adapter = nullptr;
    for (std::uint64_t number = 1; number <= manager->getDeviceCount(); ++number) {
        if (manager->getDeviceInfo(number).getDeviceName() == sandbox.capture) {
            adapter = &manager->getDeviceInfo(number);
        }
    }
    const std::string key = "00a0c91122" + std::to_string(10 + runNumber);
    auto* buffer = sonacore::IBufferConfiguration::createInstance("bench", 48000, signaling);
    auto* device = sonacore::IDeviceConfiguration::createInstance("bench", *buffer, 2, channels, 6);
    auto* streamConfiguration =
        sonacore::IStreamConfiguration::createInstance("bench", key, *adapter, *device);
    auto* receiver = core->addRemoteStreamReceiver(*streamConfiguration);

    std::vector<std::pair<double, std::uint16_t>> deliveries;
    std::vector<sonacore::ihandles::IProcessorHandle*> handles;
    // Signalling 0 measures the capture alone, with no processor.
    for (unsigned channel = 0; channel < (signaling == 0 ? 0 : channels); ++channel) {
        if (processors != Processors::waveform) {
            addAnalysers(*core, key, channel, processors, handles);
            continue;
        }
        auto* waveform = sonacore::iprocess::IWaveformConfig::createInstance("bench", signaling);
        auto* process = sonacore::IProcessConfiguration::createInstance("bench", *waveform, key,
                                                                        static_cast<unsigned char>(channel));
        auto* handle = core->addProcessor(*process);
        core->getMeteringDataSource(*handle)->bindChannelCallback([&deliveries,
                                                                   channel](sonacore::IChannelData& data) {
            if (channel != 0) {
                return;
            }
            const double time = now();
            const auto y = data.getVectorData().getY();
            if (!y.empty()) {
                const auto last = static_cast<std::uint16_t>(static_cast<std::int16_t>(y.back() * 32768.0));
                deliveries.emplace_back(time, last);
            }
        });
        handle->start();
        handles.push_back(handle);
    }
    std::unique_ptr<SideCapture> side;
    if (measureLatency) {
        side = std::make_unique<SideCapture>(sandbox.capture);
    }
    receiver->start();
    const std::string mac = key.substr(0, 2) + ":" + key.substr(2, 2) + ":" + key.substr(4, 2) + ":" +
                            key.substr(6, 2) + ":" + key.substr(8, 2) + ":" + key.substr(10, 2);
    sandbox.startTalker(SONACORE_TALKER_PATH, talkerProcessor,
                        {"--source-mac", mac, "--channels", std::to_string(channels), "--signal", "counter",
                         "--duration", std::to_string(seconds + 1.0)});

    // The first second settles; the next `seconds` are measured.
    std::map<long, bench::ThreadUse> cpuStart;
    double wallStart = 0;
    QTimer settle;
    settle.setSingleShot(true);
    QObject::connect(
        &settle, &QTimer::timeout, &settle,
        [&] {
            cpuStart = bench::threadUse();
            wallStart = now();
            deliveries.clear();
        },
        Qt::DirectConnection);
    QTimer end;
    end.setSingleShot(true);
    QObject::connect(
        &end, &QTimer::timeout, &end, [] { QCoreApplication::quit(); }, Qt::DirectConnection);
    settle.start(1000);
    end.start(static_cast<int>((seconds + 1.0) * 1000));
    QCoreApplication::exec();
    run.cpu = bench::perSecond(cpuStart, bench::threadUse(), now() - wallStart);

    receiver->stop();
    for (auto* handle : handles) {
        handle->stop();
    }
    sandbox.stopTalker();
    if (side) {
        std::lock_guard<std::mutex> lock(side->mutex);
        const auto& frames = side->frames;
        for (const auto& [time, last] : deliveries) {
            // The block ends with the last sample of a frame; that frame's first sample is five before it.
            // The counter repeats every 65536 samples (1.4 s), so the match is the latest such frame captured
            // before the callback.
            const std::uint16_t first = static_cast<std::uint16_t>(last - 5);
            auto position =
                std::upper_bound(frames.begin(), frames.end(), std::make_pair(time, std::uint16_t{0xffff}));
            for (int steps = 0; position != frames.begin() && steps < 8000; ++steps) {
                --position;
                if (position->second == first) {
                    run.latencies.push_back(time - position->first);
                    break;
                }
            }
        }
    }
    return run;
}

double percentile(std::vector<double> values, double fraction) {
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(fraction * static_cast<double>(values.size() - 1))];
}

void endToEndLatency(benchmark::State& state) {
    for (auto _ : state) {
        const Run run = stream(state, 2, 48, 10.0, true);
        state.counters["median_ms"] = percentile(run.latencies, 0.5) * 1e3;
        state.counters["p99_ms"] = percentile(run.latencies, 0.99) * 1e3;
        state.counters["max_ms"] = percentile(run.latencies, 1.0) * 1e3;
        state.counters["blocks"] = static_cast<double>(run.latencies.size());
    }
}

void endToEndCpu(benchmark::State& state) {
    const auto channels = static_cast<unsigned>(state.range(0));
    const auto signaling = static_cast<std::uint64_t>(state.range(1));
    for (auto _ : state) {
        const Run run = stream(state, channels, signaling, 10.0, false);
        state.counters["cpu_percent_of_one_core"] = run.cpu.total() * 100.0;
        state.counters["library_threads_percent"] = run.cpu.otherThreads.seconds * 100.0;
        state.counters["host_thread_percent"] = run.cpu.mainThread.seconds * 100.0;
        state.counters["library_threads_runs_per_s"] = run.cpu.otherThreads.runs;
        state.counters["host_thread_runs_per_s"] = run.cpu.mainThread.runs;
    }
}

// 8 channels with the buffer's signal every 480 samples, each with the processors of the argument: the
// waveform processor alone (0), the sound level processor alone (1), the spectrum processor alone (2), or the
// sound level and spectrum processors (3). Read the analysers' figure next to the waveform processor's.
void endToEndProcessorsCpu(benchmark::State& state) {
    const auto processors = static_cast<Processors>(state.range(0));
    for (auto _ : state) {
        const Run run = stream(state, 8, 480, 10.0, false, processors);
        state.counters["cpu_percent_of_one_core"] = run.cpu.total() * 100.0;
        state.counters["library_threads_percent"] = run.cpu.otherThreads.seconds * 100.0;
        state.counters["host_thread_percent"] = run.cpu.mainThread.seconds * 100.0;
        state.counters["library_threads_runs_per_s"] = run.cpu.otherThreads.runs;
        state.counters["host_thread_runs_per_s"] = run.cpu.mainThread.runs;
    }
}

} // namespace

BENCHMARK(endToEndLatency)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();
// Blocks of 48 samples (1 ms, 1000 deliveries per second and channel) and of 480 samples (10 ms); signalling
// 0 is the capture alone, without processors.
BENCHMARK(endToEndCpu)
    ->Args({2, 48})
    ->Args({8, 48})
    ->Args({2, 480})
    ->Args({8, 480})
    ->Args({2, 0})
    ->ArgNames({"channels", "signaling"})
    ->Apply(bench::wholeRuns);
BENCHMARK(endToEndProcessorsCpu)
    ->Arg(0)
    ->Arg(1)
    ->Arg(2)
    ->Arg(3)
    ->ArgName("processors")
    ->Apply(bench::wholeRuns);

int main(int argc, char** argv) {
    const int kept = bench::keepLastProcessorFree();
    if (kept >= 0) {
        talkerProcessor = std::to_string(kept);
    }
    qInstallMessageHandler(quiet);
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    ISonaCore::destroy();
    return 0;
}
