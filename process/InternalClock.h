#pragma once

#include "sonacore/DataObjectBase.h"

#include <QObject>
#include <QTimer>

#include <string>

namespace process {

// The timer of a sample processor under the internal clock: a repeating precise QTimer whose every timeout
// is passed on as clock().
//
// Thread affinity: it has no parent and is not moved with its processor, so it stays on the thread that built
// the processor (the host's), and it ticks only while that thread runs a Qt event loop. start() and stop()
// must run on that thread; the processor's signals reach them queued when emitted elsewhere.
class InternalClock : public QObject, public sonacore::DataObjectBase {
    Q_OBJECT

public:
    // Logs "InternalClock", the name and "Clock initialized!". The timer is not running.
    InternalClock(std::string name, QObject* parent);
    ~InternalClock() override;

    // True while the timer runs.
    bool isActive() const;
    // The timer's period in milliseconds.
    int getInterval() const;
    // "InternalClock: <name>\n\tClock interval: <ms>\n\tActive: <0 or 1>".
    std::string toString() const override;

signals:
    // One tick. Emitted on the clock's thread, once per timeout, under no lock.
    void clock();

public slots:
    // (Re)starts the timer with a period of msec milliseconds and logs "Clock started with interval of ",
    // msec, "milliseconds".
    void start(int msec);
    // Stops the timer, whether it runs or not, and logs "Clock stopped".
    void stop();
    void timerTimeout();

private:
    QTimer timer;
};

} // namespace process
