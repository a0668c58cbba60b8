#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace pcapplus {

// Watches, on a thread of its own, whether an adapter is still up while a capture loop runs on it. libpcap
// reports an adapter that disappears, but one that is taken down leaves its capture waiting for frames that
// never come, with no error; the watch notices both within `checkInterval` and calls `lost` once, on its
// own thread, with the reason in libpcap's words. `lost` must be quick and must not block: it breaks the
// capture loop and returns. A name that is not an interface up when the watch starts is not watched.
//
// Thread affinity: made and destroyed on the capture thread around its loop; the destructor stops the
// watch and waits for its thread (at most one check).
class LinkWatch {
public:
    static constexpr std::chrono::milliseconds checkInterval{200};

    LinkWatch(std::string deviceName, std::function<void(const std::string& reason)> lost);
    ~LinkWatch();

    LinkWatch(const LinkWatch&) = delete;
    LinkWatch& operator=(const LinkWatch&) = delete;

    // Empty while the adapter is up; "The interface went down" when it is not up, "The interface
    // disappeared" when no adapter of that name exists. Any thread.
    static std::string linkProblem(const std::string& deviceName);

private:
    void watch();

    const std::string deviceName;
    const std::function<void(const std::string&)> lost;
    std::mutex mutex;
    std::condition_variable wake;
    bool ending = false;
    std::thread thread;
};

} // namespace pcapplus
