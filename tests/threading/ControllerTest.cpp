#include "threading/Controller.h"
#include "support/EventLoop.h"
#include "support/LogCapture.h"
#include "threading/Worker.h"

#include <QObject>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

// What a worker saw, kept outside the worker because the worker is deleted on its own thread.
struct Observations {
    std::atomic<int> progressCalls{0};
    std::atomic<int> endCalls{0};
    std::atomic<bool> deleted{false};
    std::atomic<QThread*> progressThread{nullptr};
    std::atomic<QThread*> destructorThread{nullptr};
    std::atomic<QThread*> registeredThread{nullptr};
    std::atomic<QThread*> registeringThread{nullptr};
    std::atomic<QThread*> workerAffinityWhenRegistering{nullptr};

    std::mutex mutex;
    std::vector<QThread*> endThreads;
};

class RecordingWorker : public threading::Worker {
    Q_OBJECT

public:
    RecordingWorker(std::string name, Observations& observations)
        : Worker(std::move(name), nullptr), observations(observations) {}
    ~RecordingWorker() override {
        observations.destructorThread = QThread::currentThread();
        observations.deleted = true;
    }

    void registerThreadChilds(QThread* thread) override {
        observations.registeredThread = thread;
        observations.registeringThread = QThread::currentThread();
        observations.workerAffinityWhenRegistering = this->thread();
        child.moveToThread(thread);
    }
    std::string toString() const override { return "RecordingWorker: " + getWorkerName(); }

    // An object the worker owns and that must live in its thread.
    QObject child;

public slots:
    void end() override {
        std::lock_guard<std::mutex> lock(observations.mutex);
        observations.endThreads.push_back(QThread::currentThread());
        ++observations.endCalls;
    }
    void progress() override {
        observations.progressThread = QThread::currentThread();
        ++observations.progressCalls;
        emit finished();
    }

private:
    Observations& observations;
};

// A worker whose progress() is a loop that only end() leaves, like a signal generator.
class LoopingWorker : public threading::Worker {
    Q_OBJECT

public:
    LoopingWorker(std::string name, Observations& observations)
        : Worker(std::move(name), nullptr), observations(observations) {}
    ~LoopingWorker() override { observations.deleted = true; }
    std::string toString() const override { return "LoopingWorker"; }

    std::atomic<bool> loopLeft{false};

public slots:
    void end() override {
        running = false;
        ++observations.endCalls;
    }
    void progress() override {
        ++observations.progressCalls;
        while (running) {
            QThread::yieldCurrentThread();
        }
        loopLeft = true;
    }

private:
    Observations& observations;
    std::atomic<bool> running{true};
};

// A worker that blocks its thread's event loop inside progress() until the test releases it; its end()
// does nothing to unblock it.
class BlockingWorker : public threading::Worker {
    Q_OBJECT

public:
    BlockingWorker(std::string name, Observations& observations)
        : Worker(std::move(name), nullptr), observations(observations) {}
    ~BlockingWorker() override { observations.deleted = true; }
    std::string toString() const override { return "BlockingWorker"; }

    void release() {
        std::lock_guard<std::mutex> lock(mutex);
        released = true;
        condition.notify_all();
    }

public slots:
    void end() override { ++observations.endCalls; }
    void progress() override {
        ++observations.progressCalls;
        std::unique_lock<std::mutex> lock(mutex);
        condition.wait(lock, [this] { return released; });
    }

private:
    Observations& observations;
    std::mutex mutex;
    std::condition_variable condition;
    bool released = false;
};

} // namespace

TEST(Controller, NullWorkerWarnsOnceAtConstructionAndOnceAtDestructionAndStartsNoThread) {
    testsupport::LogCapture capture;
    {
        threading::Controller controller(nullptr);
        EXPECT_FALSE(controller.isInitialized());
        EXPECT_FALSE(controller.isWorkerThreadRunning());
    }
    EXPECT_EQ(
        capture.texts(QtWarningMsg),
        (std::vector<std::string>{"Controller The given worker cannot be controlled! Nullpointer passed!",
                                  "~Controller Controller not initialized!"}));
    EXPECT_TRUE(capture.texts(QtDebugMsg).empty());
}

