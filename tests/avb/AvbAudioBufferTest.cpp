#include "avb/AvbAudioBuffer.h"
#include "support/EventLoop.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <QThread>

#include <atomic>
#include <numeric>
#include <thread>
#include <vector>

namespace {

using Samples = std::vector<float>;

Samples range(float first, float last) {
    Samples values;
    for (float value = first; value <= last; value += 1.0f) {
        values.push_back(value);
    }
    return values;
}

// A configuration that reports a buffer size the factories would refuse, as a configuration that was never
// checked would.
class UncheckedSize : public sonacore::BufferConfiguration {
public:
    UncheckedSize(std::uint64_t reportedSize, std::uint64_t signalingAmount)
        : sonacore::BufferConfiguration("unchecked", 1, signalingAmount), reportedSize(reportedSize) {}
    std::uint64_t getBufferSize() const override { return reportedSize; }

private:
    std::uint64_t reportedSize;
};

// Counts the signals of a buffer, on the writer's thread.
void countSignals(avb::AvbAudioBuffer& buffer, int& count) {
    QObject::connect(
        &buffer, &avb::AvbAudioBuffer::bufferAmountAvailable, &buffer,
        [&count](const std::string&, std::size_t) { ++count; }, Qt::DirectConnection);
}

} // namespace

TEST(AvbAudioBuffer, NewRingHoldsZerosAndLogsItsCreation) {
    testsupport::LogCapture capture;
    sonacore::BufferConfiguration configuration("buf", 8);
    avb::AvbAudioBuffer buffer("00a0c9112233_Ch0", &configuration);
    EXPECT_TRUE(capture.contains(QtDebugMsg, "AvbAudioBuffer \"00a0c9112233_Ch0\" Initialized"));
    EXPECT_EQ(buffer.getWritePosition(), 0U);
    EXPECT_EQ(buffer.fetchSamples(3), (Samples{0, 0, 0}));
    EXPECT_EQ(buffer.getBufferConfiguration(), &configuration);
}

TEST(AvbAudioBuffer, DestructorLogsCleared) {
    sonacore::BufferConfiguration configuration("buf", 8);
    testsupport::LogCapture capture;
    { avb::AvbAudioBuffer buffer("dev_Ch1", &configuration); }
    EXPECT_TRUE(capture.contains(QtDebugMsg, "~AvbAudioBuffer \"dev_Ch1\" CLEARED"));
}

