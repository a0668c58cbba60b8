#include "engine/processing/ProcessorEngine.h"
#include "avb/AvbAudioBuffer.h"
#include "engine/processing/ProcessorFactory.h"
#include "engine/processing/ProcessorHandle.h"
#include "engine/processing/ProcessorHandleManager.h"
#include "engine/processing/ProcessorSocket.h"
#include "exceptions/SonaCoreException.h"
#include "process/DemoConfig.h"
#include "process/DemoProcessor.h"
#include "process/ProcessingTestSupport.h"
#include "process/Processor.h"
#include "process/SoundLevelValueConfig.h"
#include "process/SoundLevelValueProcessor.h"
#include "process/SpectrumConfig.h"
#include "process/SpectrumProcessor.h"
#include "process/WaveformConfig.h"
#include "process/WaveformProcessor.h"
#include "sonacore/BufferConfiguration.h"
#include "sonacore/ProcessConfiguration.h"
#include "support/EventLoop.h"
#include "support/LogCapture.h"

#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

const std::string device = "00a0c9112233";
const std::string idChannel0 = "WaveformProcessor_00a0c9112233_0";
const std::string idChannel1 = "WaveformProcessor_00a0c9112233_1";

// Two channels of one device, a waveform configuration and a process configuration for each channel.
class ProcessingFixture : public ::testing::Test {
protected:
    void SetUp() override { processingtest::registerTypes(); }

    // Writes one block to a channel and waits until the collector has one more delivery.
    bool deliverBlock(avb::AvbAudioBuffer& channel, processingtest::Deliveries& collector,
                      const std::vector<float>& block) {
        const std::size_t before = collector.count();
        channel.writeSamples(block);
        return testsupport::spinUntil([&] { return collector.count() > before; });
    }

    // Waits until the processor of a unique ID has opened its thread, so that its opening line is logged.
    static bool settled(engine::processing::ProcessorEngine& processorEngine, const std::string& uniqueId) {
        return processingtest::drain(processorEngine.findSocket(uniqueId)->getProcessor());
    }

    sonacore::BufferConfiguration bufferConfiguration{"buffer configuration", 64, 4};
    avb::AvbAudioBuffer channel0{device + "_Ch0", &bufferConfiguration};
    avb::AvbAudioBuffer channel1{device + "_Ch1", &bufferConfiguration};
    process::WaveformConfig waveform{"waveform", 4};
    process::WaveformConfig otherWaveform{"other waveform", 4};
    sonacore::ProcessConfiguration processA{"proc A", &waveform, device, 0};
    sonacore::ProcessConfiguration processB{"proc B", &otherWaveform, device, 0};
    sonacore::ProcessConfiguration processOnChannel1{"proc C", &waveform, device, 1};
};

using ProcessorEngineTest = ProcessingFixture;
using ProcessorSocketTest = ProcessingFixture;
using ProcessorHandleManagerTest = ProcessingFixture;
using ProcessorFactoryTest = ProcessingFixture;

} // namespace

TEST_F(ProcessorFactoryTest, TheBufferTableBuildsTheWaveformProcessorComplete) {
    EXPECT_EQ(engine::processing::ProcessorFactory::definitionsWithBuffer().count("WaveformProcessor"), 1U);
    EXPECT_EQ(engine::processing::ProcessorFactory::definitionsWithBuffer().count("DemoProcessor"), 0U);
    engine::processing::ProcessorFactory factory;
    std::unique_ptr<process::Processor> processor(factory.createProcessor("P", waveform, channel0));
    auto* waveformProcessor = dynamic_cast<process::WaveformProcessor*>(processor.get());
    ASSERT_NE(waveformProcessor, nullptr);
    EXPECT_EQ(waveformProcessor->getWorkerName(), "P");
    EXPECT_EQ(waveformProcessor->getXValues().size(), 4U);
    EXPECT_EQ(processor->parent(), nullptr);
}

