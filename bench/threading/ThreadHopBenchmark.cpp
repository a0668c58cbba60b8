// What the thread hops of signalled blocks cost this machine's operating system, with no library code in the
// way: a capture thread that the kernel wakes every millisecond (a periodic timerfd, as the capture's 1 ms
// read timeout wakes the capture thread), one queued Qt call from it to each of N worker threads running
// their event loops, and, optionally, one queued result from every worker to the main thread's event loop.
// These are the hops of one block of 48 samples per channel under the external clock, so the library's own
// end-to-end CPU figure cannot fall below this one on the same machine.
//
// A second form does the same hops with bare eventfds and poll(), to tell Qt's share from the kernel's.
//
// Run: scripts/run-benchmarks.sh --benchmark_filter=hops
#include "../support/ThreadCpu.h"
#include "../support/WholeRuns.h"

#include <QCoreApplication>
#include <QObject>
#include <QThread>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace {

constexpr double settleSeconds = 1.0;
constexpr double measureSeconds = 5.0;

double now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// A thread that the kernel wakes every millisecond and that calls `tick` each time, until stopped.
class MillisecondThread {
public:
    explicit MillisecondThread(std::function<void()> tick) : tick(std::move(tick)) {
        timer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK);
        itimerspec period{};
        period.it_interval.tv_nsec = 1000000;
        period.it_value.tv_nsec = 1000000;
        timerfd_settime(timer, 0, &period, nullptr);
        stopper = eventfd(0, EFD_NONBLOCK);
        thread = std::thread([this] { run(); });
    }
    ~MillisecondThread() {
        const std::uint64_t one = 1;
        (void)!write(stopper, &one, sizeof one);
        thread.join();
        close(timer);
        close(stopper);
    }

private:
    void run() {
        pollfd waits[2] = {{timer, POLLIN, 0}, {stopper, POLLIN, 0}};
        while (poll(waits, 2, -1) >= 0 && (waits[1].revents & POLLIN) == 0) {
            std::uint64_t expirations = 0;
            if (read(timer, &expirations, sizeof expirations) == sizeof expirations) {
                tick();
            }
        }
    }

    std::function<void()> tick;
    int timer = -1;
    int stopper = -1;
    std::thread thread;
};

// Runs the main thread's event loop for the settling time and the measured time; returns the use per second
// of the measured part.
bench::ProcessUse measure() {
    std::map<long, bench::ThreadUse> start;
    double startTime = 0;
    QTimer::singleShot(static_cast<int>(settleSeconds * 1000), Qt::PreciseTimer, [&] {
        start = bench::threadUse();
        startTime = now();
    });
    QTimer::singleShot(static_cast<int>((settleSeconds + measureSeconds) * 1000), Qt::PreciseTimer,
                       [] { QCoreApplication::quit(); });
    QCoreApplication::exec();
    return bench::perSecond(start, bench::threadUse(), now() - startTime);
}

void report(benchmark::State& state, const bench::ProcessUse& use) {
    state.counters["cpu_percent_of_one_core"] = use.total() * 100.0;
    state.counters["other_threads_percent"] = use.otherThreads.seconds * 100.0;
    state.counters["main_thread_percent"] = use.mainThread.seconds * 100.0;
    state.counters["other_threads_runs_per_s"] = use.otherThreads.runs;
    state.counters["main_thread_runs_per_s"] = use.mainThread.runs;
}

class Source : public QObject {
    Q_OBJECT
signals:
    void block();
};

class Worker : public QObject {
    Q_OBJECT
public slots:
    void onBlock() { emit result(); }
signals:
    void result();
};

class Sink : public QObject {
    Q_OBJECT
public slots:
    void onResult() { ++results; }

public:
    std::uint64_t results = 0;
};

