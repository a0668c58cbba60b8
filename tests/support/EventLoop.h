#pragma once

#include <chrono>
#include <functional>

namespace testsupport {

// Runs the Qt event loop of the calling thread until the condition holds or the deadline passes. Returns
// whether the condition held.
bool spinUntil(const std::function<bool()>& condition,
               std::chrono::milliseconds deadline = std::chrono::milliseconds(5000));

// Runs the Qt event loop of the calling thread for the given time.
void spinFor(std::chrono::milliseconds duration);

} // namespace testsupport