TEST_F(ProcessorFactoryTest, TheBufferTableBuildsTheSpectrumAndSoundLevelProcessors) {
    EXPECT_EQ(engine::processing::ProcessorFactory::definitionsWithBuffer().size(), 3U);
    engine::processing::ProcessorFactory factory;
    process::SpectrumConfig spectrum("spectrum", 64);
    spectrum.setFftOrder(5);
    std::unique_ptr<process::Processor> spectrumProcessor(factory.createProcessor("S", spectrum, channel0));
    ASSERT_NE(dynamic_cast<process::SpectrumProcessor*>(spectrumProcessor.get()), nullptr);
    EXPECT_EQ(spectrumProcessor->getWorkerName(), "S");
    process::SoundLevelValueConfig level("level", 24);
    std::unique_ptr<process::Processor> levelProcessor(factory.createProcessor("L", level, channel0));
    ASSERT_NE(dynamic_cast<process::SoundLevelValueProcessor*>(levelProcessor.get()), nullptr);
    EXPECT_EQ(levelProcessor->getWorkerName(), "L");
}

TEST_F(ProcessorFactoryTest, AnUnknownTypeIsWarnedAboutAndThrows) {
    engine::processing::ProcessorFactory factory;
    process::DemoConfig demo;
    testsupport::LogCapture capture;
    const std::string text = "There is no definition available to build a processor of type: DemoProcessor";
    try {
        factory.createProcessor("P", demo, channel0);
        FAIL() << "no exception";
    } catch (const exceptions::InstanceNotCreateable& error) {
        EXPECT_EQ(std::string(error.what()), text);
    }
    // A processor that needs a buffer is no definition of the table without one.
    EXPECT_THROW(factory.createProcessor("P", waveform), exceptions::InstanceNotCreateable);
    EXPECT_EQ(capture.texts(QtWarningMsg),
              (std::vector<std::string>{"createProcessor " + text,
                                        "createProcessor There is no definition available to build a "
                                        "processor of type: WaveformProcessor"}));
}

TEST_F(ProcessorFactoryTest, TheTableWithoutBufferBuildsTheSineGeneratorInactive) {
    EXPECT_EQ(engine::processing::ProcessorFactory::definitions().size(), 1U);
    EXPECT_EQ(engine::processing::ProcessorFactory::definitions().count("DemoProcessor"), 1U);
    engine::processing::ProcessorFactory factory;
    process::DemoConfig demo;
    std::unique_ptr<process::Processor> processor(factory.createProcessor("G", demo));
    ASSERT_NE(dynamic_cast<process::DemoProcessor*>(processor.get()), nullptr);
    EXPECT_EQ(processor->getWorkerName(), "DemoProcessor (SinGen) - G");
    EXPECT_FALSE(processor->isActive());
    EXPECT_EQ(processor->parent(), nullptr);
}

TEST_F(ProcessorSocketTest, ConstructionRunsTheProcessorOnItsOwnThreadAndLogs) {
    engine::processing::ProcessorFactory factory;
    process::Processor* processor = factory.createProcessor("proc A", waveform, channel0);
    testsupport::LogCapture capture;
    engine::processing::ProcessorSocket socket("proc A", idChannel0, processor);
    EXPECT_TRUE(capture.contains(QtDebugMsg, "ProcessorSocket \"proc A\" Created!"));
    EXPECT_TRUE(capture.contains(QtDebugMsg, "ProcessConnection Object created"));
    EXPECT_NE(processor->thread(), QThread::currentThread());
    EXPECT_EQ(socket.getProcessConnection()->thread(), QThread::currentThread());
    EXPECT_EQ(socket.getProcessConnection()->getName(), "proc A");
    EXPECT_EQ(socket.getName(), "proc A");
    EXPECT_EQ(socket.getUniqueId(), idChannel0);
    EXPECT_EQ(socket.getProcessor(), processor);
    EXPECT_FALSE(processor->isActive());
    EXPECT_EQ(socket.toString(), "ProcessorSocket: proc A\n" + processor->toString());
}

TEST_F(ProcessorSocketTest, AHandleReachesTheProcessorOnlyForTheSocketsUniqueId) {
    engine::processing::ProcessorFactory factory;
    process::Processor* processor = factory.createProcessor("proc A", waveform, channel0);
    engine::processing::ProcessorHandle matching(idChannel0, nullptr);
    engine::processing::ProcessorHandle other("another ID", nullptr);
    engine::processing::ProcessorSocket socket("proc A", idChannel0, processor);
    socket.setProcessorHandle(other);
    other.start();
    EXPECT_FALSE(processor->isActive());
    socket.setProcessorHandle(matching);
    EXPECT_TRUE(matching.isBound());
    matching.start();
    EXPECT_TRUE(processor->isActive());
    EXPECT_TRUE(matching.isActive());
    matching.stop();
    EXPECT_FALSE(processor->isActive());
}

