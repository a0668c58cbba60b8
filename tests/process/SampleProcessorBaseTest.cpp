#include "process/SampleProcessorBase.h"
#include "avb/AvbAudioBuffer.h"
#include "process/ProcessingTestSupport.h"
#include "process/WaveformConfig.h"
#include "sonacore/BufferConfiguration.h"
#include "support/EventLoop.h"
#include "support/LogCapture.h"
#include "threading/Controller.h"

#include <QObject>
#include <QThread>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace {

// What an analyser saw, kept apart from it because it is deleted on its own thread.
struct AnalyserRecord {
    struct Call {
        std::string clockName;
        std::size_t sampleAmount;
        bool active;
        QThread* thread;
        std::vector<float> samples;
    };

    void addCall(Call call) {
        std::lock_guard<std::mutex> lock(mutex);
        calls.push_back(std::move(call));
    }
    void addHandlerCall(std::string text) {
        std::lock_guard<std::mutex> lock(mutex);
        handlerCalls.push_back(std::move(text));
    }
    std::vector<Call> allCalls() const {
        std::lock_guard<std::mutex> lock(mutex);
        return calls;
    }
    std::size_t callCount() const {
        std::lock_guard<std::mutex> lock(mutex);
        return calls.size();
    }
    std::vector<std::string> allHandlerCalls() const {
        std::lock_guard<std::mutex> lock(mutex);
        return handlerCalls;
    }
    void clear() {
        std::lock_guard<std::mutex> lock(mutex);
        calls.clear();
        handlerCalls.clear();
    }

private:
    mutable std::mutex mutex;
    std::vector<Call> calls;
    std::vector<std::string> handlerCalls;
};

// An analyser that only records what reaches it: each calculation with its arguments, whether the processor
// was active, and the samples it fetched; and each change notice per handler.
class RecordingAnalyser : public process::SampleProcessorBase {
    Q_OBJECT

public:
    RecordingAnalyser(std::string name, process::SampleProcessorConfigBase& configuration,
                      avb::AvbAudioBuffer& buffer, std::shared_ptr<AnalyserRecord> record)
        : SampleProcessorBase(std::move(name), &configuration, &buffer, nullptr), record(std::move(record)) {}

    // The creation function of an analyser: build, then replay the configuration.
    static RecordingAnalyser* create(std::string name, process::SampleProcessorConfigBase& configuration,
                                     avb::AvbAudioBuffer& buffer, std::shared_ptr<AnalyserRecord> record) {
        auto* analyser = new RecordingAnalyser(std::move(name), configuration, buffer, std::move(record));
        configuration.notifyAllParameters();
        return analyser;
    }

public slots:
    void calculate(std::string clockName, std::size_t sampleAmount) override {
        AnalyserRecord::Call call{clockName, sampleAmount, isActive(), QThread::currentThread(), {}};
        if (call.active) {
            call.samples = fetchSamplesForClock();
        }
        record->addCall(std::move(call));
    }
    void calculate(std::string clockName) { SampleProcessorBase::calculate(std::move(clockName)); }
    void calculate() { SampleProcessorBase::calculate(); }
    void clockConfigurationChanged(std::string changedParameter) override {
        record->addHandlerCall("clock: " + changedParameter);
        SampleProcessorBase::clockConfigurationChanged(std::move(changedParameter));
    }
    void clockRefreshChanged(std::string changedParameter) override {
        record->addHandlerCall("refresh: " + changedParameter);
        SampleProcessorBase::clockRefreshChanged(std::move(changedParameter));
    }
    void sampleAmountChanged(std::string changedParameter) override {
        record->addHandlerCall("amount: " + changedParameter);
        SampleProcessorBase::sampleAmountChanged(std::move(changedParameter));
    }

private:
    std::shared_ptr<AnalyserRecord> record;
};

// The lines of one level whose text starts with one of the prefixes, in order.
std::vector<std::string> linesStartingWith(const testsupport::LogCapture& capture, QtMsgType level,
                                           const std::vector<std::string>& prefixes) {
    std::vector<std::string> result;
    for (const std::string& text : capture.texts(level)) {
        for (const std::string& prefix : prefixes) {
            if (text.rfind(prefix, 0) == 0) {
                result.push_back(text);
                break;
            }
        }
    }
    return result;
}

