#include "support/LogCapture.h"

#include <QDebug>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

void quiet(QtMsgType, const QMessageLogContext&, const QString&) {}

} // namespace

TEST(LogCapture, KeepsTheLevelCategoryAndTextOfEachLine) {
    testsupport::LogCapture capture;
    QMessageLogger(nullptr, 0, nullptr, "default").debug().noquote() << "one line";
    QMessageLogger(nullptr, 0, nullptr, "default").warning().noquote() << "another";
    const auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].level, QtDebugMsg);
    EXPECT_EQ(lines[0].category, "default");
    EXPECT_EQ(lines[0].text, "one line");
    EXPECT_EQ(lines[1].level, QtWarningMsg);
    EXPECT_EQ(lines[1].text, "another");
}

// A worker thread of the library may log at the moment a test's capture ends; under AddressSanitizer a line
// written into the ended capture shows as a use after free.
TEST(LogCapture, ALineLoggedOnAnotherThreadWhileTheCaptureEndsNeverReachesAnEndedCapture) {
    const QtMessageHandler outer = qInstallMessageHandler(quiet);
    std::atomic<bool> logging{true};
    std::thread worker([&logging] {
        while (logging.load()) {
            QMessageLogger(nullptr, 0, nullptr, "default").debug().noquote() << "from the worker";
        }
    });
    // Each capture ends while the worker is busy writing into it: it has taken lines before.
    for (int round = 0; round < 2000; ++round) {
        testsupport::LogCapture capture;
        while (capture.lines().empty()) {
            std::this_thread::yield();
        }
        for (const auto& line : capture.lines()) {
            EXPECT_EQ(line.text, "from the worker");
        }
    }
    logging = false;
    worker.join();
    qInstallMessageHandler(outer);
}