TEST_F(ProcessorHandleManagerTest, BindingMakesOneHandlePerUniqueIdAndLogs) {
    engine::processing::ProcessorFactory factory;
    engine::processing::ProcessorHandleManager manager;
    engine::processing::ProcessorSocket socket("proc A", idChannel0,
                                               factory.createProcessor("proc A", waveform, channel0));
    ASSERT_TRUE(processingtest::drain(socket.getProcessor()));
    testsupport::LogCapture capture;
    engine::processing::ProcessorHandle* handle = manager.bindHandle(&socket);
    EXPECT_TRUE(handle->isBound());
    EXPECT_EQ(handle->getUniqueId(), idChannel0);
    EXPECT_EQ(capture.texts(QtDebugMsg),
              (std::vector<std::string>{"ProcessorHandle Handle initialized!",
                                        "addHandle Created new Processor handle with unique ID ' " +
                                            idChannel0 + " ' and added to processor socket:  proc A"}));
    EXPECT_EQ(manager.toString(),
              "ProcessorHandleManager\n\tList of managed processor handles (UID's):\n\t\t" + idChannel0 +
                  "\n");
    manager.deactivateProcessorHandle(&socket);
}

TEST_F(ProcessorHandleManagerTest, EnablingAHandleThatIsStillBoundIsRefused) {
    engine::processing::ProcessorFactory factory;
    engine::processing::ProcessorHandleManager manager;
    engine::processing::ProcessorSocket socket("proc A", idChannel0,
                                               factory.createProcessor("proc A", waveform, channel0));
    manager.addHandle(&socket);
    testsupport::LogCapture capture;
    const std::string text = "Processor handle with unique ID '" + idChannel0 +
                             "' is already bound and cannot be bind to processor socket: proc A";
    try {
        manager.enableHandle(&socket);
        FAIL() << "no exception";
    } catch (const exceptions::ResourceNotAvailable& error) {
        EXPECT_EQ(std::string(error.what()), text);
    }
    EXPECT_EQ(capture.texts(QtWarningMsg), std::vector<std::string>{"enableHandle " + text});
    manager.deactivateProcessorHandle(&socket);
}

TEST_F(ProcessorHandleManagerTest, EnablingAnUnknownIdThrowsOutOfRange) {
    engine::processing::ProcessorFactory factory;
    engine::processing::ProcessorHandleManager manager;
    engine::processing::ProcessorSocket socket("proc A", idChannel0,
                                               factory.createProcessor("proc A", waveform, channel0));
    EXPECT_THROW(manager.enableHandle(&socket), std::out_of_range);
}

TEST_F(ProcessorHandleManagerTest, DeactivatingAnUnknownIdIsWarnedAboutAndAnswersFalse) {
    engine::processing::ProcessorFactory factory;
    engine::processing::ProcessorHandleManager manager;
    engine::processing::ProcessorSocket socket("proc A", idChannel0,
                                               factory.createProcessor("proc A", waveform, channel0));
    testsupport::LogCapture capture;
    EXPECT_FALSE(manager.deactivateProcessorHandle(&socket));
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{
                  "deactivateProcessorHandle Processor handle with unique ID ' " + idChannel0 +
                  " ' is not available and cannot be deactiaved by processor socket:  proc A"});
}

TEST_F(ProcessorHandleManagerTest, DestructionDeletesTheHandlesAndLogs) {
    testsupport::LogCapture capture;
    { engine::processing::ProcessorHandleManager manager; }
    EXPECT_EQ(capture.texts(QtDebugMsg),
              (std::vector<std::string>{"~ProcessorHandleManager Processor handles cleared!",
                                        "~ProcessorHandleManager Deleted!"}));
}

