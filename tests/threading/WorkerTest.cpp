#include "threading/Worker.h"
#include "support/LogCapture.h"

#include <QDebug>
#include <QObject>
#include <QString>
#include <QThread>

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

class IdleWorker : public threading::Worker {
    Q_OBJECT

public:
    explicit IdleWorker(std::string name, QObject* parent = nullptr) : Worker(std::move(name), parent) {}
    std::string toString() const override { return "IdleWorker: " + getWorkerName(); }

public slots:
    void end() override {}
    void progress() override {}
};

// The text QDebug writes for a thread, as the base registerThreadChilds appends it.
std::string debugText(QThread* thread) {
    QString text;
    QDebug(&text) << thread;
    return text.trimmed().toStdString();
}

} // namespace

TEST(Worker, ConstructionAndDestructionLogTheQuotedName) {
    testsupport::LogCapture capture;
    { IdleWorker worker("Receiver eth0"); }
    EXPECT_EQ(capture.texts(QtDebugMsg), (std::vector<std::string>{"Worker \"Receiver eth0\" Initialized",
                                                                   "~Worker \"Receiver eth0\" DELETED"}));
    EXPECT_TRUE(capture.texts(QtWarningMsg).empty());
}

TEST(Worker, GetWorkerNameReturnsTheGivenName) {
    IdleWorker worker("SpectrumProcessor_00a0c9112233_0");
    EXPECT_EQ(worker.getWorkerName(), "SpectrumProcessor_00a0c9112233_0");
}

TEST(Worker, KeepsTheGivenParent) {
    QObject parent;
    auto* worker = new IdleWorker("child", &parent);
    EXPECT_EQ(worker->parent(), &parent);
}

TEST(Worker, BaseRegisterThreadChildsOnlyLogsWithTheCurrentThread) {
    IdleWorker worker("w");
    QThread target;
    testsupport::LogCapture capture;
    worker.registerThreadChilds(&target);
    EXPECT_EQ(
        capture.texts(QtDebugMsg),
        std::vector<std::string>{
            "registerThreadChilds \"w\" Method not derived. No extra thread childs will be added to thread " +
            debugText(QThread::currentThread())});
    EXPECT_EQ(worker.thread(), QThread::currentThread());
}

TEST(Worker, PrintsThroughTheDerivedText) {
    IdleWorker worker("w");
    QString text;
    QDebug(&text) << worker;
    EXPECT_EQ(text.trimmed().toStdString(), "IdleWorker: w");
}

#include "WorkerTest.moc"
