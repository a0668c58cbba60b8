#include "process/InternalClock.h"
#include "support/EventLoop.h"
#include "support/LogCapture.h"

#include <QObject>
#include <QThread>

#include <gtest/gtest.h>

#include <string>
#include <vector>

TEST(InternalClock, ConstructionLogsAndLeavesTheTimerOff) {
    testsupport::LogCapture capture;
    process::InternalClock clock("C", nullptr);
    EXPECT_FALSE(clock.isActive());
    EXPECT_EQ(clock.getName(), "C");
    EXPECT_EQ(capture.texts(QtDebugMsg), std::vector<std::string>{"InternalClock \"C\" Clock initialized!"});
}

TEST(InternalClock, TicksArriveAsClockSignalsOnItsOwnThread) {
    process::InternalClock clock("C", nullptr);
    int ticks = 0;
    QThread* tickThread = nullptr;
    QObject::connect(&clock, &process::InternalClock::clock, [&] {
        ++ticks;
        tickThread = QThread::currentThread();
    });
    testsupport::LogCapture capture;
    clock.start(2);
    EXPECT_TRUE(clock.isActive());
    EXPECT_EQ(clock.getInterval(), 2);
    ASSERT_TRUE(testsupport::spinUntil([&] { return ticks >= 3; }));
    EXPECT_EQ(tickThread, QThread::currentThread());
    clock.stop();
    EXPECT_FALSE(clock.isActive());
    EXPECT_EQ(capture.texts(QtDebugMsg),
              (std::vector<std::string>{"start \"C\" Clock started with interval of  2 milliseconds",
                                        "stop \"C\" Clock stopped"}));
}

TEST(InternalClock, StopOfAClockThatNeverRanStillLogs) {
    process::InternalClock clock("C", nullptr);
    testsupport::LogCapture capture;
    clock.stop();
    EXPECT_EQ(capture.texts(QtDebugMsg), std::vector<std::string>{"stop \"C\" Clock stopped"});
}

TEST(InternalClock, TextShowsIntervalAndActivity) {
    process::InternalClock clock("C", nullptr);
    clock.start(250);
    EXPECT_EQ(clock.toString(), "InternalClock: C\n\tClock interval: 250\n\tActive: 1");
    clock.stop();
    EXPECT_EQ(clock.toString(), "InternalClock: C\n\tClock interval: 250\n\tActive: 0");
}
