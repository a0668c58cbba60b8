#include "process/Processor.h"

#include "sonacore/Log.h"

#include <utility>

namespace process {

Processor::Processor(std::string name, QObject* parent) : Worker(std::move(name), parent), active(false) {}

Processor::~Processor() = default;

std::string Processor::toString() const {
    return "Processor: " + getWorkerName() +
           "\n\tProcessor active (calculating?): " + std::to_string(static_cast<int>(isActive()));
}

bool Processor::isActive() const {
    return active.load();
}

void Processor::end() {
    sonacore::log::debug("end", sonacore::log::name(getWorkerName()), " End called!");
    stop();
}

// Test and change are one step, so that a start from the host and a restart on the worker thread after a
// clock change cannot both count as the first.
void Processor::start() {
    bool expected = false;
    if (!active.compare_exchange_strong(expected, true)) {
        sonacore::log::debug("start", sonacore::log::name(getWorkerName()),
                             " Processing already started! No action will be performed!");
        return;
    }
    sonacore::log::debug("start", sonacore::log::name(getWorkerName()), " Processing started");
}

void Processor::stop() {
    if (active.exchange(false)) {
        sonacore::log::debug("stop", sonacore::log::name(getWorkerName()), " Processing stopped");
        return;
    }
    sonacore::log::debug("stop", sonacore::log::name(getWorkerName()),
                         " Processing not active! No action will be performed!");
}

} // namespace process