TEST(Controller, EndWorkerOnAnUnstartedControllerOnlyWarns) {
    threading::Controller controller(nullptr);
    testsupport::LogCapture capture;
    controller.endWorker();
    EXPECT_EQ(capture.texts(QtWarningMsg), std::vector<std::string>{"endWorker Controller not initialized!"});
    EXPECT_TRUE(capture.texts(QtDebugMsg).empty());
}

TEST(Controller, RunsProgressOnceOnTheWorkerThread) {
    Observations observations;
    auto* worker = new RecordingWorker("w", observations);
    threading::Controller controller(worker);
    EXPECT_TRUE(controller.isInitialized());
    EXPECT_TRUE(controller.isWorkerThreadRunning());
    ASSERT_TRUE(testsupport::spinUntil([&] { return observations.progressCalls.load() == 1; }));
    EXPECT_NE(observations.progressThread.load(), QThread::currentThread());
    EXPECT_EQ(observations.progressThread.load(), worker->thread());
    EXPECT_EQ(controller.thread(), QThread::currentThread());
}

TEST(Controller, MovesTheWorkerBeforeItRegistersItsChildren) {
    Observations observations;
    auto* worker = new RecordingWorker("w", observations);
    threading::Controller controller(worker);
    EXPECT_EQ(observations.registeringThread.load(), QThread::currentThread());
    EXPECT_EQ(observations.registeredThread.load(), worker->thread());
    EXPECT_EQ(observations.workerAffinityWhenRegistering.load(), worker->thread());
    EXPECT_EQ(worker->child.thread(), worker->thread());
}

TEST(Controller, BaseRegisterThreadChildsLogsDuringConstruction) {
    Observations observations;
    testsupport::LogCapture capture;
    threading::Controller controller(new LoopingWorker("loop", observations));
    const auto lines = capture.texts(QtDebugMsg);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], "Worker \"loop\" Initialized");
    EXPECT_EQ(
        lines[1].rfind("registerThreadChilds \"loop\" Method not derived. No extra thread childs will be "
                       "added to thread QThread(",
                       0),
        0U);
}

TEST(Controller, DestructionEndsTheWorkerOnTheCallingThreadAndTheWorkerThreadDeletesIt) {
    Observations observations;
    auto controller =
        std::make_unique<threading::Controller>(new RecordingWorker("Processor A", observations));
    ASSERT_TRUE(testsupport::spinUntil([&] { return observations.progressCalls.load() == 1; }));
    const QThread* workerThread = observations.progressThread.load();

    testsupport::LogCapture capture;
    controller.reset();

    EXPECT_EQ(capture.texts(QtDebugMsg),
              (std::vector<std::string>{"~Controller \"Processor A\" Quit worker thread...",
                                        "~Worker \"Processor A\" DELETED",
                                        "~Controller \"Processor A\" Worker thread ended"}));
    EXPECT_TRUE(capture.texts(QtWarningMsg).empty());
    EXPECT_EQ(observations.endCalls.load(), 1);
    EXPECT_EQ(observations.endThreads, std::vector<QThread*>{QThread::currentThread()});
    EXPECT_TRUE(observations.deleted.load());
    EXPECT_EQ(observations.destructorThread.load(), workerThread);
}