// Qt's queued calls: the millisecond thread emits `block` to N workers, each on its own QThread; with
// `toMainThread` every worker's result is queued to the main thread.
void hopsQt(benchmark::State& state) {
    const auto workers = static_cast<int>(state.range(0));
    const bool toMainThread = state.range(1) != 0;
    for (auto _ : state) {
        Source source;
        Sink sink;
        std::vector<std::unique_ptr<QThread>> threads;
        std::vector<std::unique_ptr<Worker>> objects;
        for (int index = 0; index < workers; ++index) {
            objects.push_back(std::make_unique<Worker>());
            threads.push_back(std::make_unique<QThread>());
            objects.back()->moveToThread(threads.back().get());
            QObject::connect(&source, &Source::block, objects.back().get(), &Worker::onBlock,
                             Qt::QueuedConnection);
            if (toMainThread) {
                QObject::connect(objects.back().get(), &Worker::result, &sink, &Sink::onResult,
                                 Qt::QueuedConnection);
            }
            threads.back()->start();
        }
        bench::ProcessUse use;
        {
            MillisecondThread capture([&source] { emit source.block(); });
            use = measure();
        }
        for (auto& thread : threads) {
            thread->quit();
            thread->wait();
        }
        report(state, use);
        state.counters["results_per_s"] =
            static_cast<double>(sink.results) / (settleSeconds + measureSeconds);
    }
}

// The same hops with bare eventfds: each worker thread blocks in poll() on its eventfd and writes the main
// thread's eventfd, which the main thread polls. No Qt on any of these threads.
void hopsEventfd(benchmark::State& state) {
    const auto workers = static_cast<int>(state.range(0));
    const bool toMainThread = state.range(1) != 0;
    for (auto _ : state) {
        std::atomic<bool> running{true};
        const int mainWake = eventfd(0, EFD_NONBLOCK);
        std::vector<int> wakes;
        std::vector<std::thread> threads;
        for (int index = 0; index < workers; ++index) {
            wakes.push_back(eventfd(0, EFD_NONBLOCK));
            threads.emplace_back([&running, wake = wakes.back(), mainWake, toMainThread] {
                pollfd wait{wake, POLLIN, 0};
                while (running.load()) {
                    poll(&wait, 1, -1);
                    std::uint64_t count = 0;
                    (void)!read(wake, &count, sizeof count);
                    if (toMainThread) {
                        const std::uint64_t one = 1;
                        (void)!write(mainWake, &one, sizeof one);
                    }
                }
            });
        }
        const auto signalAll = [&wakes] {
            const std::uint64_t one = 1;
            for (const int wake : wakes) {
                (void)!write(wake, &one, sizeof one);
            }
        };
        std::map<long, bench::ThreadUse> start;
        double startTime = 0;
        bench::ProcessUse use;
        {
            MillisecondThread capture(signalAll);
            pollfd wait{mainWake, POLLIN, 0};
            const double begin = now();
            bool started = false;
            while (now() - begin < settleSeconds + measureSeconds) {
                poll(&wait, 1, 100);
                std::uint64_t count = 0;
                (void)!read(mainWake, &count, sizeof count);
                if (!started && now() - begin >= settleSeconds) {
                    start = bench::threadUse();
                    startTime = now();
                    started = true;
                }
            }
            // Read while the millisecond thread still exists: a thread that has ended has no counters left.
            use = bench::perSecond(start, bench::threadUse(), now() - startTime);
        }
        running = false;
        signalAll();
        for (auto& thread : threads) {
            thread.join();
        }
        for (const int wake : wakes) {
            close(wake);
        }
        close(mainWake);
        report(state, use);
    }
}

} // namespace

// Workers 0 is the millisecond thread alone.
BENCHMARK(hopsQt)
    ->Args({0, 0})
    ->Args({1, 0})
    ->Args({2, 0})
    ->Args({1, 1})
    ->Args({2, 1})
    ->Args({8, 1})
    ->ArgNames({"workers", "to_main_thread"})
    ->Apply(bench::wholeRuns);
BENCHMARK(hopsEventfd)->Args({2, 1})->ArgNames({"workers", "to_main_thread"})->Apply(bench::wholeRuns);

int main(int argc, char** argv) {
    // The same processors as the library gets in e2e_latency_benchmark, where the last one is the talker's.
    bench::keepLastProcessorFree();
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

#include "ThreadHopBenchmark.moc"
