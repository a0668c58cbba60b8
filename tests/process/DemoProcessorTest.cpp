#include "process/DemoProcessor.h"
#include "exceptions/SonaCoreException.h"
#include "process/DemoConfig.h"
#include "process/ProcessConnection.h"
#include "process/ProcessingTestSupport.h"
#include "process/WaveformConfig.h"
#include "support/EventLoop.h"
#include "support/LogCapture.h"
#include "threading/Controller.h"

#include <QObject>

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

// A generator whose passes a test runs one by one on its own thread, without the pause.
class SteppedGenerator : public process::DemoProcessor {
public:
    SteppedGenerator(process::DemoConfig* configuration) : DemoProcessor("stepped", configuration, nullptr) {}

    std::vector<processingtest::Delivery> runPasses(std::size_t passes) {
        std::vector<processingtest::Delivery> deliveries;
        const auto connection =
            QObject::connect(this, &process::Processor::newProcessData, [&](sonacore::ChannelData data) {
                deliveries.push_back(processingtest::Delivery{data.getName(), data.getVectorData().getX(),
                                                              data.getVectorData().getY()});
            });
        for (std::size_t pass = 0; pass < passes; ++pass) {
            runPass();
        }
        QObject::disconnect(connection);
        return deliveries;
    }
    std::size_t pauses = 0;

protected:
    void pauseAfterDelivery() override { ++pauses; }
};

// A generator on its own thread, as the engine's generator path runs it: set active before the thread opens.
class RunningGenerator {
public:
    RunningGenerator(process::DemoConfig& configuration, bool activeBeforeThread) {
        processingtest::registerTypes();
        generator = new process::DemoProcessor("generator", &configuration, nullptr);
        QObject::connect(generator, &process::Processor::newProcessData, &connection,
                         &process::ProcessConnection::signalToCallbackConnector, Qt::AutoConnection);
        QObject::connect(
            generator, &threading::Worker::finished, &connection, [this] { finished.store(true); },
            Qt::DirectConnection);
        connection.setCallbackMethod(deliveries.callback());
        if (activeBeforeThread) {
            generator->start();
        }
        controller = std::make_unique<threading::Controller>(generator);
    }

    process::ProcessConnection connection{"generator connection"};
    processingtest::Deliveries deliveries;
    process::DemoProcessor* generator = nullptr;
    std::atomic<bool> finished{false};
    std::unique_ptr<threading::Controller> controller;
};

const std::string channelName = "DemoProcessor (SinGen) - stepped";

} // namespace

TEST(DemoProcessor, NameTextAndStartingState) {
    process::DemoConfig configuration("demo", 3);
    process::DemoProcessor generator("sine", &configuration, nullptr);
    EXPECT_EQ(generator.getWorkerName(), "DemoProcessor (SinGen) - sine");
    EXPECT_FALSE(generator.isActive());
    EXPECT_EQ(generator.getPhase(), 0.0);
    EXPECT_EQ(generator.toString(),
              "Processor: DemoProcessor (SinGen) - sine\n\tProcessor active (calculating?): 0\n"
              "DemoConfig: demo\n\tProcessor type: DemoProcessor\n\tAmplitude: 3");
}

TEST(DemoProcessor, FirstDeliveryCarriesTheInitialElementInFrontThenOnePointEach) {
    process::DemoConfig configuration("demo", 3);
    SteppedGenerator generator(&configuration);
    const std::vector<processingtest::Delivery> deliveries = generator.runPasses(50);
    ASSERT_EQ(deliveries.size(), 50U);
    EXPECT_EQ(deliveries[0].name, channelName);
    EXPECT_EQ(deliveries[0].x, (std::vector<double>{100.0, 0.1}));
    EXPECT_EQ(deliveries[0].y, (std::vector<double>{100.0, 0.0}));
    // The x values accumulate by repeated addition, so the reference does the same; y is taken at the phase
    // before the step.
    // The phase is a sum of n steps of 0.1 in double, each rounded by at most half a unit at the phase
    // (below 1e-15 for phases up to a few units); the sine of amplitude 3 carries that on, far below this.
    constexpr double sineOfSummedPhase = 1e-12;
    double phase = 0.1;
    for (std::size_t n = 2; n <= deliveries.size(); ++n) {
        const double before = phase;
        phase = phase + 0.1;
        const processingtest::Delivery& delivery = deliveries[n - 1];
        EXPECT_EQ(delivery.name, channelName);
        ASSERT_EQ(delivery.x.size(), 1U) << "delivery " << n;
        ASSERT_EQ(delivery.y.size(), 1U) << "delivery " << n;
        EXPECT_EQ(delivery.x[0], phase) << "delivery " << n;
        EXPECT_EQ(delivery.y[0], 3.0 * std::sin(before)) << "delivery " << n;
        EXPECT_NEAR(delivery.y[0],
                    static_cast<double>(3.0L * std::sin(static_cast<long double>(n - 1) * 0.1L)),
                    sineOfSummedPhase)
            << "delivery " << n;
    }
}

TEST(DemoProcessor, ADeliveryAndAPauseFollowEveryPass) {
    process::DemoConfig configuration("demo", 2);
    SteppedGenerator generator(&configuration);
    EXPECT_EQ(generator.runPasses(7).size(), 7U);
    EXPECT_EQ(generator.pauses, 7U);
}