const std::string bufferName = "00a0c9112233_Ch0";
const std::string clockStarted = "start \"A\" Clock started with interval of ";
const std::string clockStopped = "stop \"A\" Clock stopped";
const std::string processingStarted = "start \"A\"  Processing started";
const std::string processingStopped = "stop \"A\"  Processing stopped";
const std::string notActive = "stop \"A\"  Processing not active! No action will be performed!";
const std::string restartWarning =
    "restartForClockChange \"A\" Processor will be restarted for clock change to take affect!";

class SampleProcessorBaseTest : public ::testing::Test {
protected:
    void SetUp() override { processingtest::registerTypes(); }

    sonacore::BufferConfiguration bufferConfiguration{"buffer configuration", 64, 4};
    avb::AvbAudioBuffer buffer{bufferName, &bufferConfiguration};
    std::shared_ptr<AnalyserRecord> record = std::make_shared<AnalyserRecord>();
};

} // namespace

TEST_F(SampleProcessorBaseTest, WithoutTheReplayNoClockSourceIsLinked) {
    process::WaveformConfig configuration("cfg", 4);
    auto* analyser = new RecordingAnalyser("A", configuration, buffer, record);
    EXPECT_TRUE(analyser->getXValues().empty());
    EXPECT_TRUE(analyser->getYValues().empty());
    threading::Controller controller(analyser);
    analyser->start();
    buffer.writeSamples({1.0f, 2.0f, 3.0f, 4.0f});
    ASSERT_TRUE(processingtest::drain(analyser));
    EXPECT_EQ(record->callCount(), 0U);
}

TEST_F(SampleProcessorBaseTest, TheReplaySizesTheVectorsAndLinksTheClockBeforeAnyStart) {
    process::WaveformConfig configuration("cfg", 6);
    testsupport::LogCapture capture;
    std::unique_ptr<RecordingAnalyser> analyser(
        RecordingAnalyser::create("A", configuration, buffer, record));
    EXPECT_EQ(analyser->getXValues(), std::vector<double>(6, 0.0));
    EXPECT_EQ(analyser->getYValues(), std::vector<double>(6, 0.0));
    EXPECT_FALSE(analyser->isActive());
    EXPECT_EQ(
        linesStartingWith(capture, QtDebugMsg, {"sampleAmountChanged", "clockRefreshChanged", "stop", "set"}),
        (std::vector<std::string>{"sampleAmountChanged \"A\" Processed amount of samples:  6",
                                  "clockRefreshChanged \"A\" Clock refresh rate set to:  500 ms", notActive,
                                  "setExternalClock \"A\" External clock active!"}));
}

TEST_F(SampleProcessorBaseTest, TheReplayOfAnInternalClockLinksTheTimerWithoutStartingIt) {
    process::WaveformConfig configuration("cfg", 4, 20);
    testsupport::LogCapture capture;
    std::unique_ptr<RecordingAnalyser> analyser(
        RecordingAnalyser::create("A", configuration, buffer, record));
    EXPECT_FALSE(analyser->getInternalClock().isActive());
    EXPECT_TRUE(
        capture.contains(QtDebugMsg, "setInternalClock \"A\" Internal clock active! Refresh rate:  20 ms"));
}

