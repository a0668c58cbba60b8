#include "process/WaveformProcessor.h"
#include "avb/AvbAudioBuffer.h"
#include "exceptions/SonaCoreException.h"
#include "process/DemoConfig.h"
#include "process/ProcessConnection.h"
#include "process/ProcessingTestSupport.h"
#include "process/WaveformConfig.h"
#include "sonacore/BufferConfiguration.h"
#include "support/EventLoop.h"
#include "support/LogCapture.h"
#include "threading/Controller.h"

#include <QObject>

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

const std::string bufferName = "00a0c9112233_Ch0";

// x values 0.0, 1.0, ... for n samples.
std::vector<double> positions(std::size_t n) {
    std::vector<double> x;
    for (std::size_t i = 0; i < n; ++i) {
        x.push_back(static_cast<double>(i));
    }
    return x;
}

// n zero points followed by the samples at their positions: the delivery after an amount notice.
processingtest::Delivery withZeroPoints(std::size_t n, const std::vector<float>& samples) {
    processingtest::Delivery delivery;
    delivery.x.assign(n, 0.0);
    delivery.y.assign(n, 0.0);
    const std::vector<double> x = positions(samples.size());
    delivery.x.insert(delivery.x.end(), x.begin(), x.end());
    const std::vector<double> y = processingtest::asDoubles(samples);
    delivery.y.insert(delivery.y.end(), y.begin(), y.end());
    return delivery;
}

std::vector<float> seededSamples(std::size_t n, std::uint32_t seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<float> distribution(-1.0f, 1.0f);
    std::vector<float> samples(n);
    for (float& sample : samples) {
        sample = distribution(generator);
    }
    return samples;
}

// A waveform processor on its own thread, built by its creation function, whose results reach a collector on
// the test's thread through a ProcessConnection, as in a socket.
class WaveformProcessorTest : public ::testing::Test {
protected:
    void SetUp() override { processingtest::registerTypes(); }

    void build(process::WaveformConfig& configuration) {
        processor = connectNew(buffer, configuration);
        controller = std::make_unique<threading::Controller>(processor);
    }

    // A waveform processor on `channel` whose results reach the collector; the caller puts it on a thread.
    process::WaveformProcessor* connectNew(avb::AvbAudioBuffer& channel,
                                           process::WaveformConfig& configuration) {
        auto* waveform = static_cast<process::WaveformProcessor*>(
            process::WaveformProcessor::create("P", configuration, channel));
        QObject::connect(waveform, &process::Processor::newProcessData, &connection,
                         &process::ProcessConnection::signalToCallbackConnector, Qt::AutoConnection);
        connection.setCallbackMethod(deliveries.callback());
        return waveform;
    }

    void TearDown() override { controller.reset(); }

    sonacore::BufferConfiguration bufferConfiguration{"buffer configuration", 64, 4};
    avb::AvbAudioBuffer buffer{bufferName, &bufferConfiguration};
    processingtest::Deliveries deliveries;
    process::ProcessConnection connection{"P"};
    process::WaveformProcessor* processor = nullptr;
    std::unique_ptr<threading::Controller> controller;
};

} // namespace

TEST_F(WaveformProcessorTest, TheFirstDeliveryHoldsTheReplaysZeroPointsInFrontOfTheBlock) {
    process::WaveformConfig configuration("cfg", 4);
    build(configuration);
    processor->start();
    const std::vector<float> block{0.25f, -0.5f, 0.125f, 1.0f};
    buffer.writeSamples(block);
    ASSERT_TRUE(testsupport::spinUntil([&] { return deliveries.count() == 1; }));
    const processingtest::Delivery first = deliveries.at(0);
    const processingtest::Delivery expected = withZeroPoints(4, block);
    EXPECT_EQ(first.name, "P");
    EXPECT_EQ(first.x, expected.x);
    EXPECT_EQ(first.y, expected.y);
    EXPECT_EQ(first.x.size(), 8U);
}