TEST(AvbAudioBuffer, RingOfEightAfterTenWritesHoldsNewestInTimeOrder) {
    sonacore::BufferConfiguration configuration("buf", 8);
    avb::AvbAudioBuffer buffer("b", &configuration);
    buffer.writeSamples(range(1, 10));
    EXPECT_EQ(buffer.getWritePosition(), 2U);
    EXPECT_EQ(buffer.fetchSamples(8, 8), (Samples{9, 10, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(buffer.fetchSamples(4), (Samples{7, 8, 9, 10}));
    EXPECT_TRUE(buffer.hasFetchWrapped());
}

TEST(AvbAudioBuffer, FullRingReadsAsPositionEqualToSizeAndNextWriteGoesToStart) {
    sonacore::BufferConfiguration configuration("buf", 8);
    avb::AvbAudioBuffer buffer("b", &configuration);
    buffer.writeSamples(range(1, 8));
    EXPECT_EQ(buffer.getWritePosition(), 8U);
    EXPECT_EQ(buffer.fetchSamples(8), range(1, 8));
    EXPECT_FALSE(buffer.hasFetchWrapped());
    const float next = 9;
    buffer.writeSample(&next);
    EXPECT_EQ(buffer.getWritePosition(), 1U);
    EXPECT_EQ(buffer.fetchSamples(8, 8), (Samples{9, 2, 3, 4, 5, 6, 7, 8}));
}

TEST(AvbAudioBuffer, FetchBeforeFillTakesZerosFromTheEndOfTheRing) {
    sonacore::BufferConfiguration configuration("buf", 8);
    avb::AvbAudioBuffer buffer("b", &configuration);
    buffer.writeSamples({5, 6});
    EXPECT_EQ(buffer.fetchSamples(4), (Samples{0, 0, 5, 6}));
    EXPECT_TRUE(buffer.hasFetchWrapped());
}

TEST(AvbAudioBuffer, OversizeRequestWarnsAndReturnsTheWholeRing) {
    sonacore::BufferConfiguration configuration("buf", 8);
    avb::AvbAudioBuffer buffer("dev_Ch0", &configuration);
    buffer.writeSamples(range(1, 8));
    testsupport::LogCapture capture;
    EXPECT_EQ(buffer.fetchSamples(9), range(1, 8));
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{
                  "fetchSamples \"dev_Ch0\" More samples requested than available by the "
                  "buffer.  Only maximum available amount will be returned:  8  instead of  9"});
}

TEST(AvbAudioBuffer, FetchOfZeroReturnsAnEmptyVector) {
    sonacore::BufferConfiguration configuration("buf", 8);
    avb::AvbAudioBuffer buffer("b", &configuration);
    buffer.writeSamples(range(1, 3));
    EXPECT_TRUE(buffer.fetchSamples(0).empty());
}

TEST(AvbAudioBuffer, SignalsEveryAmountAndSignaledFetchEndsAtTheSignal) {
    sonacore::BufferConfiguration configuration("buf", 16, 4);
    avb::AvbAudioBuffer buffer("dev_Ch0", &configuration);
    std::vector<std::string> names;
    std::vector<std::size_t> amounts;
    std::vector<std::uint64_t> positions;
    QObject::connect(
        &buffer, &avb::AvbAudioBuffer::bufferAmountAvailable, &buffer,
        [&](const std::string& name, std::size_t amount) {
            names.push_back(name);
            amounts.push_back(amount);
        },
        Qt::DirectConnection);
    for (const float value : range(1, 9)) {
        buffer.writeSample(&value);
        positions.push_back(names.size());
    }
    EXPECT_EQ(names, (std::vector<std::string>{"dev_Ch0", "dev_Ch0"}));
    EXPECT_EQ(amounts, (std::vector<std::size_t>{4, 4}));
    // The signalCount came with the 4th and the 8th sample.
    EXPECT_EQ(positions, (std::vector<std::uint64_t>{0, 0, 0, 1, 1, 1, 1, 2, 2}));
    EXPECT_EQ(buffer.fetchSignaledSamples(4), (Samples{5, 6, 7, 8}));
    EXPECT_EQ(buffer.fetchSamples(4), (Samples{6, 7, 8, 9}));
}

TEST(AvbAudioBuffer, ChangingTheAmountRestartsTheCount) {
    sonacore::BufferConfiguration configuration("buf", 16, 4);
    avb::AvbAudioBuffer buffer("dev_Ch0", &configuration);
    int signalCount = 0;
    QObject::connect(
        &buffer, &avb::AvbAudioBuffer::bufferAmountAvailable, &buffer,
        [&](const std::string&, std::size_t) { ++signalCount; }, Qt::DirectConnection);
    buffer.writeSamples({1, 2});
    testsupport::LogCapture capture;
    configuration.setClockSignalingSampleAmount(3);
    EXPECT_TRUE(capture.contains(
        QtDebugMsg, "sampleAmountConfigChanged \"dev_Ch0\" Signaling sample amount changed to:  3  samples"));
    buffer.writeSamples({3, 4});
    EXPECT_EQ(signalCount, 0);
    buffer.writeSamples({5});
    EXPECT_EQ(signalCount, 1);
    EXPECT_EQ(buffer.fetchSignaledSamples(3), (Samples{3, 4, 5}));
}

TEST(AvbAudioBuffer, AmountZeroSignalsNothingAndLogsDeactivation) {
    sonacore::BufferConfiguration configuration("buf", 8, 2);
    avb::AvbAudioBuffer buffer("dev_Ch3", &configuration);
    int signalCount = 0;
    QObject::connect(
        &buffer, &avb::AvbAudioBuffer::bufferAmountAvailable, &buffer,
        [&](const std::string&, std::size_t) { ++signalCount; }, Qt::DirectConnection);
    testsupport::LogCapture capture;
    configuration.setClockSignalingSampleAmount(0);
    EXPECT_TRUE(capture.contains(
        QtDebugMsg,
        "sampleAmountConfigChanged \"dev_Ch3\" Signaling sample amount deactivated (external clock OFF)"));
    buffer.writeSamples(range(1, 40));
    EXPECT_EQ(signalCount, 0);
}

TEST(AvbAudioBuffer, OtherNoticesAreIgnored) {
    sonacore::BufferConfiguration configuration("buf", 8, 2);
    avb::AvbAudioBuffer buffer("b", &configuration);
    testsupport::LogCapture capture;
    emit configuration.configurationChanged("ClockRefreshRateChanged");
    EXPECT_TRUE(capture.lines().empty());
}

TEST(AvbAudioBuffer, QueuedReceiverOnAnotherThreadMayFetchInsideItsSlot) {
    sonacore::BufferConfiguration configuration("buf", 64, 8);
    avb::AvbAudioBuffer buffer("b", &configuration);
    std::vector<Samples> fetched;
    QObject receiver;
    QObject::connect(
        &buffer, &avb::AvbAudioBuffer::bufferAmountAvailable, &receiver,
        [&](const std::string&, std::size_t amount) {
            fetched.push_back(buffer.fetchSignaledSamples(amount));
        },
        Qt::QueuedConnection);
    std::thread writer([&] { buffer.writeSamples(range(1, 16)); });
    writer.join();
    ASSERT_TRUE(testsupport::spinUntil([&] { return fetched.size() == 2; }));
    // Both deliveries read after the writer ended, so each sees the latest signal.
    EXPECT_EQ(fetched[1], range(9, 16));
}

TEST(AvbAudioBuffer, ConcurrentWriterAndReadersSeeConsistentOrderedWindows) {
    sonacore::BufferConfiguration configuration("buf", 1024);
    avb::AvbAudioBuffer buffer("b", &configuration);
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (int value = 1; value <= 200000; ++value) {
            const float sample = static_cast<float>(value);
            buffer.writeSample(&sample);
        }
        done = true;
    });
    int windows = 0;
    while (!done) {
        const Samples window = buffer.fetchSamples(64);
        // A window is always a run of consecutive values (or the zeros in front of the first write).
        for (std::size_t index = 1; index < window.size(); ++index) {
            if (window[index - 1] != 0.0f) {
                ASSERT_EQ(window[index], window[index - 1] + 1.0f);
            }
        }
        ++windows;
    }
    writer.join();
    EXPECT_GT(windows, 0);
}

