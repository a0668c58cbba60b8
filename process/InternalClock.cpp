#include "process/InternalClock.h"

#include "sonacore/Log.h"

#include <utility>

namespace process {

InternalClock::InternalClock(std::string name, QObject* parent)
    : QObject(parent), DataObjectBase(std::move(name)), timer(nullptr) {
    timer.setTimerType(Qt::PreciseTimer);
    // The timer is a member, so it lives and ticks on the clock's own thread.
    connect(&timer, SIGNAL(timeout()), this, SLOT(timerTimeout()), Qt::AutoConnection);
    sonacore::log::debug("InternalClock", sonacore::log::name(this->name), "Clock initialized!");
}

InternalClock::~InternalClock() = default;

bool InternalClock::isActive() const {
    return timer.timerId() >= 0;
}

int InternalClock::getInterval() const {
    return timer.interval();
}

std::string InternalClock::toString() const {
    return "InternalClock: " + name + "\n\tClock interval: " + std::to_string(getInterval()) +
           "\n\tActive: " + std::to_string(isActive() ? 1 : 0);
}

void InternalClock::start(int msec) {
    timer.start(msec);
    sonacore::log::debug("start", sonacore::log::name(name), "Clock started with interval of ", msec,
                         "milliseconds");
}

void InternalClock::stop() {
    timer.stop();
    sonacore::log::debug("stop", sonacore::log::name(name), "Clock stopped");
}

void InternalClock::timerTimeout() {
    emit clock();
}

} // namespace process