TEST_F(WaveformProcessorTest, UnderTheExternalClockEverySampleArrivesExactlyOnceInOrder) {
    constexpr std::size_t blockSize = 48;
    constexpr std::size_t blocks = 40;
    sonacore::BufferConfiguration signalling("signalling", 480, blockSize);
    avb::AvbAudioBuffer channel(bufferName, &signalling);
    process::WaveformConfig configuration("cfg", blockSize);
    auto* waveform = connectNew(channel, configuration);
    threading::Controller waveformController(waveform);
    waveform->start();

    const std::vector<float> samples = seededSamples(blockSize * blocks, 20240601);
    // The writer stands for the capture thread: it writes one block, then waits until that block has been
    // delivered before it writes the next.
    std::atomic<bool> writerFailed{false};
    std::thread writer([&] {
        for (std::size_t block = 0; block < blocks; ++block) {
            const std::vector<float> part(samples.begin() + static_cast<std::ptrdiff_t>(block * blockSize),
                                          samples.begin() +
                                              static_cast<std::ptrdiff_t>((block + 1) * blockSize));
            channel.writeSamples(part);
            const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
            while (deliveries.count() < block + 1) {
                if (std::chrono::steady_clock::now() > deadline) {
                    writerFailed = true;
                    return;
                }
                std::this_thread::yield();
            }
        }
    });
    const bool allDelivered = testsupport::spinUntil([&] { return deliveries.count() >= blocks; },
                                                     std::chrono::milliseconds(20000));
    writer.join();
    ASSERT_TRUE(allDelivered);
    ASSERT_FALSE(writerFailed.load());

    std::vector<double> received;
    const std::vector<processingtest::Delivery> all = deliveries.all();
    ASSERT_EQ(all.size(), blocks);
    for (std::size_t index = 0; index < all.size(); ++index) {
        std::vector<double> x = all[index].x;
        std::vector<double> y = all[index].y;
        if (index == 0) {
            // The replay's zero points stand in front of the first block.
            ASSERT_EQ(y.size(), 2 * blockSize);
            EXPECT_EQ(std::vector<double>(y.begin(), y.begin() + blockSize),
                      std::vector<double>(blockSize, 0.0));
            x.erase(x.begin(), x.begin() + blockSize);
            y.erase(y.begin(), y.begin() + blockSize);
        }
        EXPECT_EQ(x, positions(blockSize));
        received.insert(received.end(), y.begin(), y.end());
    }
    EXPECT_EQ(received, processingtest::asDoubles(samples));
}

TEST_F(WaveformProcessorTest, UnderTheInternalClockEachTickDeliversTheNewestSamples) {
    process::WaveformConfig configuration("cfg", 4, 2);
    bufferConfiguration.setClockSignalingSampleAmount(0);
    const std::vector<float> written{1.5f, 2.5f, 3.5f, 4.5f, 5.5f, 6.5f, 7.5f, 8.5f};
    buffer.writeSamples(written);
    build(configuration);
    processor->start();
    ASSERT_TRUE(testsupport::spinUntil([&] { return deliveries.count() >= 2; }));
    const std::vector<float> newest{5.5f, 6.5f, 7.5f, 8.5f};
    const processingtest::Delivery expectedFirst = withZeroPoints(4, newest);
    EXPECT_EQ(deliveries.at(0).x, expectedFirst.x);
    EXPECT_EQ(deliveries.at(0).y, expectedFirst.y);
    EXPECT_EQ(deliveries.at(1).x, positions(4));
    EXPECT_EQ(deliveries.at(1).y, processingtest::asDoubles(newest));
}

TEST_F(WaveformProcessorTest, XValuesStartAtZeroInEveryDelivery) {
    process::WaveformConfig configuration("cfg", 4);
    build(configuration);
    processor->start();
    for (std::size_t block = 0; block < 3; ++block) {
        buffer.writeSamples({1.0f, 2.0f, 3.0f, 4.0f});
        ASSERT_TRUE(testsupport::spinUntil([&] { return deliveries.count() == block + 1; }));
    }
    EXPECT_EQ(deliveries.at(1).x, (std::vector<double>{0.0, 1.0, 2.0, 3.0}));
    EXPECT_EQ(deliveries.at(2).x, (std::vector<double>{0.0, 1.0, 2.0, 3.0}));
}

TEST_F(WaveformProcessorTest, ACalculateThatArrivesAfterStopDeliversNothing) {
    process::WaveformConfig configuration("cfg", 4);
    build(configuration);
    processor->start();
    processingtest::WorkerGate gate(processor);
    ASSERT_TRUE(gate.waitEntered());
    buffer.writeSamples({1.0f, 2.0f, 3.0f, 4.0f});
    processor->stop();
    gate.release();
    ASSERT_TRUE(processingtest::drain(processor));
    EXPECT_EQ(deliveries.count(), 0U);
}