TEST(AvbAudioBuffer, SignalSerialsCountEverySignalAndKeepTheirBlocks) {
    sonacore::BufferConfiguration configuration("buf", 64, 4);
    avb::AvbAudioBuffer buffer("b", &configuration);
    EXPECT_EQ(buffer.getSignalSerial(), 0U);
    buffer.writeSamples(range(1, 13));
    EXPECT_EQ(buffer.getSignalSerial(), 3U);
    EXPECT_EQ(buffer.fetchSignaledSamples(4, 1), (Samples{1, 2, 3, 4}));
    EXPECT_EQ(buffer.fetchSignaledSamples(4, 2), (Samples{5, 6, 7, 8}));
    EXPECT_EQ(buffer.fetchSignaledSamples(4, 3), (Samples{9, 10, 11, 12}));
    // A serial not yet sent, or 0, gives the latest block.
    EXPECT_EQ(buffer.fetchSignaledSamples(4, 4), (Samples{9, 10, 11, 12}));
    EXPECT_EQ(buffer.fetchSignaledSamples(4, 0), (Samples{9, 10, 11, 12}));
}

TEST(AvbAudioBuffer, SignalsOlderThanTheHistoryGiveTheLatestBlock) {
    sonacore::BufferConfiguration configuration("buf", 8, 1);
    avb::AvbAudioBuffer buffer("b", &configuration);
    for (std::uint64_t index = 0; index < avb::AvbAudioBuffer::signalHistory + 2; ++index) {
        const float sample = static_cast<float>(index);
        buffer.writeSample(&sample);
    }
    const float latest = static_cast<float>(avb::AvbAudioBuffer::signalHistory + 1);
    EXPECT_EQ(buffer.fetchSignaledSamples(1, 1), Samples{latest});
    const auto recent = avb::AvbAudioBuffer::signalHistory;
    EXPECT_EQ(buffer.fetchSignaledSamples(1, recent), Samples{static_cast<float>(recent - 1)});
}