TEST_F(SampleProcessorBaseTest, EachNoticeReachesAllThreeHandlersAndOnlyItsOwnActs) {
    process::WaveformConfig configuration("cfg", 4, 20);
    std::unique_ptr<RecordingAnalyser> analyser(
        RecordingAnalyser::create("A", configuration, buffer, record));
    record->clear();

    testsupport::LogCapture capture;
    configuration.setSampleAmount(5);
    EXPECT_EQ(record->allHandlerCalls(),
              (std::vector<std::string>{"clock: SampleAmountChanged", "refresh: SampleAmountChanged",
                                        "amount: SampleAmountChanged"}));
    EXPECT_EQ(capture.texts(QtDebugMsg),
              std::vector<std::string>{"sampleAmountChanged \"A\" Processed amount of samples:  5"});

    record->clear();
    capture.clear();
    configuration.setRefreshRate(30);
    EXPECT_EQ(record->allHandlerCalls(),
              (std::vector<std::string>{"clock: ClockRefreshRateChanged", "refresh: ClockRefreshRateChanged",
                                        "amount: ClockRefreshRateChanged"}));
    EXPECT_EQ(capture.texts(QtDebugMsg),
              std::vector<std::string>{"clockRefreshChanged \"A\" Clock refresh rate set to:  30 ms"});

    record->clear();
    capture.clear();
    configuration.setClockType("External clock");
    EXPECT_EQ(record->allHandlerCalls(),
              (std::vector<std::string>{"clock: External clock", "refresh: External clock",
                                        "amount: External clock"}));
    EXPECT_EQ(capture.texts(QtDebugMsg),
              (std::vector<std::string>{notActive, "setExternalClock \"A\" External clock active!"}));
    EXPECT_EQ(analyser->getXValues().size(), 5U);
}

TEST_F(SampleProcessorBaseTest, AnUnknownNoticeChangesNothing) {
    process::WaveformConfig configuration("cfg", 4);
    std::unique_ptr<RecordingAnalyser> analyser(
        RecordingAnalyser::create("A", configuration, buffer, record));
    testsupport::LogCapture capture;
    emit configuration.configurationChanged("FFTOrderChanged");
    EXPECT_TRUE(capture.lines().empty());
    EXPECT_EQ(analyser->getXValues().size(), 4U);
}

TEST_F(SampleProcessorBaseTest, ProgressLogsAndLeavesTheThreadWaiting) {
    process::WaveformConfig configuration("cfg", 4);
    testsupport::LogCapture capture;
    auto* analyser = RecordingAnalyser::create("A", configuration, buffer, record);
    threading::Controller controller(analyser);
    ASSERT_TRUE(testsupport::spinUntil([&] {
        return capture.count(
                   QtDebugMsg,
                   "progress \"A\" Processor active! To start the calculation please start the processor!") ==
               1;
    }));
    EXPECT_TRUE(controller.isWorkerThreadRunning());
}

TEST_F(SampleProcessorBaseTest, TicksOfTheInternalClockReachCalculateOnTheWorkerThread) {
    process::WaveformConfig configuration("cfg", 4, 2);
    auto* analyser = RecordingAnalyser::create("A", configuration, buffer, record);
    threading::Controller controller(analyser);
    // Its opening line is out of the way before the capture.
    ASSERT_TRUE(processingtest::drain(analyser));
    buffer.writeSamples({1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f});

    testsupport::LogCapture capture;
    analyser->start();
    EXPECT_TRUE(analyser->getInternalClock().isActive());
    EXPECT_EQ(analyser->getInternalClock().getInterval(), 2);
    EXPECT_EQ(capture.texts(QtDebugMsg),
              (std::vector<std::string>{clockStarted + " 2 milliseconds", processingStarted}));

    ASSERT_TRUE(testsupport::spinUntil([&] { return record->callCount() >= 2; }));
    for (const auto& call : record->allCalls()) {
        EXPECT_EQ(call.clockName, "InternalClock");
        EXPECT_EQ(call.sampleAmount, 0U);
        EXPECT_NE(call.thread, QThread::currentThread());
        // The newest samples at the tick.
        EXPECT_EQ(call.samples, (std::vector<float>{3.0f, 4.0f, 5.0f, 6.0f}));
    }
}

TEST_F(SampleProcessorBaseTest, ARateAboveTheRangeOfIntReachesTheTimerWithItsLow32Bits) {
    process::WaveformConfig configuration("cfg", 4, (std::uint64_t{1} << 32) + 7);
    auto* analyser = RecordingAnalyser::create("A", configuration, buffer, record);
    threading::Controller controller(analyser);
    testsupport::LogCapture capture;
    analyser->start();
    EXPECT_EQ(analyser->getInternalClock().getInterval(), 7);
    EXPECT_TRUE(capture.contains(QtDebugMsg, clockStarted + " 7 milliseconds"));
}

