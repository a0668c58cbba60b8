#include "engine/processing/ProcessorHandle.h"
#include "support/LogCapture.h"

#include <QObject>

#include <gtest/gtest.h>

#include <string>
#include <vector>

TEST(ProcessorHandle, ConstructionLogsAndLeavesItUnboundAndInactive) {
    testsupport::LogCapture capture;
    engine::processing::ProcessorHandle handle("WaveformProcessor_00a0c9112233_0", nullptr);
    EXPECT_FALSE(handle.isBound());
    EXPECT_FALSE(handle.isActive());
    EXPECT_EQ(handle.getUniqueId(), "WaveformProcessor_00a0c9112233_0");
    EXPECT_EQ(capture.texts(QtDebugMsg), std::vector<std::string>{"ProcessorHandle Handle initialized!"});
}

TEST(ProcessorHandle, StartAndStopEmitTheUniqueId) {
    engine::processing::ProcessorHandle handle("ID", nullptr);
    std::vector<std::string> received;
    QObject::connect(
        &handle, qOverload<std::string>(&engine::processing::ProcessorHandle::start), &handle,
        [&](std::string id) { received.push_back("start " + id); }, Qt::DirectConnection);
    QObject::connect(
        &handle, qOverload<std::string>(&engine::processing::ProcessorHandle::stop), &handle,
        [&](std::string id) { received.push_back("stop " + id); }, Qt::DirectConnection);
    handle.start();
    handle.stop();
    EXPECT_EQ(received, (std::vector<std::string>{"start ID", "stop ID"}));
}

TEST(ProcessorHandle, IsActiveAnswersWithTheActivityFunction) {
    engine::processing::ProcessorHandle handle("ID", nullptr);
    bool flag = true;
    handle.setActivityFunction([&] { return flag; });
    EXPECT_TRUE(handle.isActive());
    flag = false;
    EXPECT_FALSE(handle.isActive());
}

TEST(ProcessorHandle, BindingOnlyStoresTheFlag) {
    engine::processing::ProcessorHandle handle("ID", nullptr);
    handle.setActivityFunction([] { return true; });
    testsupport::LogCapture capture;
    handle.setHandleBound(true);
    EXPECT_TRUE(handle.isBound());
    EXPECT_TRUE(handle.isActive());
    EXPECT_TRUE(capture.lines().empty());
}

TEST(ProcessorHandle, UnbindingTakesAwayTheAnswerAndTheLinks) {
    engine::processing::ProcessorHandle handle("ID", nullptr);
    int reached = 0;
    QObject::connect(
        &handle, qOverload<std::string>(&engine::processing::ProcessorHandle::start), &handle,
        [&](std::string) { ++reached; }, Qt::DirectConnection);
    QObject::connect(
        &handle, qOverload<std::string>(&engine::processing::ProcessorHandle::stop), &handle,
        [&](std::string) { ++reached; }, Qt::DirectConnection);
    handle.setActivityFunction([] { return true; });
    handle.setHandleBound(true);

    testsupport::LogCapture capture;
    handle.setHandleBound(false);
    EXPECT_FALSE(handle.isBound());
    EXPECT_FALSE(handle.isActive());
    EXPECT_EQ(capture.texts(QtDebugMsg), std::vector<std::string>{"setHandleBound Handle unbound!"});
    handle.start();
    handle.stop();
    EXPECT_EQ(reached, 0);
}

TEST(ProcessorHandle, TextNamesTheUniqueId) {
    engine::processing::ProcessorHandle handle("ID", nullptr);
    EXPECT_EQ(handle.toString(), "ProcessorHandle\n\tControlled Processor UID: ID");
}