TEST(Controller, EndWorkerOnARunningWorkerThenDestructionCallsEndTwice) {
    Observations observations;
    auto controller = std::make_unique<threading::Controller>(new RecordingWorker("w", observations));
    ASSERT_TRUE(testsupport::spinUntil([&] { return observations.progressCalls.load() == 1; }));

    testsupport::LogCapture capture;
    controller->endWorker();
    EXPECT_EQ(capture.texts(QtDebugMsg), std::vector<std::string>{"endWorker \"w\" Force worker end"});
    EXPECT_EQ(observations.endCalls.load(), 1);
    EXPECT_FALSE(observations.deleted.load());
    EXPECT_TRUE(controller->isWorkerThreadRunning());

    controller.reset();
    EXPECT_EQ(observations.endCalls.load(), 2);
    EXPECT_EQ(observations.endThreads,
              (std::vector<QThread*>{QThread::currentThread(), QThread::currentThread()}));
    EXPECT_TRUE(observations.deleted.load());
}

TEST(Controller, EndWorkerMakesALoopingWorkerLeaveItsLoop) {
    Observations observations;
    auto* worker = new LoopingWorker("loop", observations);
    threading::Controller controller(worker);
    ASSERT_TRUE(testsupport::spinUntil([&] { return observations.progressCalls.load() == 1; }));
    controller.endWorker();
    EXPECT_TRUE(testsupport::spinUntil([&] { return worker->loopLeft.load(); }));
    // The thread stays in its event loop until the Controller ends.
    EXPECT_TRUE(controller.isWorkerThreadRunning());
}

TEST(Controller, DestructionEndsAWorkerThatLoopsInProgress) {
    Observations observations;
    auto controller = std::make_unique<threading::Controller>(new LoopingWorker("loop", observations));
    ASSERT_TRUE(testsupport::spinUntil([&] { return observations.progressCalls.load() == 1; }));
    controller.reset();
    EXPECT_EQ(observations.endCalls.load(), 1);
    EXPECT_TRUE(observations.deleted.load());
}

TEST(Controller, DestructionRightAfterConstructionDeletesTheWorker) {
    Observations observations;
    { threading::Controller controller(new RecordingWorker("w", observations)); }
    EXPECT_TRUE(observations.deleted.load());
    EXPECT_LE(observations.progressCalls.load(), 1);
}

TEST(Controller, DestructionNeverReturnsWhileTheWorkerEventLoopIsBlocked) {
    Observations observations;
    auto* worker = new BlockingWorker("blocked", observations);
    auto controller = std::make_unique<threading::Controller>(worker);
    ASSERT_TRUE(testsupport::spinUntil([&] { return observations.progressCalls.load() == 1; }));

    std::mutex eventsMutex;
    std::vector<std::string> events;
    const auto record = [&](const std::string& event) {
        std::lock_guard<std::mutex> lock(eventsMutex);
        events.push_back(event);
    };

    // The destructor calls end() before it waits; only after that does the helper unblock the worker, and
    // it notes first whether the worker was still alive, which it must be while the destructor waits.
    std::thread helper([&] {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (observations.endCalls.load() == 0 && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
        record(observations.deleted.load() ? "released after deletion" : "released while worker alive");
        worker->release();
    });

    controller.reset();
    record("destructor returned");
    helper.join();

    EXPECT_EQ(events, (std::vector<std::string>{"released while worker alive", "destructor returned"}));
    EXPECT_EQ(observations.endCalls.load(), 1);
    EXPECT_TRUE(observations.deleted.load());
}

TEST(Controller, ASignalOfTheWorkerReachesAReceiverOnTheTestThreadQueued) {
    Observations observations;
    auto* worker = new RecordingWorker("w", observations);
    QObject receiver;
    std::atomic<QThread*> deliveredOn{nullptr};
    QObject::connect(
        worker, &threading::Worker::finished, &receiver, [&] { deliveredOn = QThread::currentThread(); },
        Qt::QueuedConnection);
    threading::Controller controller(worker);
    ASSERT_TRUE(testsupport::spinUntil([&] { return deliveredOn.load() != nullptr; }));
    EXPECT_EQ(deliveredOn.load(), QThread::currentThread());
    EXPECT_NE(observations.progressThread.load(), QThread::currentThread());
}

#include "ControllerTest.moc"
