#pragma once

#include <QObject>
#include <QThread>

namespace threading {

class Worker;

// Owns one QThread and runs one Worker in it. The constructor moves the worker into the thread, starts the
// thread and opens the worker's progress() there; the destructor ends the worker, quits the thread and waits
// for it without a deadline. The worker is deleted by its own thread as the thread finishes (deleteLater).
// Only when that deferred delete cannot run, because no application object exists any more (a Controller
// ended after the host's application, as at program exit), does the destructor delete the worker itself,
// once the thread has ended. A worker kept with keepWorker() is never deleted by either.
//
// Thread affinity: the Controller and its QThread object stay on the thread that built the Controller, and
// both the destructor and endWorker() must be called there. The worker and whatever its
// registerThreadChilds() moved live in the worker thread.
//
// Failures: a null worker is warned about and leaves the Controller unstarted; endWorker() and the destructor
// then only warn. A worker whose end() does not let its thread's event loop return blocks the destructor for
// ever: there is deliberately no timed wait and no terminate().
class Controller : public QObject {
    Q_OBJECT

public:
    // The worker must have no parent. A null worker: warns "Controller" "The given worker cannot be
    // controlled! Nullpointer passed!" and starts nothing.
    explicit Controller(Worker* worker);
    // Calls the worker's end() on this thread, quits the worker thread and waits for it; see above.
    ~Controller() override;

    // Calls the worker's end() directly, on this thread, so that a worker looping in progress() leaves its
    // loop. The destructor calls end() again.
    void endWorker();

    // True once the constructor has started the worker thread.
    bool isInitialized() const;
    // True while the worker thread runs.
    bool isWorkerThreadRunning() const;
    // For a worker that owns this Controller (holds it as a member) and is deleted by its own owner: the
    // thread must then not delete the worker as it finishes, or the worker would be destroyed twice, once
    // on its thread while its owner is still destroying it. Call on this Controller's thread.
    void keepWorker();

signals:
    // Emitted once, by the constructor, on the Controller's thread and under no lock; reaches the worker's
    // progress() queued, on the worker thread.
    void operate();

private:
    QThread workerThread;
    Worker* worker;
    bool initialized;
    QMetaObject::Connection workerDeletion;
    bool workerKept = false;
};

} // namespace threading
