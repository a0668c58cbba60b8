#include "process/Processor.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// The smallest processor: one that does nothing on its thread.
class IdleProcessor : public process::Processor {
    Q_OBJECT

public:
    explicit IdleProcessor(std::string name) : Processor(std::move(name), nullptr) {}

public slots:
    void progress() override {}
};

} // namespace

TEST(Processor, IsInactiveAfterConstruction) {
    IdleProcessor processor("P");
    EXPECT_FALSE(processor.isActive());
}

TEST(Processor, StartSetsTheFlagAndASecondStartChangesNothing) {
    IdleProcessor processor("P");
    testsupport::LogCapture capture;
    processor.start();
    EXPECT_TRUE(processor.isActive());
    processor.start();
    EXPECT_TRUE(processor.isActive());
    EXPECT_EQ(
        capture.texts(QtDebugMsg),
        (std::vector<std::string>{"start \"P\"  Processing started",
                                  "start \"P\"  Processing already started! No action will be performed!"}));
}

TEST(Processor, StopClearsTheFlagAndASecondStopChangesNothing) {
    IdleProcessor processor("P");
    processor.start();
    testsupport::LogCapture capture;
    processor.stop();
    EXPECT_FALSE(processor.isActive());
    processor.stop();
    EXPECT_EQ(capture.texts(QtDebugMsg),
              (std::vector<std::string>{"stop \"P\"  Processing stopped",
                                        "stop \"P\"  Processing not active! No action will be performed!"}));
}

TEST(Processor, EndLogsAndStopsAndBearsASecondCall) {
    IdleProcessor processor("P");
    processor.start();
    testsupport::LogCapture capture;
    processor.end();
    processor.end();
    EXPECT_FALSE(processor.isActive());
    EXPECT_EQ(capture.texts(QtDebugMsg),
              (std::vector<std::string>{"end \"P\"  End called!", "stop \"P\"  Processing stopped",
                                        "end \"P\"  End called!",
                                        "stop \"P\"  Processing not active! No action will be performed!"}));
}

TEST(Processor, TextShowsNameAndFlag) {
    IdleProcessor processor("P");
    EXPECT_EQ(processor.toString(), "Processor: P\n\tProcessor active (calculating?): 0");
    processor.start();
    EXPECT_EQ(processor.toString(), "Processor: P\n\tProcessor active (calculating?): 1");
}

#include "ProcessorTest.moc"