TEST_F(SampleProcessorBaseTest, AChangeToTheExternalClockWhileRunningStopsTheTimerAndLinksTheBuffer) {
    process::WaveformConfig configuration("cfg", 4, 5);
    auto* analyser = RecordingAnalyser::create("A", configuration, buffer, record);
    threading::Controller controller(analyser);
    analyser->start();
    ASSERT_TRUE(analyser->getInternalClock().isActive());

    testsupport::LogCapture capture;
    configuration.setClockType("External clock");
    ASSERT_TRUE(testsupport::spinUntil(
        [&] { return capture.count(QtDebugMsg, "setExternalClock \"A\" External clock active!") == 1; }));
    ASSERT_TRUE(testsupport::spinUntil([&] { return !analyser->getInternalClock().isActive(); }));
    EXPECT_TRUE(analyser->isActive());
    EXPECT_EQ(capture.texts(QtWarningMsg), std::vector<std::string>{restartWarning});
    EXPECT_EQ(linesStartingWith(capture, QtDebugMsg, {"stop \"A\"  ", "start \"A\"  ", "setExternalClock"}),
              (std::vector<std::string>{processingStopped, processingStarted,
                                        "setExternalClock \"A\" External clock active!"}));
    EXPECT_EQ(capture.count(QtDebugMsg, clockStopped), 1U);
    EXPECT_TRUE(linesStartingWith(capture, QtDebugMsg, {clockStarted}).empty());

    // The buffer's signal now makes the calculation, with the buffer's name and signalling amount.
    ASSERT_TRUE(processingtest::drain(analyser));
    record->clear();
    buffer.writeSamples({1.0f, 2.0f, 3.0f, 4.0f});
    ASSERT_TRUE(testsupport::spinUntil([&] {
        for (const auto& call : record->allCalls()) {
            if (call.clockName == bufferName) {
                return true;
            }
        }
        return false;
    }));
    for (const auto& call : record->allCalls()) {
        if (call.clockName == bufferName) {
            EXPECT_EQ(call.sampleAmount, 4U);
            EXPECT_EQ(call.samples, (std::vector<float>{1.0f, 2.0f, 3.0f, 4.0f}));
        }
    }
}

TEST_F(SampleProcessorBaseTest, AChangeToTheInternalClockWhileRunningStartsTheTimerAtTheStoredRate) {
    process::WaveformConfig configuration("cfg", 4);
    auto* analyser = RecordingAnalyser::create("A", configuration, buffer, record);
    threading::Controller controller(analyser);
    analyser->start();

    testsupport::LogCapture capture;
    configuration.setRefreshRate(7);
    configuration.setClockType("Internal clock");
    ASSERT_TRUE(testsupport::spinUntil([&] { return analyser->getInternalClock().isActive(); }));
    EXPECT_EQ(analyser->getInternalClock().getInterval(), 7);
    ASSERT_TRUE(processingtest::drain(analyser));
    EXPECT_EQ(capture.texts(QtWarningMsg), std::vector<std::string>{restartWarning});
    EXPECT_TRUE(
        capture.contains(QtDebugMsg, "setInternalClock \"A\" Internal clock active! Refresh rate:  7 ms"));
    // No rate notice was sent on the way.
    EXPECT_TRUE(linesStartingWith(capture, QtDebugMsg, {"clockRefreshChanged"}).empty());
    EXPECT_EQ(linesStartingWith(capture, QtDebugMsg, {clockStarted}),
              std::vector<std::string>{clockStarted + " 7 milliseconds"});
}

TEST_F(SampleProcessorBaseTest, ASecondChangeToTheSameClockTypeRestartsNothing) {
    process::WaveformConfig configuration("cfg", 4, 5);
    auto* analyser = RecordingAnalyser::create("A", configuration, buffer, record);
    threading::Controller controller(analyser);
    analyser->start();
    ASSERT_TRUE(processingtest::drain(analyser));
    record->clear();

    testsupport::LogCapture capture;
    configuration.setClockType("Internal clock");
    ASSERT_TRUE(processingtest::drain(analyser));
    EXPECT_TRUE(record->allHandlerCalls().empty());
    EXPECT_TRUE(capture.texts(QtWarningMsg).empty());
    EXPECT_TRUE(linesStartingWith(capture, QtDebugMsg, {"stop", "start"}).empty());
    EXPECT_TRUE(analyser->getInternalClock().isActive());
}