TEST_F(ProcessorEngineTest, AddProcessorBuildsAnInactiveProcessorAndReturnsABoundHandle) {
    engine::processing::ProcessorEngine processorEngine;
    testsupport::LogCapture capture;
    engine::processing::ProcessorHandle* handle = processorEngine.addProcessor(processA, &channel0);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->getUniqueId(), idChannel0);
    EXPECT_TRUE(handle->isBound());
    EXPECT_FALSE(handle->isActive());
    ASSERT_NE(processorEngine.findSocket(idChannel0), nullptr);
    EXPECT_NE(processorEngine.findSocket(idChannel0)->getProcessor()->thread(), QThread::currentThread());
    EXPECT_TRUE(capture.contains(QtDebugMsg, "ProcessorSocket \"proc A\" Created!"));
    EXPECT_TRUE(capture.contains(QtDebugMsg,
                                 "addProcessor Successfully added new Processor instance ' proc A ' for "
                                 "streaming device ' 00a0c9112233 ' processing channel:  0"));
    EXPECT_TRUE(capture.contains(QtDebugMsg, "addHandle Created new Processor handle with unique ID ' " +
                                                 idChannel0 + " ' and added to processor socket:  proc A"));
    EXPECT_TRUE(capture.texts(QtWarningMsg).empty());
}

TEST_F(ProcessorEngineTest, AStartedProcessorDeliversTheChannelsSamplesToItsProcessConnection) {
    engine::processing::ProcessorEngine processorEngine;
    engine::processing::ProcessorHandle* handle = processorEngine.addProcessor(processA, &channel0);
    processingtest::Deliveries deliveries;
    processorEngine.getProcessConnection(handle)->setCallbackMethod(deliveries.callback());
    handle->start();
    EXPECT_TRUE(handle->isActive());
    ASSERT_TRUE(deliverBlock(channel0, deliveries, {0.5f, 0.25f, -0.75f, 1.0f}));
    ASSERT_TRUE(deliverBlock(channel0, deliveries, {0.1f, 0.2f, 0.3f, 0.4f}));
    EXPECT_EQ(deliveries.at(1).name, "proc A");
    EXPECT_EQ(deliveries.at(1).x, (std::vector<double>{0.0, 1.0, 2.0, 3.0}));
    EXPECT_EQ(deliveries.at(1).y, processingtest::asDoubles({0.1f, 0.2f, 0.3f, 0.4f}));
}

TEST_F(ProcessorEngineTest, ASecondConfigurationOfTheSameTypeDeviceAndChannelIsRefusedAndTheFirstRunsOn) {
    engine::processing::ProcessorEngine processorEngine;
    engine::processing::ProcessorHandle* handle = processorEngine.addProcessor(processA, &channel0);
    processingtest::Deliveries deliveries;
    processorEngine.getProcessConnection(handle)->setCallbackMethod(deliveries.callback());
    handle->start();
    ASSERT_TRUE(settled(processorEngine, idChannel0));

    testsupport::LogCapture capture;
    try {
        processorEngine.addProcessor(processB, &channel0);
        FAIL() << "no exception";
    } catch (const exceptions::ProcessorAlreadyExists& error) {
        EXPECT_EQ(std::string(error.what()),
                  "Processor for the given process configuration 'proc B' already exists");
        EXPECT_EQ(error.getProcessorUniqueId(), idChannel0);
    }
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{
                  "addProcessor Processor for the given process configuration 'proc B' already "
                  "exists  by processor unique ID:  " +
                  idChannel0});
    // Refused before any processor, socket or handle was made, and before the handle manager was asked.
    EXPECT_TRUE(capture.texts(QtDebugMsg).empty());
    EXPECT_TRUE(handle->isBound());
    EXPECT_TRUE(handle->isActive());
    ASSERT_TRUE(deliverBlock(channel0, deliveries, {1.0f, 2.0f, 3.0f, 4.0f}));
    EXPECT_EQ(deliveries.at(0).name, "proc A");
}

