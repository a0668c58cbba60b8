// Every way out of the built-in demo, as a user meets it: Ctrl-C, SIGTERM, a closed terminal (SIGHUP) and a
// reader of its output that goes away (`sonacore-host | head -3`) each end the run with its own exit status,
// and only after the clean-up: no namespace, no capture end and no talker left, the record flushed and the
// snapshot written. A run killed by SIGKILL cannot clean up; the next demo run removes what it left, and
// leaves alone the namespace of a run that still goes on.
#include "RunningHost.h"
#include "TmuxPane.h"

#include "StaleSandboxSweeper.h"
#include "support/ChildProcess.h"
#include "support/EventLoop.h"
#include "support/NetnsFixture.h"

#include <QImage>
#include <QString>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <optional>
#include <ostream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

using host::StaleSandboxSweeper;
using hosttest::DemoNames;
using hosttest::namespaceExists;
using hosttest::processesWithArgument;
using hosttest::RunningHost;
using testsupport::ChildProcess;
using testsupport::NetnsFixture;

namespace {

using namespace std::chrono_literals;

// The demo needs a few seconds to start and settle, more under the sanitizers; its duration is far longer,
// so that only the way out under test can end it.
constexpr std::chrono::milliseconds startDeadline = 30s;
constexpr std::chrono::milliseconds endDeadline = 30s;
constexpr const char* longRun = "300";
// A plain line of channel 0's levels: audio arrives.
const std::regex audioLine("t= *[0-9.]+s ch0 dBA SPL f +-?[0-9]");

std::vector<std::string> fileLines(const std::string& path) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string fileText(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// A process of its own that the test starts and ends: `program arguments...`, reaped by the destructor.
class Process {
public:
    explicit Process(std::vector<std::string> command) {
        std::vector<char*> argv;
        for (std::string& argument : command) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        if (::posix_spawnp(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0) {
            pid = -1;
        }
    }
    ~Process() {
        if (pid > 0) {
            ::kill(pid, SIGKILL);
            reap();
        }
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t processId() const { return pid; }

    // Waits for the process to end; its status as a shell shows it.
    int reap() {
        int status = 0;
        ::waitpid(pid, &status, 0);
        pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    // True when it ended by itself or by a signal within `timeout`; it is reaped then.
    bool endsWithin(std::chrono::milliseconds timeout) {
        return testsupport::spinUntil(
            [this] {
                int status = 0;
                if (::waitpid(pid, &status, WNOHANG) == pid) {
                    pid = -1;
                    return true;
                }
                return false;
            },
            timeout);
    }

private:
    pid_t pid = -1;
};

// The pid of a process that has ended and been reaped: the pid of a run killed long ago.
pid_t deadPid() {
    Process ended({"true"});
    const pid_t pid = ended.processId();
    ended.reap();
    return pid;
}

ChildProcess::Result ip(const std::vector<std::string>& arguments) {
    std::vector<std::string> command{testsupport::ipProgram()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return ChildProcess::run(command);
}

class HostEndingTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) {
            const std::string message = "The built-in demo needs root";
            if (NetnsFixture::runningInCi()) {
                FAIL() << message << " [CI=true, so this is a failure and not a skip]";
            }
            GTEST_SKIP() << message;
        }
        ASSERT_TRUE(folder.isValid());
    }

    void TearDown() override {
        // What a test planted, should the run under test not have removed it: the processes inside first,
        // which would keep the namespace and its pair alive.
        for (const std::string& name : planted) {
            std::istringstream pids(ip({"netns", "pids", name}).output);
            for (long pid = 0; pids >> pid;) {
                ::kill(static_cast<pid_t>(pid), SIGKILL);
            }
            ip({"link", "del", "scd" + name.substr(name.rfind('-') + 1) + "h"});
            ip({"netns", "del", name});
            StaleSandboxSweeper::forgetOwner(name);
        }
    }

    std::string path(const std::string& name) const {
        return folder.filePath(QString::fromStdString(name)).toStdString();
    }

    // Starts the demo with a record and a snapshot and waits for its audio.
    void startDemo(RunningHost& host) const {
        std::string error;
        ASSERT_TRUE(host.start({"--talker", NetnsFixture::talkerPath(), "--duration", longRun, "--record",
                                path("record.csv"), "--snapshot", path("snapshot.png")},
                               error))
            << error;
        std::string line;
        ASSERT_TRUE(host.waitForOutput(audioLine, startDeadline, line)) << host.diagnosis();
        const DemoNames names(host.processId());
        ASSERT_TRUE(namespaceExists(names.namespaceName)) << host.diagnosis();
        ASSERT_FALSE(processesWithArgument(names.talkerEnd).empty()) << host.diagnosis();
    }

    // A run of the demo to its end, one second long.
    static ChildProcess::Result shortDemo() {
        return ChildProcess::run(
            {SONACORE_HOST_PATH, "--talker", NetnsFixture::talkerPath(), "--duration", "1"}, 60s);
    }

    // Plants a demo namespace as a run of `owner` would have left it: the namespace, the veth pair and a
    // process inside the namespace in the place of the talker, which the returned Process owns.
    std::unique_ptr<Process> plant(pid_t owner) {
        const DemoNames names(owner);
        planted.push_back(names.namespaceName);
        const ChildProcess::Result made = ip({"netns", "add", names.namespaceName});
        EXPECT_EQ(made.exitStatus, 0) << made.output;
        const ChildProcess::Result pair = ip({"link", "add", names.captureEnd, "type", "veth", "peer", "name",
                                              names.talkerEnd, "netns", names.namespaceName});
        EXPECT_EQ(pair.exitStatus, 0) << pair.output;
        // A shell that names the talker's end among its arguments, as the talker's command line does.
        return std::make_unique<Process>(std::vector<std::string>{testsupport::ipProgram(), "netns", "exec",
                                                                  names.namespaceName, "sh", "-c",
                                                                  "sleep 300; true", names.talkerEnd});
    }

    // The demo's record holds the header and every row the run reports having recorded, and the snapshot is
    // an image of the stated size: both outlived the way out.
    void expectRecordAndSnapshot(const RunningHost& host, bool reported) const {
        const std::vector<std::string> lines = fileLines(path("record.csv"));
        ASSERT_GT(lines.size(), 1u) << host.diagnosis();
        EXPECT_EQ(lines[0].rfind("utc,seconds,channel,kind,", 0), 0u);
        if (reported) {
            std::smatch match;
            ASSERT_TRUE(std::regex_search(
                host.output(), match, std::regex("Recorded ([0-9]+) level rows and ([0-9]+) spectrum rows")))
                << host.diagnosis();
            EXPECT_EQ(lines.size(), 1 + std::stoul(match[1]) + std::stoul(match[2]));
            EXPECT_NE(host.output().find("Snapshot of 1200x700 pixels written to " + path("snapshot.png")),
                      std::string::npos)
                << host.diagnosis();
        }
        const QImage image(QString::fromStdString(path("snapshot.png")), "PNG");
        ASSERT_FALSE(image.isNull()) << host.diagnosis();
        EXPECT_EQ(image.width(), 1200);
        EXPECT_EQ(image.height(), 700);
    }

    QTemporaryDir folder;
    std::vector<std::string> planted;
};

struct SignalCase {
    std::string name;
    int signal;
    int status;
};

void PrintTo(const SignalCase& row, std::ostream* out) {
    *out << row.name;
}

class HostSignalEndingTest : public HostEndingTest, public ::testing::WithParamInterface<SignalCase> {};

TEST_P(HostSignalEndingTest, EndsWithItsStatusAfterTheCleanUp) {
    RunningHost host;
    ASSERT_NO_FATAL_FAILURE(startDemo(host));
    const DemoNames names(host.processId());
    // As the terminal sends it: to the job's whole process group.
    host.signalGroup(GetParam().signal);
    EXPECT_EQ(host.waitForExit(endDeadline), GetParam().status) << host.diagnosis();
    EXPECT_TRUE(names.allGone()) << host.diagnosis();
    expectRecordAndSnapshot(host, true);
}

INSTANTIATE_TEST_SUITE_P(Signals, HostSignalEndingTest,
                         ::testing::Values(SignalCase{"CtrlC", SIGINT, 130},
                                           SignalCase{"Sigterm", SIGTERM, 143},
                                           SignalCase{"ClosedTerminal", SIGHUP, 129}),
                         [](const ::testing::TestParamInfo<SignalCase>& info) { return info.param.name; });

// `sonacore-host --duration 300 | head -3`: head reads three lines and ends, and the host with it.
TEST_F(HostEndingTest, ClosedOutputEndsTheRunWith141AfterTheCleanUp) {
    RunningHost host;
    ASSERT_NO_FATAL_FAILURE(startDemo(host));
    const DemoNames names(host.processId());
    host.closeOutput();
    EXPECT_EQ(host.waitForExit(endDeadline), 141) << host.diagnosis();
    EXPECT_LT(host.seconds(), 60.0);
    EXPECT_TRUE(names.allGone()) << host.diagnosis();
    // The run's report went to the closed output; the files themselves are whole.
    expectRecordAndSnapshot(host, false);
}

// Discovery writes nothing while it listens: the closed pipe is noticed all the same.
TEST_F(HostEndingTest, ClosedOutputEndsAListeningThatWritesNothing) {
    RunningHost host;
    std::string error;
    ASSERT_TRUE(
        host.start({"--talker", NetnsFixture::talkerPath(), "--discover", "--seconds", longRun}, error))
        << error;
    const DemoNames names(host.processId());
    ASSERT_TRUE(testsupport::spinUntil([&] { return !processesWithArgument(names.talkerEnd).empty(); },
                                       startDeadline))
        << host.diagnosis();
    host.closeOutput();
    EXPECT_EQ(host.waitForExit(endDeadline), 141) << host.diagnosis();
    EXPECT_TRUE(names.allGone()) << host.diagnosis();
}

// Ctrl-C on `sonacore-host | cat` in a terminal: the signal reaches both, cat ends at once, and the host's
// clean-up then writes into a closed pipe; the first way out, Ctrl-C, gives the status.
TEST_F(HostEndingTest, CtrlCOnAPipeToCatEndsWith130AfterTheCleanUp) {
    {
        std::ofstream script(path("run.sh"));
        script << "trap 'true' INT\n"
               << SONACORE_HOST_PATH << " --talker " << NetnsFixture::talkerPath() << " --duration "
               << longRun << " | cat\n"
               << "echo \"host ended with ${PIPESTATUS[0]}\" > " << path("status.part") << "\n"
               << "mv " << path("status.part") << " " << path("status") << "\n"
               << "sleep 600\n";
    }
    hosttest::TmuxPane pane("ending");
    std::string error;
    ASSERT_TRUE(pane.start(160, 50, "bash " + path("run.sh"), error)) << error;
    std::string namespaceName;
    ASSERT_TRUE(pane.shows(
        [&](const std::string& screen) {
            std::smatch match;
            if (!std::regex_search(screen, match, std::regex("namespace (sonacore-demo-[0-9]+)")) ||
                !std::regex_search(screen, audioLine)) {
                return false;
            }
            namespaceName = match[1].str();
            return true;
        },
        "the demo's namespace and its audio", startDeadline));
    const DemoNames names(static_cast<pid_t>(std::stol(namespaceName.substr(namespaceName.rfind('-') + 1))));
    ASSERT_TRUE(namespaceExists(names.namespaceName));
    pane.press("C-c");
    ASSERT_TRUE(testsupport::spinUntil([&] { return !fileText(path("status")).empty(); }, endDeadline))
        << pane.screen();
    EXPECT_EQ(fileText(path("status")), "host ended with 130\n") << pane.screen();
    EXPECT_TRUE(names.allGone()) << pane.screen();
}

// A run killed by SIGKILL leaves its namespace, its pair and its talker; the next demo run removes them.
TEST_F(HostEndingTest, WhatAKilledRunLeftIsRemovedByTheNextRun) {
    RunningHost killed;
    ASSERT_NO_FATAL_FAILURE(startDemo(killed));
    const DemoNames names(killed.processId());
    killed.signalHost(SIGKILL);
    ASSERT_EQ(killed.waitForExit(endDeadline), 137);
    ASSERT_TRUE(namespaceExists(names.namespaceName));
    ASSERT_FALSE(processesWithArgument(names.talkerEnd).empty());

    const ChildProcess::Result next = shortDemo();
    EXPECT_EQ(next.exitStatus, 0) << next.output;
    EXPECT_NE(next.output.find("Removed the namespace " + names.namespaceName +
                               " that an ended run left behind.\n"),
              std::string::npos)
        << next.output;
    EXPECT_TRUE(testsupport::spinUntil([&] { return static_cast<bool>(names.allGone()); }, 5s))
        << names.allGone().message();
    EXPECT_FALSE(hosttest::fileExists(StaleSandboxSweeper::recordPath(names.namespaceName)));
}

// A namespace named after a pid that no process has any longer, as a run killed before this version of
// the monitor kept records left it: removed with what runs inside it.
TEST_F(HostEndingTest, PlantedNamespaceOfADeadPidIsRemovedByTheNextRun) {
    const pid_t owner = deadPid();
    const std::unique_ptr<Process> inside = plant(owner);
    const DemoNames names(owner);
    ASSERT_TRUE(namespaceExists(names.namespaceName));

    const ChildProcess::Result next = shortDemo();
    EXPECT_EQ(next.exitStatus, 0) << next.output;
    EXPECT_TRUE(inside->endsWithin(5s));
    EXPECT_TRUE(names.allGone());
}

// The namespace of a run that still goes on is its own: the next run leaves it, and its run, alone.
TEST_F(HostEndingTest, NamespaceOfARunningOwnerIsLeftAlone) {
    RunningHost owner;
    ASSERT_NO_FATAL_FAILURE(startDemo(owner));
    const DemoNames names(owner.processId());

    const ChildProcess::Result next = shortDemo();
    EXPECT_EQ(next.exitStatus, 0) << next.output;
    EXPECT_EQ(next.output.find("Removed the namespace " + names.namespaceName), std::string::npos)
        << next.output;
    EXPECT_TRUE(namespaceExists(names.namespaceName));
    EXPECT_FALSE(processesWithArgument(names.talkerEnd).empty());
    // Its lines go on.
    EXPECT_TRUE(owner.waitForMoreOutput(owner.output().size(), 5s)) << owner.diagnosis();

    owner.signalGroup(SIGTERM);
    EXPECT_EQ(owner.waitForExit(endDeadline), 143) << owner.diagnosis();
    EXPECT_TRUE(names.allGone());
}

// A pid that a new process took over after the namespace's owner ended: its name is not the monitor's, or
// its start time is not the one recorded, and the namespace is removed; a record that names the running
// process keeps it.
TEST_F(HostEndingTest, NamespaceOfAReusedPidIsRemovedByTheNextRun) {
    Process reused({"sleep", "300"});
    const pid_t pid = reused.processId();
    ASSERT_GT(pid, 0);
    const DemoNames names(pid);
    const std::optional<StaleSandboxSweeper::Identity> identity = StaleSandboxSweeper::identify(pid);
    ASSERT_TRUE(identity.has_value());

    // Without a record: the process under the pid is not named sonacore-host.
    std::unique_ptr<Process> inside = plant(pid);
    ChildProcess::Result next = shortDemo();
    EXPECT_EQ(next.exitStatus, 0) << next.output;
    EXPECT_FALSE(namespaceExists(names.namespaceName)) << next.output;
    EXPECT_TRUE(inside->endsWithin(5s));

    // A record of an owner that started at another time.
    inside = plant(pid);
    {
        std::ofstream record(StaleSandboxSweeper::recordPath(names.namespaceName));
        record << pid << " " << identity->startTicks + 1 << " " << identity->bootId << "\n";
    }
    next = shortDemo();
    EXPECT_EQ(next.exitStatus, 0) << next.output;
    EXPECT_FALSE(namespaceExists(names.namespaceName)) << next.output;
    EXPECT_FALSE(hosttest::fileExists(StaleSandboxSweeper::recordPath(names.namespaceName)));
    EXPECT_TRUE(inside->endsWithin(5s));

    // A record of the process that runs: its owner still goes on.
    inside = plant(pid);
    ASSERT_TRUE(StaleSandboxSweeper::recordOwner(names.namespaceName, pid));
    next = shortDemo();
    EXPECT_EQ(next.exitStatus, 0) << next.output;
    EXPECT_TRUE(namespaceExists(names.namespaceName)) << next.output;
    EXPECT_FALSE(inside->endsWithin(100ms));
}

} // namespace
