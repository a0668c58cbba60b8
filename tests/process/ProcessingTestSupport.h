#pragma once

// Helpers of the processing tests: a collector of deliveries on the test's thread, a gate that holds a
// worker thread still, and a way to wait until a worker has worked off its queue.

#include "sonacore/ChannelData.h"
#include "support/EventLoop.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QMetaType>
#include <QObject>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace processingtest {

// The types that cross threads in queued calls, under the names the signals and slots use.
inline void registerTypes() {
    qRegisterMetaType<std::string>("std::string");
    qRegisterMetaType<std::size_t>("std::size_t");
    qRegisterMetaType<sonacore::ChannelData>("sonacore::ChannelData");
}

// One delivered result.
struct Delivery {
    std::string name;
    std::vector<double> x;
    std::vector<double> y;
};

// Collects deliveries handed to a ProcessConnection's callback, on the test's thread. The count may be read
// from any thread.
class Deliveries {
public:
    std::function<void(sonacore::ChannelData&)> callback() {
        return [this](sonacore::ChannelData& data) {
            {
                std::lock_guard<std::mutex> lock(mutex);
                items.push_back(
                    Delivery{data.getName(), data.getVectorData().getX(), data.getVectorData().getY()});
            }
            delivered.store(delivered.load() + 1);
        };
    }
    std::size_t count() const { return delivered.load(); }
    std::vector<Delivery> all() const {
        std::lock_guard<std::mutex> lock(mutex);
        return items;
    }
    Delivery at(std::size_t index) const {
        std::lock_guard<std::mutex> lock(mutex);
        return items.at(index);
    }

private:
    mutable std::mutex mutex;
    std::vector<Delivery> items;
    std::atomic<std::size_t> delivered{0};
};

// Holds the thread of an object still: the object's thread blocks in a queued call until release().
class WorkerGate {
public:
    explicit WorkerGate(QObject* object) {
        QMetaObject::invokeMethod(
            object,
            [state = state] {
                std::unique_lock<std::mutex> lock(state->mutex);
                state->entered = true;
                state->changed.notify_all();
                state->changed.wait(lock, [&] { return state->open; });
            },
            Qt::QueuedConnection);
    }
    ~WorkerGate() { release(); }

    // Waits until the object's thread sits in the gate; false after the deadline.
    bool waitEntered() {
        std::unique_lock<std::mutex> lock(state->mutex);
        return state->changed.wait_for(lock, std::chrono::seconds(5), [&] { return state->entered; });
    }
    void release() {
        std::lock_guard<std::mutex> lock(state->mutex);
        state->open = true;
        state->changed.notify_all();
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        bool entered = false;
        bool open = false;
    };
    std::shared_ptr<State> state = std::make_shared<State>();
};

// Waits until the object's thread has worked off every call queued to it so far, then hands the test's own
// thread whatever those calls posted to it. Returns false after the deadline.
inline bool drain(QObject* object) {
    auto reached = std::make_shared<std::atomic<bool>>(false);
    QMetaObject::invokeMethod(
        object, [reached] { reached->store(true); }, Qt::QueuedConnection);
    const bool done = testsupport::spinUntil([&] { return reached->load(); });
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
    return done;
}

// A vector of floats as the doubles a waveform delivers.
inline std::vector<double> asDoubles(const std::vector<float>& samples) {
    return std::vector<double>(samples.begin(), samples.end());
}

} // namespace processingtest