TEST_F(ProcessorEngineTest, TheSameTypeOnAnotherChannelIsANewProcessor) {
    engine::processing::ProcessorEngine processorEngine;
    engine::processing::ProcessorHandle* first = processorEngine.addProcessor(processA, &channel0);
    engine::processing::ProcessorHandle* second = processorEngine.addProcessor(processOnChannel1, &channel1);
    EXPECT_NE(first, second);
    EXPECT_EQ(second->getUniqueId(), idChannel1);
    processingtest::Deliveries deliveries;
    processorEngine.getProcessConnection(second)->setCallbackMethod(deliveries.callback());
    second->start();
    EXPECT_FALSE(first->isActive());
    ASSERT_TRUE(deliverBlock(channel1, deliveries, {9.0f, 8.0f, 7.0f, 6.0f}));
    EXPECT_EQ(deliveries.at(0).name, "proc C");
}

TEST_F(ProcessorEngineTest, AfterRemoveProcessorTheHandleIsUnboundAndInactive) {
    engine::processing::ProcessorEngine processorEngine;
    engine::processing::ProcessorHandle* handle = processorEngine.addProcessor(processA, &channel0);
    handle->start();
    ASSERT_TRUE(settled(processorEngine, idChannel0));
    testsupport::LogCapture capture;
    processorEngine.removeProcessor(handle);
    EXPECT_FALSE(handle->isBound());
    EXPECT_FALSE(handle->isActive());
    EXPECT_EQ(handle->getUniqueId(), idChannel0);
    EXPECT_EQ(processorEngine.findSocket(idChannel0), nullptr);
    const std::vector<std::string> lines = capture.texts(QtDebugMsg);
    ASSERT_GE(lines.size(), 4U);
    EXPECT_EQ(lines[0], "setHandleBound Handle unbound!");
    EXPECT_EQ(lines[1], "deactivateProcessorHandle Processor handle with unique ID ' " + idChannel0 +
                            " ' is unbound now!");
    // The socket ends a running processor by itself; the host need not stop it first.
    EXPECT_TRUE(capture.contains(QtDebugMsg, "end \"proc A\"  End called!"));
    EXPECT_TRUE(capture.contains(QtDebugMsg, "stop \"proc A\"  Processing stopped"));
    EXPECT_TRUE(capture.contains(QtDebugMsg, "~Worker \"proc A\" DELETED"));
}

TEST_F(ProcessorEngineTest, StartStopAndEngineStopAfterRemoveProcessorReachNothing) {
    engine::processing::ProcessorEngine processorEngine;
    engine::processing::ProcessorHandle* handle = processorEngine.addProcessor(processA, &channel0);
    handle->start();
    processorEngine.removeProcessor(handle);
    testsupport::LogCapture capture;
    handle->start();
    handle->stop();
    processorEngine.stop();
    EXPECT_FALSE(handle->isActive());
    EXPECT_EQ(capture.texts(QtDebugMsg), std::vector<std::string>{"stop Processor engine stopped!"});
}

TEST_F(ProcessorEngineTest, AddingTheSameIdAgainReturnsTheSameHandleBoundToTheNewProcessorOnly) {
    engine::processing::ProcessorEngine processorEngine;
    engine::processing::ProcessorHandle* handle = processorEngine.addProcessor(processA, &channel0);
    processorEngine.removeProcessor(handle);

    testsupport::LogCapture capture;
    engine::processing::ProcessorHandle* again = processorEngine.addProcessor(processB, &channel0);
    EXPECT_EQ(again, handle);
    EXPECT_TRUE(handle->isBound());
    EXPECT_FALSE(handle->isActive());
    EXPECT_TRUE(capture.contains(QtDebugMsg, "enableHandle Processor handle with unique ID ' " + idChannel0 +
                                                 " ' reactivated to processor socket:  proc B"));
    EXPECT_EQ(capture.count(QtDebugMsg, "ProcessorHandle Handle initialized!"), 0U);

    processingtest::Deliveries deliveries;
    processorEngine.getProcessConnection(handle)->setCallbackMethod(deliveries.callback());
    ASSERT_TRUE(settled(processorEngine, idChannel0));
    capture.clear();
    handle->start();
    EXPECT_TRUE(handle->isActive());
    EXPECT_TRUE(processorEngine.findSocket(idChannel0)->getProcessor()->isActive());
    EXPECT_EQ(capture.texts(QtDebugMsg), std::vector<std::string>{"start \"proc B\"  Processing started"});
    ASSERT_TRUE(deliverBlock(channel0, deliveries, {1.0f, 2.0f, 3.0f, 4.0f}));
    EXPECT_EQ(deliveries.at(0).name, "proc B");
}

