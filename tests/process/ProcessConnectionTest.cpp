#include "process/ProcessConnection.h"
#include "sonacore/ChannelData.h"
#include "sonacore/IChannelData.h"
#include "sonacore/MeteringDataSource.h"
#include "support/EventLoop.h"
#include "support/LogCapture.h"
#include "threading/Controller.h"
#include "threading/Worker.h"

#include <QMetaType>
#include <QObject>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace {

// A worker that emits a result on its own thread each time the test asks it to, the way a processor does.
class ResultEmitter : public threading::Worker {
    Q_OBJECT

public:
    explicit ResultEmitter(std::string name) : Worker(std::move(name), nullptr) {}
    std::string toString() const override { return "ResultEmitter"; }

signals:
    // Emitted on the emitter's worker thread.
    void newProcessData(sonacore::ChannelData channel);
    // Emitted by the test thread; reaches deliver() queued on the worker thread.
    void deliverRequested(std::string channelName, double value);

public slots:
    void end() override {}
    void progress() override {}
    void deliver(std::string channelName, double value) {
        emittedOn = QThread::currentThread();
        emit newProcessData(sonacore::ChannelData(channelName, sonacore::VectorData({0.0}, {value})));
    }

public:
    std::atomic<QThread*> emittedOn{nullptr};
};

// The meta-types that queued results need, under the names the signals use.
void registerResultTypes() {
    qRegisterMetaType<std::string>("std::string");
    qRegisterMetaType<sonacore::ChannelData>("sonacore::ChannelData");
}

} // namespace

TEST(ProcessConnection, ConstructionLogsAndHasNoParent) {
    testsupport::LogCapture capture;
    process::ProcessConnection connection("socket A");
    EXPECT_EQ(capture.texts(QtDebugMsg), std::vector<std::string>{"ProcessConnection Object created"});
    EXPECT_EQ(connection.getName(), "socket A");
    EXPECT_EQ(connection.parent(), nullptr);
    EXPECT_EQ(connection.thread(), QThread::currentThread());
}

TEST(ProcessConnection, SetCallbackMethodLogs) {
    process::ProcessConnection connection("c");
    testsupport::LogCapture capture;
    connection.setCallbackMethod([](sonacore::ChannelData&) {});
    EXPECT_EQ(capture.texts(QtDebugMsg), std::vector<std::string>{"setCallbackMethod Callback initialized!"});
}

TEST(ProcessConnection, ResultWithoutCallbackIsWarnedAndDropped) {
    process::ProcessConnection connection("c");
    testsupport::LogCapture capture;
    connection.signalToCallbackConnector(sonacore::ChannelData());
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{
                  "signalToCallbackConnector Callback not initialized! Please set a valid callback"});
}

TEST(ProcessConnection, CallsTheStoredFunctionWithTheRecord) {
    process::ProcessConnection connection("c");
    std::vector<std::string> received;
    connection.setCallbackMethod([&](sonacore::ChannelData& data) { received.push_back(data.toString()); });
    connection.signalToCallbackConnector(sonacore::ChannelData("r", sonacore::VectorData({1.0}, {2.0})));
    EXPECT_EQ(received, std::vector<std::string>{"[r]\n[Vector (x,y)]\n\tx: 1\n\ty: 2"});
}

TEST(ProcessConnection, EmptyFunctionThrowsBadFunctionCall) {
    process::ProcessConnection connection("c");
    connection.setCallbackMethod(std::function<void(sonacore::ChannelData&)>());
    EXPECT_THROW(connection.signalToCallbackConnector(sonacore::ChannelData()), std::bad_function_call);
}

TEST(ProcessConnection, ResultEmittedOnAWorkerThreadIsDeliveredQueuedOnTheConnectionThread) {
    registerResultTypes();
    auto* emitter = new ResultEmitter("emitter");
    process::ProcessConnection connection("c");
    QObject::connect(emitter, &ResultEmitter::newProcessData, &connection,
                     &process::ProcessConnection::signalToCallbackConnector, Qt::AutoConnection);
    QObject::connect(emitter, &ResultEmitter::deliverRequested, emitter, &ResultEmitter::deliver,
                     Qt::QueuedConnection);

    std::vector<std::pair<std::string, std::vector<double>>> received;
    QThread* receivedOn = nullptr;
    connection.setCallbackMethod([&](sonacore::ChannelData& data) {
        receivedOn = QThread::currentThread();
        received.emplace_back(data.getName(), data.getVectorData().getY());
    });

    threading::Controller controller(emitter);
    emit emitter->deliverRequested("first", 1.5);
    ASSERT_TRUE(testsupport::spinUntil([&] { return !received.empty(); }));
    EXPECT_EQ(received, (std::vector<std::pair<std::string, std::vector<double>>>{{"first", {1.5}}}));
    EXPECT_EQ(receivedOn, QThread::currentThread());
    EXPECT_NE(emitter->emittedOn.load(), QThread::currentThread());
}

TEST(ProcessConnection, ResultBeforeHostBindsIsDroppedAndTheNextOneReachesTheHost) {
    registerResultTypes();
    sonacore::MeteringDataSource source("process A");
    process::ProcessConnection connection("socket A");
    // The connection receives its function before the host binds anything, in the order of adding a
    // processor.
    connection.setCallbackMethod(source.getChannelCallback());

    auto* emitter = new ResultEmitter("emitter");
    QObject::connect(emitter, &ResultEmitter::newProcessData, &connection,
                     &process::ProcessConnection::signalToCallbackConnector, Qt::AutoConnection);
    QObject::connect(emitter, &ResultEmitter::deliverRequested, emitter, &ResultEmitter::deliver,
                     Qt::QueuedConnection);
    threading::Controller controller(emitter);

    testsupport::LogCapture capture;
    const std::string droppedLine =
        "dummyCallback  Callback not bound!\n Delivered data:  [early]\n[Vector (x,y)]\n\tx: 0\n\ty: 1";
    emit emitter->deliverRequested("early", 1.0);
    ASSERT_TRUE(testsupport::spinUntil([&] { return capture.count(QtDebugMsg, droppedLine) == 1; }));

    std::vector<std::string> delivered;
    QThread* deliveredOn = nullptr;
    ASSERT_TRUE(source.bindChannelCallback([&](sonacore::IChannelData& data) {
        deliveredOn = QThread::currentThread();
        delivered.push_back(data.getName());
    }));
    emit emitter->deliverRequested("late", 2.0);
    ASSERT_TRUE(testsupport::spinUntil([&] { return !delivered.empty(); }));
    EXPECT_EQ(delivered, std::vector<std::string>{"late"});
    EXPECT_EQ(deliveredOn, QThread::currentThread());
    EXPECT_EQ(capture.count(QtDebugMsg, droppedLine), 1U);
}

#include "ProcessConnectionTest.moc"