TEST_F(SampleProcessorBaseTest, ANewRateWhileRunningRestartsTheProcessorAndTheTimer) {
    process::WaveformConfig configuration("cfg", 4, 50);
    auto* analyser = RecordingAnalyser::create("A", configuration, buffer, record);
    threading::Controller controller(analyser);
    analyser->start();

    testsupport::LogCapture capture;
    configuration.setRefreshRate(9);
    ASSERT_TRUE(testsupport::spinUntil([&] {
        return capture.count(QtDebugMsg, "clockRefreshChanged \"A\" Clock refresh rate set to:  9 ms") == 1;
    }));
    ASSERT_TRUE(testsupport::spinUntil([&] {
        return analyser->getInternalClock().isActive() && analyser->getInternalClock().getInterval() == 9;
    }));
    EXPECT_EQ(
        linesStartingWith(capture, QtDebugMsg, {"clockRefreshChanged", "stop \"A\"  ", "start \"A\"  "}),
        (std::vector<std::string>{
            "clockRefreshChanged \"A\" Processor active: Restarting processor to refresh clock rate change",
            processingStopped, processingStarted,
            "clockRefreshChanged \"A\" Clock refresh rate set to:  9 ms"}));
    EXPECT_EQ(linesStartingWith(capture, QtDebugMsg, {clockStarted, clockStopped}),
              (std::vector<std::string>{clockStopped, clockStarted + " 9 milliseconds"}));
    EXPECT_TRUE(analyser->isActive());
}

TEST_F(SampleProcessorBaseTest, ANewRateWhileInactiveIsOnlyLogged) {
    process::WaveformConfig configuration("cfg", 4, 50);
    auto* analyser = RecordingAnalyser::create("A", configuration, buffer, record);
    threading::Controller controller(analyser);
    testsupport::LogCapture capture;
    configuration.setRefreshRate(9);
    ASSERT_TRUE(processingtest::drain(analyser));
    EXPECT_EQ(linesStartingWith(capture, QtDebugMsg, {"clockRefreshChanged", "stop", "start"}),
              std::vector<std::string>{"clockRefreshChanged \"A\" Clock refresh rate set to:  9 ms"});
    EXPECT_FALSE(analyser->getInternalClock().isActive());
}

TEST_F(SampleProcessorBaseTest, StopUnderTheExternalClockStillStopsTheClock) {
    process::WaveformConfig configuration("cfg", 4);
    auto* analyser = RecordingAnalyser::create("A", configuration, buffer, record);
    threading::Controller controller(analyser);
    // Its opening line is out of the way before the capture.
    ASSERT_TRUE(processingtest::drain(analyser));
    analyser->start();
    testsupport::LogCapture capture;
    analyser->stop();
    EXPECT_EQ(capture.texts(QtDebugMsg), (std::vector<std::string>{clockStopped, processingStopped}));
}

TEST_F(SampleProcessorBaseTest, StartUnderTheExternalClockStartsNoTimer) {
    process::WaveformConfig configuration("cfg", 4);
    auto* analyser = RecordingAnalyser::create("A", configuration, buffer, record);
    threading::Controller controller(analyser);
    // Its opening line is out of the way before the capture.
    ASSERT_TRUE(processingtest::drain(analyser));
    testsupport::LogCapture capture;
    analyser->start();
    EXPECT_FALSE(analyser->getInternalClock().isActive());
    EXPECT_EQ(capture.texts(QtDebugMsg), std::vector<std::string>{processingStarted});
}