TEST_F(ProcessorEngineTest, RemovingTwiceRaisesResourceNotAvailable) {
    engine::processing::ProcessorEngine processorEngine;
    engine::processing::ProcessorHandle* handle = processorEngine.addProcessor(processA, &channel0);
    processorEngine.removeProcessor(handle);
    testsupport::LogCapture capture;
    const std::string text = "ProcessorSocket for the given processor handle (unique ID '" + idChannel0 +
                             "') don't exists! Processor cannot be removed";
    try {
        processorEngine.removeProcessor(handle);
        FAIL() << "no exception";
    } catch (const exceptions::ResourceNotAvailable& error) {
        EXPECT_EQ(std::string(error.what()), text);
    }
    EXPECT_EQ(capture.texts(QtWarningMsg), std::vector<std::string>{"removeProcessor " + text});
}

TEST_F(ProcessorEngineTest, TheProcessConnectionOfAnUnknownHandleIsNotAvailable) {
    engine::processing::ProcessorEngine processorEngine;
    engine::processing::ProcessorHandle stranger(idChannel1, nullptr);
    testsupport::LogCapture capture;
    const std::string text = "ProcessorSocket for the given processor handle unique ID '" + idChannel1 +
                             "' don't exists! Process connection cannot be found!";
    try {
        processorEngine.getProcessConnection(&stranger);
        FAIL() << "no exception";
    } catch (const exceptions::ResourceNotAvailable& error) {
        EXPECT_EQ(std::string(error.what()), text);
    }
    EXPECT_EQ(capture.texts(QtWarningMsg), std::vector<std::string>{"getProcessConnection " + text});
}

TEST_F(ProcessorEngineTest, ADemoConfigurationIsNotCreateableBecauseOnlyTheBufferTableIsAsked) {
    engine::processing::ProcessorEngine processorEngine;
    process::DemoConfig demo;
    sonacore::ProcessConfiguration demoProcess("demo process", &demo, device, 0);
    testsupport::LogCapture capture;
    const std::string text = "There is no definition available to build a processor of type: DemoProcessor";
    try {
        processorEngine.addProcessor(demoProcess, &channel0);
        FAIL() << "no exception";
    } catch (const exceptions::InstanceNotCreateable& error) {
        EXPECT_EQ(std::string(error.what()), text);
    }
    EXPECT_EQ(capture.texts(QtWarningMsg), std::vector<std::string>{"createProcessor " + text});
    EXPECT_EQ(processorEngine.findSocket("DemoProcessor_00a0c9112233_0"), nullptr);
    // The failed call changed nothing: the same unique ID can be added once it is buildable.
    EXPECT_NE(processorEngine.addProcessor(processA, &channel0), nullptr);
}

TEST_F(ProcessorEngineTest, TheGeneratorPathRunsTheSineGeneratorAtOnceWithoutABuffer) {
    // The generator loops on its own thread until the engine ends it, reading its configuration on every
    // pass: the configuration and the collectors must outlive the engine, so they are declared first.
    process::DemoConfig demo("demo", 5);
    sonacore::ProcessConfiguration demoProcess("demo process", &demo, "generator", 3);
    processingtest::Deliveries collector;
    processingtest::Deliveries again;
    engine::processing::ProcessorEngine processorEngine;
    engine::processing::ProcessorHandle* handle = processorEngine.addGeneratorProcessor(demoProcess);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->getUniqueId(), "DemoProcessor_generator_3");
    EXPECT_TRUE(handle->isActive());
    processorEngine.getProcessConnection(handle)->setCallbackMethod(collector.callback());
    ASSERT_TRUE(testsupport::spinUntil([&] { return collector.count() >= 2; }));
    EXPECT_EQ(collector.at(0).name, "DemoProcessor (SinGen) - demo process");
    EXPECT_EQ(collector.at(0).y, (std::vector<double>{100.0, 0.0}));
    EXPECT_EQ(collector.at(1).y, std::vector<double>{5.0 * std::sin(0.1)});

    // A stop ends the loop for good; removing and adding again restarts it.
    handle->stop();
    EXPECT_FALSE(handle->isActive());
    processorEngine.removeProcessor(handle);
    engine::processing::ProcessorHandle* second = processorEngine.addGeneratorProcessor(demoProcess);
    EXPECT_EQ(second, handle);
    processorEngine.getProcessConnection(second)->setCallbackMethod(again.callback());
    ASSERT_TRUE(testsupport::spinUntil([&] { return again.count() >= 1; }));
    EXPECT_EQ(again.at(0).x, (std::vector<double>{100.0, 0.1}));
}

