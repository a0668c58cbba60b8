#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

namespace host {

// The ways a run is ended from outside, and the exit status each gives: Ctrl-C (SIGINT) 130, SIGTERM 143, a
// closed terminal (SIGHUP) 129, and a closed standard output 141, as for SIGPIPE, whether a write met the
// closed pipe (SIGPIPE, EPIPE) or the reader of the pipe went away while nothing was written (`| head -3`).
//
// None of them ends the program where it stands: the handler only notes the first signal and writes a byte
// to a pipe of its own (write(2) and a lock-free atomic, both safe in a signal handler, on whichever thread
// the kernel picked), and the program then ends its run the usual way, so that the demo's namespace and
// talker are removed, the record file is flushed and the snapshot is written. After that cleanup `finish`
// ends the process by the same signal, its default action restored, so that the shell sees 128 + its
// number and a script's loop stops at Ctrl-C as it does for any program.
//
// SIGINT and SIGHUP that were ignored when the program started (`nohup`, a background job of a script) stay
// ignored. The handlers are reset to the defaults in the programs the host starts (ip, the talker).
class RunSignals {
public:
    // Installs the handlers and the pipe. Called once, first thing in main, before any thread runs.
    static void install();

    // The signal that ends the run, 0 while there is none: the first of SIGINT, SIGTERM, SIGHUP and SIGPIPE
    // that arrived, SIGPIPE also once the standard output is a pipe whose reader has gone. Any thread.
    static int endingSignal();
    static bool endRequested() { return endingSignal() != 0; }

    // The exit status of the run: 128 + the ending signal when there is one, `status` otherwise.
    static int exitStatus(int status);

    // Called last, after every clean-up: when a signal ended the run, flushes the output and ends the
    // process by that signal; otherwise, and should the signal not end it, returns exitStatus(status).
    static int finish(int status);

    // Readable once a signal has arrived; for the event loop.
    static int wakeDescriptor();
};

// Quits the Qt event loop once the run is to end from outside (see RunSignals). Lives on the host's thread
// for the event loop's run.
class EventLoopStop : public QObject {
public:
    EventLoopStop();

    // Starts watching: the signals' pipe at once, the standard output every `intervalMs`. A signal that came
    // before is acted on as soon as the event loop runs.
    void start(int intervalMs);

private:
    void check();

    QSocketNotifier notifier;
    // A closed pipe on the standard output is noticed within this time also when nothing is written.
    QTimer outputWatch;
};

} // namespace host