TEST(AvbAudioBuffer, RingOfSizeZeroStoresNothingAndSignalsNothing) {
    UncheckedSize configuration(0, 1);
    avb::AvbAudioBuffer buffer("dev_Ch0", &configuration);
    int signalCount = 0;
    countSignals(buffer, signalCount);
    buffer.writeSamples(range(1, 5));
    EXPECT_EQ(buffer.getWritePosition(), 0U);
    EXPECT_EQ(signalCount, 0);
    EXPECT_EQ(buffer.getSignalSerial(), 0U);
    EXPECT_TRUE(buffer.fetchSamples(0).empty());
}

TEST(AvbAudioBuffer, FetchesFromARingOfSizeZeroWarnAndReturnNoSample) {
    UncheckedSize configuration(0, 0);
    avb::AvbAudioBuffer buffer("dev_Ch0", &configuration);
    buffer.writeSamples(range(1, 3));
    testsupport::LogCapture capture;
    EXPECT_TRUE(buffer.fetchSamples(3).empty());
    EXPECT_TRUE(buffer.fetchSignaledSamples(3).empty());
    EXPECT_TRUE(buffer.fetchSamples(3, 7).empty());
    EXPECT_TRUE(buffer.fetchSignaledSamples(3, 1).empty());
    const std::string oversize =
        "fetchSamples \"dev_Ch0\" More samples requested than available by the buffer.  "
        "Only maximum available amount will be returned:  0  instead of  3";
    EXPECT_EQ(capture.texts(QtWarningMsg), std::vector<std::string>(4, oversize));
}

TEST(AvbAudioBuffer, WithoutAConfigurationTheRingHasNoElementAndNeverSignals) {
    avb::AvbAudioBuffer buffer("dev_Ch0", nullptr);
    int signalCount = 0;
    countSignals(buffer, signalCount);
    buffer.writeSamples(range(1, 5));
    EXPECT_EQ(buffer.getBufferConfiguration(), nullptr);
    EXPECT_EQ(buffer.getWritePosition(), 0U);
    EXPECT_EQ(signalCount, 0);
    EXPECT_TRUE(buffer.fetchSamples(0).empty());
}

TEST(AvbAudioBuffer, NullSampleIsNotStored) {
    sonacore::BufferConfiguration configuration("buf", 8, 1);
    avb::AvbAudioBuffer buffer("b", &configuration);
    int signalCount = 0;
    countSignals(buffer, signalCount);
    buffer.writeSample(nullptr);
    EXPECT_EQ(buffer.getWritePosition(), 0U);
    EXPECT_EQ(signalCount, 0);
}

TEST(AvbAudioBuffer, RingSizeIsTakenOnceAtConstruction) {
    UncheckedSize configuration(4, 0);
    avb::AvbAudioBuffer buffer("b", &configuration);
    buffer.writeSamples(range(1, 6));
    EXPECT_EQ(buffer.getWritePosition(), 2U);
    EXPECT_EQ(buffer.fetchSamples(4), range(3, 6));
}

TEST(AvbAudioBuffer, SignalingAmountAboveTheSizeSignalsEveryAmountAndServesTheNewestPartOfTheBlock) {
    sonacore::BufferConfiguration configuration("buf", 8, 12);
    avb::AvbAudioBuffer buffer("dev_Ch0", &configuration);
    int signalCount = 0;
    countSignals(buffer, signalCount);
    buffer.writeSamples(range(1, 12));
    EXPECT_EQ(signalCount, 1);
    testsupport::LogCapture capture;
    // The block of samples 1 to 12 ended at the signal; the ring holds its last 8.
    EXPECT_EQ(buffer.fetchSignaledSamples(12), range(5, 12));
    buffer.writeSamples(range(13, 24));
    EXPECT_EQ(signalCount, 2);
    EXPECT_EQ(buffer.fetchSignaledSamples(12), range(17, 24));
    EXPECT_EQ(buffer.fetchSignaledSamples(12, 2), range(17, 24));
    const std::string oversize =
        "fetchSamples \"dev_Ch0\" More samples requested than available by the buffer.  "
        "Only maximum available amount will be returned:  8  instead of  12";
    EXPECT_EQ(capture.texts(QtWarningMsg), std::vector<std::string>(3, oversize));
}