TEST_F(SampleProcessorBaseTest, BufferSignalsBeforeTheStartArriveAndAreDropped) {
    process::WaveformConfig configuration("cfg", 4);
    auto* analyser = RecordingAnalyser::create("A", configuration, buffer, record);
    threading::Controller controller(analyser);
    buffer.writeSamples({1.0f, 2.0f, 3.0f, 4.0f});
    ASSERT_TRUE(testsupport::spinUntil([&] { return record->callCount() == 1; }));
    EXPECT_FALSE(record->allCalls().front().active);
    EXPECT_TRUE(record->allCalls().front().samples.empty());
}

TEST_F(SampleProcessorBaseTest, AQueuedCalculateAfterStopReachesTheAnalyserWhichDropsIt) {
    process::WaveformConfig configuration("cfg", 4);
    auto* analyser = RecordingAnalyser::create("A", configuration, buffer, record);
    threading::Controller controller(analyser);
    analyser->start();

    processingtest::WorkerGate gate(analyser);
    ASSERT_TRUE(gate.waitEntered());
    buffer.writeSamples({1.0f, 2.0f, 3.0f, 4.0f});
    analyser->stop();
    gate.release();
    ASSERT_TRUE(processingtest::drain(analyser));
    ASSERT_EQ(record->callCount(), 1U);
    EXPECT_EQ(record->allCalls().front().clockName, bufferName);
    EXPECT_FALSE(record->allCalls().front().active);
}

TEST_F(SampleProcessorBaseTest, ALateCalculateUnderTheExternalClockStillGetsTheSignalledBlock) {
    process::WaveformConfig configuration("cfg", 4);
    auto* analyser = RecordingAnalyser::create("A", configuration, buffer, record);
    threading::Controller controller(analyser);
    analyser->start();

    processingtest::WorkerGate gate(analyser);
    ASSERT_TRUE(gate.waitEntered());
    buffer.writeSamples({1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f});
    gate.release();
    ASSERT_TRUE(processingtest::drain(analyser));
    ASSERT_EQ(record->callCount(), 1U);
    EXPECT_EQ(record->allCalls().front().samples, (std::vector<float>{1.0f, 2.0f, 3.0f, 4.0f}));
}

TEST_F(SampleProcessorBaseTest, ASampleAmountChangeWhileRunningResizesWithoutARestart) {
    process::WaveformConfig configuration("cfg", 4);
    auto* analyser = RecordingAnalyser::create("A", configuration, buffer, record);
    threading::Controller controller(analyser);
    analyser->start();

    testsupport::LogCapture capture;
    configuration.setSampleAmount(6);
    ASSERT_TRUE(processingtest::drain(analyser));
    EXPECT_EQ(analyser->getXValues(), std::vector<double>(6, 0.0));
    EXPECT_EQ(analyser->getYValues(), std::vector<double>(6, 0.0));
    EXPECT_EQ(linesStartingWith(capture, QtDebugMsg,
                                {"sampleAmountChanged", "clockRefreshChanged", "set", "stop", "start"}),
              std::vector<std::string>{"sampleAmountChanged \"A\" Processed amount of samples:  6"});
    EXPECT_TRUE(analyser->isActive());
}

TEST_F(SampleProcessorBaseTest, EndingARunningProcessorStopsItsClockAndItsDestructionFindsItStopped) {
    process::WaveformConfig configuration("cfg", 4, 5);
    testsupport::LogCapture capture;
    {
        auto* analyser = RecordingAnalyser::create("A", configuration, buffer, record);
        threading::Controller controller(analyser);
        analyser->start();
        capture.clear();
    }
    EXPECT_EQ(
        linesStartingWith(capture, QtDebugMsg, {"end", "stop"}),
        (std::vector<std::string>{"end \"A\"  End called!", clockStopped, processingStopped, notActive}));
}

TEST_F(SampleProcessorBaseTest, TextJoinsProcessorConfigurationAndClock) {
    process::WaveformConfig configuration("cfg", 4);
    std::unique_ptr<RecordingAnalyser> analyser(
        RecordingAnalyser::create("A", configuration, buffer, record));
    EXPECT_EQ(analyser->toString(), "Processor: A\n\tProcessor active (calculating?): 0\n" +
                                        configuration.toString() +
                                        "\nInternalClock: A\n\tClock interval: 0\n\tActive: 0");
}

#include "SampleProcessorBaseTest.moc"