TEST_F(WaveformProcessorTest, ARaisedSampleAmountGivesOneDeliveryWithZeroPointsInFrontOfTheLargerBlock) {
    process::WaveformConfig configuration("cfg", 4);
    build(configuration);
    processor->start();
    buffer.writeSamples({1.0f, 2.0f, 3.0f, 4.0f});
    ASSERT_TRUE(testsupport::spinUntil([&] { return deliveries.count() == 1; }));

    configuration.setSampleAmount(6);
    buffer.writeSamples({5.0f, 6.0f, 7.0f, 8.0f});
    ASSERT_TRUE(testsupport::spinUntil([&] { return deliveries.count() == 2; }));
    const processingtest::Delivery expected = withZeroPoints(6, {3.0f, 4.0f, 5.0f, 6.0f, 7.0f, 8.0f});
    EXPECT_EQ(deliveries.at(1).x, expected.x);
    EXPECT_EQ(deliveries.at(1).y, expected.y);

    buffer.writeSamples({9.0f, 10.0f, 11.0f, 12.0f});
    ASSERT_TRUE(testsupport::spinUntil([&] { return deliveries.count() == 3; }));
    EXPECT_EQ(deliveries.at(2).x, positions(6));
    EXPECT_EQ(deliveries.at(2).y, (std::vector<double>{7.0, 8.0, 9.0, 10.0, 11.0, 12.0}));
}

TEST_F(WaveformProcessorTest, ALoweredSampleAmountAlsoGivesZeroPointsInFrontOnce) {
    process::WaveformConfig configuration("cfg", 4);
    build(configuration);
    processor->start();
    buffer.writeSamples({1.0f, 2.0f, 3.0f, 4.0f});
    ASSERT_TRUE(testsupport::spinUntil([&] { return deliveries.count() == 1; }));

    configuration.setSampleAmount(2);
    buffer.writeSamples({5.0f, 6.0f, 7.0f, 8.0f});
    ASSERT_TRUE(testsupport::spinUntil([&] { return deliveries.count() == 2; }));
    const processingtest::Delivery expected = withZeroPoints(2, {7.0f, 8.0f});
    EXPECT_EQ(deliveries.at(1).x, expected.x);
    EXPECT_EQ(deliveries.at(1).y, expected.y);

    buffer.writeSamples({9.0f, 10.0f, 11.0f, 12.0f});
    ASSERT_TRUE(testsupport::spinUntil([&] { return deliveries.count() == 3; }));
    EXPECT_EQ(deliveries.at(2).x, positions(2));
    EXPECT_EQ(deliveries.at(2).y, (std::vector<double>{11.0, 12.0}));
}

TEST_F(WaveformProcessorTest, ABufferSmallerThanTheAmountGivesAShorterDelivery) {
    sonacore::BufferConfiguration small("small", 4, 4);
    avb::AvbAudioBuffer smallBuffer("small_Ch0", &small);
    process::WaveformConfig configuration("cfg", 6);
    auto* waveform = process::WaveformProcessor::create("P", configuration, smallBuffer);
    QObject::connect(waveform, &process::Processor::newProcessData, &connection,
                     &process::ProcessConnection::signalToCallbackConnector, Qt::AutoConnection);
    connection.setCallbackMethod(deliveries.callback());
    threading::Controller waveformController(waveform);
    waveform->start();

    testsupport::LogCapture capture;
    smallBuffer.writeSamples({1.0f, 2.0f, 3.0f, 4.0f});
    ASSERT_TRUE(testsupport::spinUntil([&] { return deliveries.count() == 1; }));
    smallBuffer.writeSamples({5.0f, 6.0f, 7.0f, 8.0f});
    ASSERT_TRUE(testsupport::spinUntil([&] { return deliveries.count() == 2; }));

    const processingtest::Delivery expected = withZeroPoints(6, {1.0f, 2.0f, 3.0f, 4.0f});
    EXPECT_EQ(deliveries.at(0).x, expected.x);
    EXPECT_EQ(deliveries.at(0).y, expected.y);
    EXPECT_EQ(deliveries.at(1).x, positions(4));
    EXPECT_EQ(deliveries.at(1).y, (std::vector<double>{5.0, 6.0, 7.0, 8.0}));
    EXPECT_EQ(capture.count(QtWarningMsg,
                            "fetchSamples \"small_Ch0\" More samples requested than available by the "
                            "buffer.  Only maximum available amount will be returned:  4  instead of  6"),
              2U);
}

