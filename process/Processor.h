#pragma once

#include "sonacore/ChannelData.h"
#include "threading/Worker.h"

#include <QObject>

#include <atomic>
#include <string>

namespace process {

// Base of every analyser: a worker that can be started and stopped and that reports its results through
// newProcessData.
//
// The active flag says that processing has been started, not that a calculation is running at this moment.
// It is written by start() and stop() on the caller's thread (the host's, through a handle) and read by the
// calculations on the worker thread, so it is atomic; a calculation that has passed its test when stop() is
// called still runs to its end and delivers.
//
// Thread affinity: built on the thread that adds the processor, then moved by its socket's Controller to a
// worker thread of its own, where it is deleted when that thread finishes.
class Processor : public threading::Worker {
    Q_OBJECT

public:
    // Inactive after construction.
    Processor(std::string name, QObject* parent);
    ~Processor() override;

    // "Processor: <name>\n\tProcessor active (calculating?): <0 or 1>".
    std::string toString() const override;
    // The active flag; any thread.
    virtual bool isActive() const;

signals:
    // One result. Emitted on the worker thread, once per calculation that delivers, under no lock; reaches
    // the processor's ProcessConnection queued.
    void newProcessData(sonacore::ChannelData channel);

public slots:
    // Logs " End called!" and stops. Called directly by the Controller on its own thread, possibly twice;
    // it never waits for anything.
    void end() override;
    // Sets the active flag and logs " Processing started"; when it is set already, logs " Processing already
    // started! No action will be performed!" and changes nothing.
    virtual void start();
    // Clears the active flag and logs " Processing stopped"; when it is clear already, logs " Processing not
    // active! No action will be performed!".
    virtual void stop();

private:
    std::atomic<bool> active;
};

} // namespace process