TEST(DemoProcessor, AmplitudeZeroDeliversZerosApartFromTheInitialElement) {
    process::DemoConfig configuration("demo", 0);
    SteppedGenerator generator(&configuration);
    const std::vector<processingtest::Delivery> deliveries = generator.runPasses(20);
    ASSERT_EQ(deliveries.size(), 20U);
    EXPECT_EQ(deliveries[0].y, (std::vector<double>{100.0, 0.0}));
    for (std::size_t n = 1; n < deliveries.size(); ++n) {
        EXPECT_EQ(deliveries[n].y, std::vector<double>{0.0});
    }
}

TEST(DemoProcessor, TheAmplitudeIsReadAfreshOnEveryPass) {
    process::DemoConfig configuration("demo", 1);
    SteppedGenerator generator(&configuration);
    generator.runPasses(2);
    configuration.setAmplitude(1000);
    const std::vector<processingtest::Delivery> deliveries = generator.runPasses(1);
    ASSERT_EQ(deliveries.size(), 1U);
    EXPECT_EQ(deliveries[0].y[0], 1000.0 * std::sin(0.1 + 0.1));
}

TEST(DemoProcessor, AfterAThousandPassesThePhaseIsAboutOneHundredAndStillRises) {
    process::DemoConfig configuration("demo", 2);
    SteppedGenerator generator(&configuration);
    generator.runPasses(1000);
    // 1000 additions of 0.1 in double, each rounded by at most half a unit at 100 (7.1e-15), and 0.1 itself
    // off by 5.6e-18 each time: below 1e-11 in all.
    constexpr double thousandSteps = 1e-9;
    EXPECT_NEAR(generator.getPhase(), 100.0, thousandSteps);
    const double before = generator.getPhase();
    generator.runPasses(1);
    EXPECT_GT(generator.getPhase(), before);
}

TEST(DemoProcessor, CreateConvertsTheConfigurationAndBuildsAnInactiveGenerator) {
    process::DemoConfig configuration("demo", 2);
    std::unique_ptr<process::Processor> processor(process::DemoProcessor::create("made", configuration));
    ASSERT_NE(dynamic_cast<process::DemoProcessor*>(processor.get()), nullptr);
    EXPECT_EQ(processor->getWorkerName(), "DemoProcessor (SinGen) - made");
    EXPECT_FALSE(processor->isActive());
}

TEST(DemoProcessor, CreateRefusesSettingsOfAnotherProcessor) {
    process::WaveformConfig waveform("wave", 64);
    testsupport::LogCapture capture;
    const std::string text =
        "Argument from processor type 'WaveformProcessor' doesn't matchthe processor type "
        "'DemoProcessor' which is needed for the convert progress!";
    try {
        process::DemoProcessor::create("made", waveform);
        FAIL() << "no exception";
    } catch (const exceptions::InstanceNotConvertable& error) {
        EXPECT_EQ(std::string(error.what()), text);
    }
    EXPECT_EQ(capture.texts(QtWarningMsg), Texts{"fromBase " + text});
}

TEST(DemoProcessor, ActiveBeforeItsThreadOpensItLoopsUntilStoppedAndLogsBothEnds) {
    process::DemoConfig configuration("demo", 2);
    testsupport::LogCapture capture;
    RunningGenerator running(configuration, true);
    ASSERT_TRUE(testsupport::spinUntil([&] { return running.deliveries.count() >= 3; }));
    EXPECT_FALSE(running.finished.load());
    running.generator->stop();
    ASSERT_TRUE(testsupport::spinUntil([&] { return running.finished.load(); }));
    const std::size_t delivered = running.deliveries.count();
    testsupport::spinFor(std::chrono::milliseconds(150));
    EXPECT_EQ(running.deliveries.count(), delivered);

    const processingtest::Delivery first = running.deliveries.at(0);
    EXPECT_EQ(first.name, "DemoProcessor (SinGen) - generator");
    EXPECT_EQ(first.x, (std::vector<double>{100.0, 0.1}));
    EXPECT_EQ(capture.count(QtDebugMsg, "progress \"DemoProcessor (SinGen) - generator\"  Processor ACTIVE"),
              1U);
    EXPECT_EQ(capture.count(QtDebugMsg, "progress \"DemoProcessor (SinGen) - generator\" Processor FINISHED"),
              1U);
}

TEST(DemoProcessor, NotActiveWhenItsThreadOpensItFinishesAtOnceAndAStartDoesNotLoopAgain) {
    process::DemoConfig configuration("demo", 2);
    RunningGenerator running(configuration, false);
    ASSERT_TRUE(testsupport::spinUntil([&] { return running.finished.load(); }));
    running.generator->start();
    EXPECT_TRUE(running.generator->isActive());
    testsupport::spinFor(std::chrono::milliseconds(200));
    EXPECT_EQ(running.deliveries.count(), 0U);
}

TEST(DemoProcessor, EndingItsControllerEndsARunningLoop) {
    process::DemoConfig configuration("demo", 2);
    RunningGenerator running(configuration, true);
    ASSERT_TRUE(testsupport::spinUntil([&] { return running.deliveries.count() >= 1; }));
    running.controller.reset();
    EXPECT_TRUE(running.finished.load());
}
