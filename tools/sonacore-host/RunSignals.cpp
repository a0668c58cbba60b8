#include "RunSignals.h"

#include <QCoreApplication>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <iostream>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace host {
namespace {

static_assert(std::atomic<int>::is_always_lock_free, "the signal handler needs a lock-free atomic");

std::atomic<int> ending{0};
// The self-pipe: the handler writes a byte to its write end, the event loop watches its read end.
int wakeRead = -1;
int wakeWrite = -1;

void note(int number) {
    int none = 0;
    ending.compare_exchange_strong(none, number);
}

// Async-signal-safe: an atomic exchange and write(2); errno is kept for the code the signal interrupted.
void onSignal(int number) {
    const int savedErrno = errno;
    note(number);
    if (wakeWrite >= 0) {
        const char byte = static_cast<char>(number);
        [[maybe_unused]] const ssize_t written = ::write(wakeWrite, &byte, 1);
    }
    errno = savedErrno;
}

// True when the standard output is a pipe whose reader has gone: poll reports POLLERR on such a write end.
bool outputPipeClosed() {
    struct stat status {};
    if (::fstat(STDOUT_FILENO, &status) != 0 || !S_ISFIFO(status.st_mode)) {
        return false;
    }
    pollfd output{STDOUT_FILENO, 0, 0};
    return ::poll(&output, 1, 0) > 0 && (output.revents & POLLERR) != 0;
}

void handle(int number, bool keepIgnored) {
    struct sigaction previous {};
    if (keepIgnored && ::sigaction(number, nullptr, &previous) == 0 && previous.sa_handler == SIG_IGN) {
        return;
    }
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    // A signal must not break off the waits of the set-up and the clean-up (waitpid for `ip`).
    action.sa_flags = SA_RESTART;
    ::sigaction(number, &action, nullptr);
}

} // namespace

void RunSignals::install() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) == 0) {
        wakeRead = ends[0];
        wakeWrite = ends[1];
    }
    handle(SIGINT, true);
    handle(SIGHUP, true);
    handle(SIGTERM, false);
    // Even where the parent ignored SIGPIPE the closed output ends the run: a write then fails with EPIPE,
    // and the watch on the pipe notices.
    handle(SIGPIPE, false);
}

int RunSignals::endingSignal() {
    if (ending.load() == 0 && outputPipeClosed()) {
        note(SIGPIPE);
    }
    return ending.load();
}

int RunSignals::exitStatus(int status) {
    const int number = endingSignal();
    return number != 0 ? 128 + number : status;
}

int RunSignals::finish(int status) {
    const int number = endingSignal();
    if (number == 0) {
        return status;
    }
    // What is still buffered goes out first; on a closed output this fails, which no longer matters.
    std::cout.flush();
    std::fflush(nullptr);
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    ::sigaction(number, &action, nullptr);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, number);
    ::pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
    ::raise(number);
    return 128 + number;
}

int RunSignals::wakeDescriptor() {
    return wakeRead;
}

EventLoopStop::EventLoopStop() : notifier(RunSignals::wakeDescriptor(), QSocketNotifier::Read) {
    notifier.setEnabled(false);
    connect(&notifier, &QSocketNotifier::activated, this, &EventLoopStop::check);
    connect(&outputWatch, &QTimer::timeout, this, &EventLoopStop::check);
}

void EventLoopStop::start(int intervalMs) {
    notifier.setEnabled(RunSignals::wakeDescriptor() >= 0);
    outputWatch.start(intervalMs);
    QTimer::singleShot(0, this, &EventLoopStop::check);
}

void EventLoopStop::check() {
    char bytes[64];
    while (wakeRead >= 0 && ::read(wakeRead, bytes, sizeof bytes) > 0) {
    }
    if (RunSignals::endRequested()) {
        QCoreApplication::quit();
    }
}

} // namespace host
