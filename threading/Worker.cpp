#include "threading/Worker.h"

#include "sonacore/Log.h"

#include <QThread>

#include <utility>

namespace threading {

Worker::Worker(std::string name, QObject* parent) : QObject(parent), workerName(std::move(name)) {
    sonacore::log::debug("Worker", sonacore::log::name(workerName), "Initialized");
}

Worker::~Worker() {
    sonacore::log::debug("~Worker", sonacore::log::name(workerName), "DELETED");
}

void Worker::registerThreadChilds(QThread* thread) {
    static_cast<void>(thread);
    sonacore::log::debug("registerThreadChilds", sonacore::log::name(workerName),
                         "Method not derived. No extra thread childs will be added to thread",
                         QThread::currentThread());
}

std::string Worker::getWorkerName() const {
    return workerName;
}

} // namespace threading
