#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

namespace testsupport {

// Stalls of the capture thread, for a test hook around a packet receiver: the receiver calls frame() for
// every frame it is handed, and the call that hands over an armed frame number (counted from 0) blocks for
// the armed duration before the frame goes on, as a capture thread that is not scheduled, or a process that
// is paged out or stopped in a debugger, would. Frames that arrive meanwhile wait in the kernel's capture
// ring, or are dropped there when it is full.
//
// Up to four stalls; arm them before the stream starts. Thread-safe: frame() runs on the capture thread.
class CaptureStall {
public:
    void arm(std::uint64_t atFrame, std::chrono::milliseconds duration) {
        Slot& slot = stallSlots[armedCount++ % stallSlots.size()];
        slot.duration = duration;
        slot.atFrame.store(atFrame);
    }

    // Call with the number of the frame about to be handed on.
    void frame(std::uint64_t number) {
        for (Slot& slot : stallSlots) {
            if (number == slot.atFrame.load()) {
                // The stall itself is what the test exercises, so a plain sleep is meant here.
                std::this_thread::sleep_for(slot.duration);
                doneCount.fetch_add(1);
            }
        }
    }

    // How many stalls have happened and ended.
    unsigned done() const { return doneCount.load(); }

private:
    struct Slot {
        std::atomic<std::uint64_t> atFrame{UINT64_MAX};
        std::chrono::milliseconds duration{0};
    };

    std::array<Slot, 4> stallSlots;
    unsigned armedCount = 0;
    std::atomic<unsigned> doneCount{0};
};

} // namespace testsupport
