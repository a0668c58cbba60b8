#pragma once

#include "sonacore/StringOverloadBase.h"

#include <QObject>

#include <string>

class QThread;

namespace threading {

// Base of every thread body of the library: the AVTP packet receiver and each processor. A Controller moves
// the worker into a thread of its own and opens it with one queued call of progress(); from then on the
// worker lives in that thread and is deleted there, through deleteLater, when the thread finishes.
//
// Ownership: a worker handed to a Controller must have no parent, and nobody but its thread may delete it.
// Thread affinity: the thread that built it until the Controller moves it, then the Controller's thread.
// The name is written once, at construction, and may be read from any thread.
class Worker : public QObject, public StringOverloadBase {
    Q_OBJECT

public:
    // Logs "Worker", the name and "Initialized".
    Worker(std::string name, QObject* parent);
    // Logs "~Worker", the name and "DELETED". Under a Controller it runs on the worker's own thread.
    ~Worker() override;

    // Moves objects that the worker owns, and that must live beside it, into the given thread. Called by the
    // Controller on its own thread, after the worker has been moved and before the thread starts. The base
    // moves nothing and only logs.
    virtual void registerThreadChilds(QThread* thread);
    // The worker's printable text; each kind of worker says what it shows.
    std::string toString() const override = 0;
    // A copy of the name.
    virtual std::string getWorkerName() const;

public slots:
    // Asks the worker to stop its work so that its thread's event loop can return. Called directly by the
    // Controller, on the Controller's thread, while the worker may be busy in its own thread: an
    // implementation must be safe against that, must not wait for the worker's thread, and must bear being
    // called twice (once by Controller::endWorker, once by the Controller's destructor).
    virtual void end() = 0;
    // The body of the thread, entered once on the worker's thread when the Controller opens it. It may
    // return at once, leaving the thread in its event loop, or loop until end() asks it to leave.
    virtual void progress() = 0;

signals:
    // A worker's notice that its work is over. Emitted by derived workers, at most once per end of work, on
    // whichever thread runs the code that ends it (the worker thread at the end of progress(), or the
    // Controller's thread inside end()), under no lock of the base. Nothing in the threading pair listens to
    // it: the worker thread ends only through the Controller.
    void finished();

private:
    const std::string workerName;
};

} // namespace threading