TEST_F(WaveformProcessorTest, AnEmptyFetchStillDelivers) {
    process::WaveformConfig configuration("cfg", 0, 2);
    build(configuration);
    processor->start();
    ASSERT_TRUE(testsupport::spinUntil([&] { return deliveries.count() >= 1; }));
    EXPECT_TRUE(deliveries.at(0).x.empty());
    EXPECT_TRUE(deliveries.at(0).y.empty());
    EXPECT_EQ(deliveries.at(0).name, "P");
}

TEST_F(WaveformProcessorTest, CreationRejectsAConfigurationOfAnotherType) {
    process::DemoConfig demo;
    testsupport::LogCapture capture;
    EXPECT_THROW(process::WaveformProcessor::create("P", demo, buffer), exceptions::InstanceNotConvertable);
    EXPECT_EQ(
        capture.texts(QtWarningMsg),
        std::vector<std::string>{"fromBase Argument from processor type 'DemoProcessor' doesn't matchthe "
                                 "processor type 'WaveformProcessor' which is needed for the convert "
                                 "progress!"});
}

TEST_F(WaveformProcessorTest, TextIsTheBaseTextAndANewline) {
    process::WaveformConfig configuration("cfg", 4);
    std::unique_ptr<process::Processor> waveform(
        process::WaveformProcessor::create("P", configuration, buffer));
    EXPECT_EQ(waveform->toString(), "Processor: P\n\tProcessor active (calculating?): 0\n" +
                                        configuration.toString() +
                                        "\nInternalClock: P\n\tClock interval: 0\n\tActive: 0\n");
}

TEST_F(WaveformProcessorTest, AProcessorThatFallsBehindStillTakesEveryBlockOnceInOrder) {
    constexpr std::size_t blockSize = 16;
    constexpr std::size_t blocks = 12;
    sonacore::BufferConfiguration signalling("signalling", 1024, blockSize);
    avb::AvbAudioBuffer channel(bufferName, &signalling);
    process::WaveformConfig configuration("cfg", blockSize);
    auto* waveform = connectNew(channel, configuration);
    threading::Controller waveformController(waveform);
    waveform->start();
    ASSERT_TRUE(processingtest::drain(waveform));

    // The worker is held while every block is written, so its calculations all queue up behind the signals.
    const std::vector<float> samples = seededSamples(blockSize * blocks, 7);
    {
        processingtest::WorkerGate gate(waveform);
        ASSERT_TRUE(gate.waitEntered());
        channel.writeSamples(samples);
    }
    ASSERT_TRUE(testsupport::spinUntil([&] { return deliveries.count() >= blocks; }));
    ASSERT_TRUE(processingtest::drain(waveform));

    std::vector<double> received;
    const std::vector<processingtest::Delivery> all = deliveries.all();
    ASSERT_EQ(all.size(), blocks);
    for (std::size_t index = 0; index < all.size(); ++index) {
        const auto& y = all[index].y;
        const std::size_t skip = index == 0 ? blockSize : 0;
        received.insert(received.end(), y.begin() + static_cast<std::ptrdiff_t>(skip), y.end());
    }
    EXPECT_EQ(received, processingtest::asDoubles(samples));
}

TEST_F(WaveformProcessorTest, CalculationsQueuedBeforeTheStartDeliverNothingStale) {
    constexpr std::size_t blockSize = 8;
    sonacore::BufferConfiguration signalling("signalling", 256, blockSize);
    avb::AvbAudioBuffer channel(bufferName, &signalling);
    process::WaveformConfig configuration("cfg", blockSize);
    auto* waveform = connectNew(channel, configuration);
    threading::Controller waveformController(waveform);
    {
        processingtest::WorkerGate gate(waveform);
        ASSERT_TRUE(gate.waitEntered());
        // Three signals queue three calculations, and the start comes before the worker takes them.
        channel.writeSamples(std::vector<float>(3 * blockSize, 0.5f));
        waveform->start();
    }
    ASSERT_TRUE(processingtest::drain(waveform));
    // Their signals came before the start: the processor takes only blocks of signals that follow it.
    EXPECT_EQ(deliveries.count(), 0U);
    channel.writeSamples(std::vector<float>(blockSize, 0.25f));
    ASSERT_TRUE(testsupport::spinUntil([&] { return deliveries.count() == 1; }));
    const auto first = deliveries.all().front().y;
    EXPECT_EQ(std::vector<double>(first.end() - blockSize, first.end()),
              std::vector<double>(blockSize, 0.25));
}
