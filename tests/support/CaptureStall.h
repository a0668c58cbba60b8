#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

namespace testsupport {

/// A stall of the capture thread, for a test hook around a packet receiver: the receiver calls frame() for
/// every frame it is handed, and the call that hands over frame number `atFrame` (counted from 0) blocks for
/// `duration` before the frame goes on, as a capture thread that is not scheduled, or a process that is
/// paged out or stopped in a debugger, would. Frames that arrive meanwhile wait in the kernel's capture ring.
///
/// Arm it before the stream starts; it stalls once. Thread-safe: frame() runs on the capture thread.
class CaptureStall {
public:
    void arm(std::uint64_t atFrame, std::chrono::milliseconds duration) {
        m_duration = duration;
        m_atFrame.store(atFrame);
    }

    /// Call with the number of the frame about to be handed on.
    void frame(std::uint64_t number) {
        if (number == m_atFrame.load()) {
            // The stall itself is what the test exercises, so a plain sleep is meant here.
            std::this_thread::sleep_for(m_duration);
            m_done.store(true);
        }
    }

    /// True once the stall has happened and ended.
    bool done() const { return m_done.load(); }

private:
    std::atomic<std::uint64_t> m_atFrame{UINT64_MAX};
    std::chrono::milliseconds m_duration{0};
    std::atomic<bool> m_done{false};
};

} // namespace testsupport
