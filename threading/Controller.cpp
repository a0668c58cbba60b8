#include "threading/Controller.h"

#include "sonacore/Log.h"
#include "threading/Worker.h"

#include <QPointer>

#include <string>

namespace threading {

Controller::Controller(Worker* worker)
    : QObject(nullptr), workerThread(nullptr), worker(worker), initialized(false) {
    if (worker == nullptr) {
        sonacore::log::warning("Controller", "The given worker cannot be controlled! Nullpointer passed!");
        return;
    }
    // The move happens before the thread starts, so nothing runs in the worker thread before the worker and
    // its children are in place.
    worker->moveToThread(&workerThread);
    worker->registerThreadChilds(&workerThread);
    // The thread emits finished on itself, where the worker lives, so deleteLater is called there directly
    // and the deferred delete is carried out by the thread before it counts as finished. By the time wait()
    // returns in the destructor, the worker is gone.
    workerDeletion =
        connect(&workerThread, &QThread::finished, worker, &QObject::deleteLater, Qt::AutoConnection);
    // The worker lives in another thread from here on, so this is resolved to a queued call at emission.
    connect(this, &Controller::operate, worker, &Worker::progress, Qt::AutoConnection);
    workerThread.start(QThread::InheritPriority);
    emit operate();
    initialized = true;
}

Controller::~Controller() {
    if (!initialized) {
        sonacore::log::warning("~Controller", "Controller not initialized!");
        return;
    }
    // The worker is deleted on its own thread before wait() returns, so its name is copied while it is
    // certain to exist.
    const std::string workerName = worker->getWorkerName();
    sonacore::log::debug("~Controller", sonacore::log::name(workerName), "Quit worker thread...");
    // Watches the worker, which the thread deletes as it finishes.
    const QPointer<Worker> remaining(worker);
    // Called here rather than queued: a worker that loops in progress() never returns to its event loop, so a
    // queued end() would never be delivered.
    worker->end();
    // A quit that comes before the thread has entered its event loop is remembered by the thread, which then
    // leaves at once without running progress(); a Controller ended right after it was built cannot hang.
    workerThread.quit();
    workerThread.wait();
    // Without an application object (a Controller ended after the host's application, as at program exit) the
    // finishing thread does not carry out its deferred delete. The thread has ended, so nothing of the worker
    // runs any more, and it is deleted here instead.
    if (!workerKept && !remaining.isNull()) {
        delete remaining.data();
    }
    worker = nullptr;
    sonacore::log::debug("~Controller", sonacore::log::name(workerName), "Worker thread ended");
}

void Controller::keepWorker() {
    disconnect(workerDeletion);
    workerKept = true;
}

void Controller::endWorker() {
    if (!initialized) {
        sonacore::log::warning("endWorker", "Controller not initialized!");
        return;
    }
    sonacore::log::debug("endWorker", sonacore::log::name(worker->getWorkerName()), "Force worker end");
    worker->end();
}

bool Controller::isInitialized() const {
    return initialized;
}

bool Controller::isWorkerThreadRunning() const {
    return workerThread.isRunning();
}

} // namespace threading