TEST_F(ProcessorEngineTest, TheGeneratorPathRefusesADuplicateAndSettingsThatNeedABuffer) {
    // Declared before the engine, whose running generator reads it until the engine ends.
    process::DemoConfig demo;
    sonacore::ProcessConfiguration demoProcess("demo process", &demo, "generator", 0);
    sonacore::ProcessConfiguration sameId("same id", &demo, "generator", 0);
    engine::processing::ProcessorEngine processorEngine;
    processorEngine.addGeneratorProcessor(demoProcess);
    testsupport::LogCapture capture;
    EXPECT_THROW(processorEngine.addGeneratorProcessor(sameId), exceptions::ProcessorAlreadyExists);
    EXPECT_THROW(processorEngine.addGeneratorProcessor(processA), exceptions::InstanceNotCreateable);
    EXPECT_EQ(capture.texts(QtWarningMsg),
              (std::vector<std::string>{
                  "addProcessor Processor for the given process configuration 'same id' already exists  by "
                  "processor unique ID:  DemoProcessor_generator_0",
                  "createProcessor There is no definition available to build a processor of type: "
                  "WaveformProcessor"}));
    EXPECT_EQ(processorEngine.findSocket(idChannel0), nullptr);
}

TEST_F(ProcessorEngineTest, StopStopsEveryProcessorLeavesThemInPlaceAndALaterStartWorks) {
    engine::processing::ProcessorEngine processorEngine;
    engine::processing::ProcessorHandle* first = processorEngine.addProcessor(processA, &channel0);
    engine::processing::ProcessorHandle* second = processorEngine.addProcessor(processOnChannel1, &channel1);
    processingtest::Deliveries deliveries;
    processorEngine.getProcessConnection(first)->setCallbackMethod(deliveries.callback());
    first->start();
    second->start();
    ASSERT_TRUE(settled(processorEngine, idChannel0));
    ASSERT_TRUE(settled(processorEngine, idChannel1));

    testsupport::LogCapture capture;
    processorEngine.stop();
    EXPECT_FALSE(first->isActive());
    EXPECT_FALSE(second->isActive());
    EXPECT_EQ(
        capture.texts(QtDebugMsg),
        (std::vector<std::string>{"stop \"proc A\" Clock stopped", "stop \"proc A\"  Processing stopped",
                                  "stop \"proc C\" Clock stopped", "stop \"proc C\"  Processing stopped",
                                  "stop Processor engine stopped!"}));
    EXPECT_NE(processorEngine.findSocket(idChannel0), nullptr);
    EXPECT_NE(processorEngine.findSocket(idChannel1), nullptr);
    EXPECT_TRUE(first->isBound());

    first->start();
    EXPECT_TRUE(first->isActive());
    ASSERT_TRUE(deliverBlock(channel0, deliveries, {4.0f, 3.0f, 2.0f, 1.0f}));
}

TEST_F(ProcessorEngineTest, EngineStopAfterARemovalReachesOnlyTheLiveProcessors) {
    engine::processing::ProcessorEngine processorEngine;
    engine::processing::ProcessorHandle* removed = processorEngine.addProcessor(processA, &channel0);
    engine::processing::ProcessorHandle* live = processorEngine.addProcessor(processOnChannel1, &channel1);
    removed->start();
    live->start();
    processorEngine.removeProcessor(removed);
    ASSERT_TRUE(settled(processorEngine, idChannel1));
    testsupport::LogCapture capture;
    processorEngine.stop();
    EXPECT_FALSE(live->isActive());
    EXPECT_EQ(capture.texts(QtDebugMsg), (std::vector<std::string>{"stop \"proc C\" Clock stopped",
                                                                   "stop \"proc C\"  Processing stopped",
                                                                   "stop Processor engine stopped!"}));
}

TEST_F(ProcessorEngineTest, TheUniqueIdIsTheSameWhetherBoundOrNot) {
    engine::processing::ProcessorEngine processorEngine;
    engine::processing::ProcessorHandle* handle = processorEngine.addProcessor(processA, &channel0);
    const std::string bound = handle->getUniqueId();
    processorEngine.removeProcessor(handle);
    EXPECT_EQ(handle->getUniqueId(), bound);
    EXPECT_EQ(bound, idChannel0);
    EXPECT_EQ(engine::processing::ProcessorEngine::makeUniqueId(processOnChannel1), idChannel1);
}

TEST_F(ProcessorEngineTest, DestructionEndsEveryProcessorThenDropsTheHandles) {
    testsupport::LogCapture capture;
    {
        engine::processing::ProcessorEngine processorEngine;
        processorEngine.addProcessor(processA, &channel0)->start();
        processorEngine.addProcessor(processOnChannel1, &channel1);
        capture.clear();
    }
    std::vector<std::string> ends;
    for (const std::string& line : capture.texts(QtDebugMsg)) {
        if (line.rfind("~", 0) == 0 || line.rfind("end", 0) == 0) {
            ends.push_back(line);
        }
    }
    EXPECT_EQ(ends,
              (std::vector<std::string>{
                  "~Controller \"proc A\" Quit worker thread...", "end \"proc A\"  End called!",
                  "~Worker \"proc A\" DELETED", "~Controller \"proc A\" Worker thread ended",
                  "~Controller \"proc C\" Quit worker thread...", "end \"proc C\"  End called!",
                  "~Worker \"proc C\" DELETED", "~Controller \"proc C\" Worker thread ended",
                  "~ProcessorEngine Processor sockets cleared!", "~ProcessorEngine Deleted!",
                  "~ProcessorHandleManager Processor handles cleared!", "~ProcessorHandleManager Deleted!"}));
}

namespace {

// An event that holds a processor's thread, as a long calculation does, until the test lets it go.
struct HeldEvent {
    std::promise<void> release;
    std::shared_future<void> released{release.get_future().share()};
    std::atomic<bool> started{false};
    std::atomic<bool> finished{false};

    void postTo(QObject* processor) {
        QMetaObject::invokeMethod(
            processor,
            [this, released = released] {
                started = true;
                released.wait();
                finished = true;
            },
            Qt::QueuedConnection);
    }
};

} // namespace

TEST_F(ProcessorEngineTest, WaitForProcessorsIdleReturnsOnlyOnceTheEventInHandIsFinished) {
    engine::processing::ProcessorEngine processorEngine;
    processorEngine.addProcessor(processA, &channel0)->start();
    processorEngine.addProcessor(processOnChannel1, &channel1)->start();
    ASSERT_TRUE(settled(processorEngine, idChannel0));
    ASSERT_TRUE(settled(processorEngine, idChannel1));
    HeldEvent held;
    held.postTo(processorEngine.findSocket(idChannel1)->getProcessor());
    ASSERT_TRUE(testsupport::spinUntil([&] { return held.started.load(); }));

    processorEngine.stop();
    std::thread releaser([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        held.release.set_value();
    });
    processorEngine.waitForProcessorsIdle(std::chrono::seconds(30));
    EXPECT_TRUE(held.finished);
    releaser.join();
}

TEST_F(ProcessorEngineTest, WaitForProcessorsIdleGivesUpAtItsLimitWhileAnEventIsStillHeld) {
    engine::processing::ProcessorEngine processorEngine;
    processorEngine.addProcessor(processA, &channel0)->start();
    ASSERT_TRUE(settled(processorEngine, idChannel0));
    HeldEvent held;
    held.postTo(processorEngine.findSocket(idChannel0)->getProcessor());
    ASSERT_TRUE(testsupport::spinUntil([&] { return held.started.load(); }));

    processorEngine.stop();
    processorEngine.waitForProcessorsIdle(std::chrono::milliseconds(100));
    EXPECT_FALSE(held.finished);
    held.release.set_value();
    EXPECT_TRUE(settled(processorEngine, idChannel0));
    EXPECT_TRUE(held.finished);
}
