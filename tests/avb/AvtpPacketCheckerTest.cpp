#include "avb/AvtpPacketChecker.h"
#include "sonacore/ChannelAmountChanged.h"
#include "support/AvtpFrameBuilder.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

constexpr const char* deviceKey = "00a0c9112233";

std::vector<std::uint8_t> frameWithSequence(std::uint8_t sequence) {
    return testsupport::AvtpFrameBuilder{}
        .withSequence(sequence)
        .withSamples(std::vector<std::int16_t>(12))
        .build();
}

bool check(avb::AvtpPacketChecker& checker, const std::vector<std::uint8_t>& frame, std::size_t length) {
    return checker.checkPacketData(frame.data(), static_cast<std::uint32_t>(length));
}

bool check(avb::AvtpPacketChecker& checker, const std::vector<std::uint8_t>& frame) {
    return check(checker, frame, frame.size());
}

// Collects the messages a checker emits, directly.
struct MessageRecorder {
    explicit MessageRecorder(avb::AvtpPacketBoundaryChecker& checker) {
        QObject::connect(
            &checker, &avb::AvtpPacketBoundaryChecker::message, &checker,
            [this](std::shared_ptr<sonacore::BaseMessage> message) {
                messages.push_back(std::dynamic_pointer_cast<sonacore::ChannelAmountChanged>(message));
            },
            Qt::DirectConnection);
    }
    std::vector<std::shared_ptr<sonacore::ChannelAmountChanged>> messages;
};

std::vector<bool> judge(const std::vector<std::uint8_t>& sequences) {
    avb::AvtpPacketChecker checker(deviceKey, 2);
    std::vector<bool> results;
    for (const std::uint8_t sequence : sequences) {
        results.push_back(check(checker, frameWithSequence(sequence)));
    }
    return results;
}

} // namespace

TEST(AvtpPacketChecker, ConstructionLogsAndTakesTheKeyAsAddress) {
    testsupport::LogCapture capture;
    avb::AvtpPacketChecker checker(deviceKey, 2);
    EXPECT_EQ(capture.texts(QtDebugMsg),
              (std::vector<std::string>{"AvtpPacketBoundaryChecker \"00a0c9112233\" Initialized",
                                        "AvtpPacketChecker \"00a0c9112233\" Initialized",
                                        "setSourceMacAddress \"00a0c9112233\" MAC address successfully set:  "
                                        "00a0c9112233"}));
    EXPECT_EQ(checker.getSourceMacAddress(), deviceKey);
    EXPECT_EQ(checker.getChannelAmount(), -1);
    EXPECT_EQ(checker.getPreviousChannelAmount(), 0);
    EXPECT_EQ(checker.getStreamDataLength(), -1);
    EXPECT_TRUE(checker.isFirstPacket());
}

TEST(AvtpPacketChecker, DestructionLogsClearedForBothClasses) {
    auto checker = std::make_unique<avb::AvtpPacketChecker>(deviceKey, 2);
    testsupport::LogCapture capture;
    checker.reset();
    EXPECT_EQ(capture.texts(QtDebugMsg),
              (std::vector<std::string>{"~AvtpPacketChecker \"00a0c9112233\" CLEARED!",
                                        "~AvtpPacketBoundaryChecker \"00a0c9112233\" CLEARED!"}));
}

TEST(AvtpPacketChecker, KeyMatchesSourceAddressInEitherCase) {
    const auto frame = frameWithSequence(1);
    avb::AvtpPacketChecker lower("00a0c9112233", 2);
    avb::AvtpPacketChecker upper("00A0C9112233", 2);
    EXPECT_TRUE(lower.isPacketConform(frame.data(), static_cast<std::uint32_t>(frame.size())));
    EXPECT_TRUE(upper.isPacketConform(frame.data(), static_cast<std::uint32_t>(frame.size())));
    avb::AvtpPacketChecker other("00a0c9112234", 2);
    EXPECT_FALSE(other.isPacketConform(frame.data(), static_cast<std::uint32_t>(frame.size())));
}

TEST(AvtpPacketChecker, ConformityNeedsAFrameAndTwelveBytes) {
    const auto frame = frameWithSequence(1);
    avb::AvtpPacketChecker checker(deviceKey, 2);
    EXPECT_FALSE(checker.isPacketConform(nullptr, 100));
    EXPECT_FALSE(checker.isPacketConform(frame.data(), 11));
    EXPECT_TRUE(checker.isPacketConform(frame.data(), 12));
}

TEST(AvtpPacketChecker, KeyOfElevenCharactersGivesZeroTextWarningsAndNoException) {
    testsupport::LogCapture capture;
    avb::AvtpPacketChecker checker("00a0c911223", 2);
    EXPECT_EQ(checker.getSourceMacAddress(), "000000000000");
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{
                  "setSourceMacAddress \"000000000000\" The given source MAC address length is "
                  "invalid!  Method isPacketConform() will always return false!"});
    // Compared against six zero bytes: a frame from address zero would match.
    auto builder = testsupport::AvtpFrameBuilder{}.withSamples(std::vector<std::int16_t>(12));
    builder.source = {0, 0, 0, 0, 0, 0};
    const auto zeroFrame = builder.build();
    EXPECT_TRUE(checker.isPacketConform(zeroFrame.data(), static_cast<std::uint32_t>(zeroFrame.size())));
    const auto frame = frameWithSequence(0);
    EXPECT_FALSE(checker.isPacketConform(frame.data(), static_cast<std::uint32_t>(frame.size())));
}

TEST(AvtpPacketChecker, InvalidKeyLaterLeavesTheBytesAsTheyWere) {
    avb::AvtpPacketChecker checker(deviceKey, 2);
    checker.setSourceMacAddress("bad");
    EXPECT_EQ(checker.getSourceMacAddress(), "000000000000");
    const auto frame = frameWithSequence(0);
    EXPECT_TRUE(checker.isPacketConform(frame.data(), static_cast<std::uint32_t>(frame.size())));
}

namespace {

// The sequence numbers of successive frames of one stream and the checker's verdict on each.
struct SequenceRun {
    const char* name;
    std::vector<std::uint8_t> sequences;
    std::vector<bool> verdicts;
};

class AvtpPacketCheckerSequence : public ::testing::TestWithParam<SequenceRun> {};

const SequenceRun sequenceRuns[] = {
    {"WrapFrom255To0IsInOrder", {254, 255, 0, 1}, {true, true, true, true}},
    {"GapReportsOneFrameAndResynchronises", {10, 12, 13}, {true, false, true}},
    {"FirstFrameNumbered77IsInOrder", {77}, {true}},
    {"FirstFrameNumbered0IsInOrder", {0}, {true}},
    {"RepeatedNumberIsOutOfOrder", {7, 7}, {true, false}},
};

} // namespace

TEST_P(AvtpPacketCheckerSequence, JudgesEachFrameAgainstThePreviousNumber) {
    EXPECT_EQ(judge(GetParam().sequences), GetParam().verdicts);
}

INSTANTIATE_TEST_SUITE_P(Rows, AvtpPacketCheckerSequence, ::testing::ValuesIn(sequenceRuns),
                         [](const auto& info) { return std::string(info.param.name); });

namespace {

// A frame out of order after an accepted one, and the numbers the debug line gives: the expected one is the
// previous number plus one, not wrapped.
struct OutOfOrderFrame {
    const char* name;
    std::uint8_t previous;
    std::uint8_t received;
    const char* expectedLine;
};

class AvtpPacketCheckerOutOfOrder : public ::testing::TestWithParam<OutOfOrderFrame> {};

const OutOfOrderFrame outOfOrderFrames[] = {
    {"OneAfter255", 255, 1,
     "isSequenceNrInOrder \"00a0c9112233\" Sequence Order number out of range!   Expected:  256  Received:  "
     "1"},
    {"ZeroAfterFive", 5, 0,
     "isSequenceNrInOrder \"00a0c9112233\" Sequence Order number out of range!   Expected:  6  Received:  0"},
};

} // namespace

TEST_P(AvtpPacketCheckerOutOfOrder, IsRefusedWithTheExpectedAndReceivedNumbersAndResynchronises) {
    const OutOfOrderFrame& row = GetParam();
    avb::AvtpPacketChecker checker(deviceKey, 2);
    ASSERT_TRUE(check(checker, frameWithSequence(row.previous)));
    testsupport::LogCapture capture;
    EXPECT_FALSE(check(checker, frameWithSequence(row.received)));
    EXPECT_EQ(capture.texts(QtDebugMsg), std::vector<std::string>{row.expectedLine});
    EXPECT_TRUE(check(checker, frameWithSequence(static_cast<std::uint8_t>(row.received + 1))));
}

INSTANTIATE_TEST_SUITE_P(Rows, AvtpPacketCheckerOutOfOrder, ::testing::ValuesIn(outOfOrderFrames),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(AvtpPacketChecker, FirstFrameTooShortForLengthStillSetsTheBase) {
    avb::AvtpPacketChecker checker(deviceKey, 2);
    const auto frame = frameWithSequence(40);
    EXPECT_FALSE(check(checker, frame, 34));
    EXPECT_FALSE(checker.isFirstPacket());
    EXPECT_EQ(checker.getLastSequenceNumber(), 40);
    EXPECT_EQ(checker.getStreamDataLength(), -1);
    EXPECT_TRUE(check(checker, frameWithSequence(41)));
}

TEST(AvtpPacketChecker, FrameOfThirtyThreeBytesYieldsChannelsThenFalse) {
    avb::AvtpPacketChecker checker(deviceKey, 2);
    ASSERT_TRUE(check(checker, frameWithSequence(1)));
    const auto frame = frameWithSequence(2);
    EXPECT_FALSE(check(checker, frame, 33));
    EXPECT_EQ(checker.getChannelAmount(), 2);
    EXPECT_EQ(checker.getStreamDataLength(), -1);
    // The short frame was not judged, so 2 is still the next number.
    EXPECT_TRUE(check(checker, frameWithSequence(2)));
}

TEST(AvtpPacketChecker, FrameOfThirtySixBytesPassesWhenInOrder) {
    avb::AvtpPacketChecker checker(deviceKey, 2);
    ASSERT_TRUE(check(checker, frameWithSequence(1)));
    EXPECT_TRUE(check(checker, frameWithSequence(2), 36));
    EXPECT_EQ(checker.getStreamDataLength(), 24);
}

TEST(AvtpPacketChecker, FrameShorterThanChannelByteSetsMinusOneAndReports) {
    avb::AvtpPacketChecker checker(deviceKey, 2);
    ASSERT_TRUE(check(checker, frameWithSequence(1)));
    MessageRecorder recorder(checker);
    EXPECT_FALSE(check(checker, frameWithSequence(2), 20));
    EXPECT_EQ(checker.getChannelAmount(), -1);
    ASSERT_EQ(recorder.messages.size(), 1U);
    EXPECT_EQ(recorder.messages[0]->getChannelAmountBefore(), 2U);
    EXPECT_EQ(recorder.messages[0]->getChannelAmountAfter(), 0xffffffffU);
    // The next good frame reports the way back.
    EXPECT_TRUE(check(checker, frameWithSequence(2)));
    EXPECT_EQ(recorder.messages.size(), 2U);
}

TEST(AvtpPacketChecker, NullFrameIsRefusedAndReadsNothing) {
    avb::AvtpPacketChecker checker(deviceKey, 2);
    EXPECT_FALSE(checker.checkPacketData(nullptr, 100));
    EXPECT_EQ(checker.getSequenceNumber(), 0);
    EXPECT_FALSE(checker.refreshChannelAmount());
    EXPECT_FALSE(checker.refreshStreamDataLength());
}

TEST(AvtpPacketChecker, ChannelByteZeroPassesDataCheckAndFailsChannelCheck) {
    avb::AvtpPacketChecker checker(deviceKey, 8);
    const auto frame = testsupport::AvtpFrameBuilder{}.withChannels(0).build();
    EXPECT_TRUE(check(checker, frame));
    testsupport::LogCapture capture;
    EXPECT_EQ(checker.checkChannelAmount(8), 0);
    EXPECT_EQ(
        capture.texts(QtWarningMsg),
        std::vector<std::string>{"checkChannelAmount \"00a0c9112233\" The amount of AVTP packet channels is "
                                 "invalid or exceeded:  Maximum allowed channel amount:  8 , AVTP packet "
                                 "amount:  0"});
}

TEST(AvtpPacketBoundaryChecker, ChannelBoundIsOneSided) {
    avb::AvtpPacketBoundaryChecker checker(deviceKey, 8);
    checker.setAmountOfDeliveredAvtpPacketChannels(8);
    EXPECT_EQ(checker.checkChannelAmount(8), 8);
    checker.setAmountOfDeliveredAvtpPacketChannels(9);
    EXPECT_EQ(checker.checkChannelAmount(8), 0);
    checker.setAmountOfDeliveredAvtpPacketChannels(1);
    EXPECT_EQ(checker.checkChannelAmount(8), 1);
    checker.setAmountOfDeliveredAvtpPacketChannels(-1);
    EXPECT_EQ(checker.checkChannelAmount(8), 0);
}

TEST(AvtpPacketBoundaryChecker, SameAmountTwiceSendsOneMessage) {
    avb::AvtpPacketBoundaryChecker checker(deviceKey, 4);
    MessageRecorder recorder(checker);
    testsupport::LogCapture capture;
    checker.setAmountOfDeliveredAvtpPacketChannels(2);
    checker.setAmountOfDeliveredAvtpPacketChannels(2);
    ASSERT_EQ(recorder.messages.size(), 1U);
    const auto& message = *recorder.messages[0];
    EXPECT_EQ(message.getMessageId(), deviceKey);
    EXPECT_EQ(message.getMessageType(), "INFORMATION");
    EXPECT_EQ(message.getMessageSender(), "AvtpPacketBoundaryChecker");
    EXPECT_EQ(message.getConfiguredChannelAmount(), 4U);
    EXPECT_EQ(message.getChannelAmountBefore(), 0xffffffffU);
    EXPECT_EQ(message.getChannelAmountAfter(), 2U);
    EXPECT_EQ(
        capture.texts(QtDebugMsg),
        std::vector<std::string>{"setAmountOfDeliveredAvtpPacketChannels \"00a0c9112233\" The amount of the "
                                 "currently transferred AVTP packet channels have been  changed. New channel "
                                 "number:  2 , before:  -1"});
}

TEST(AvtpPacketBoundaryChecker, ChangeFromTwoToFourAndBackSendsTwoMessages) {
    avb::AvtpPacketBoundaryChecker checker(deviceKey, 4);
    checker.setAmountOfDeliveredAvtpPacketChannels(2);
    MessageRecorder recorder(checker);
    checker.setAmountOfDeliveredAvtpPacketChannels(4);
    checker.setAmountOfDeliveredAvtpPacketChannels(2);
    ASSERT_EQ(recorder.messages.size(), 2U);
    EXPECT_EQ(recorder.messages[0]->getChannelAmountBefore(), 2U);
    EXPECT_EQ(recorder.messages[0]->getChannelAmountAfter(), 4U);
    EXPECT_EQ(recorder.messages[1]->getChannelAmountBefore(), 4U);
    EXPECT_EQ(recorder.messages[1]->getChannelAmountAfter(), 2U);
    EXPECT_EQ(checker.getPreviousChannelAmount(), 4);
}

TEST(AvtpPacketBoundaryChecker, StreamDataLengthIsComparedExactly) {
    avb::AvtpPacketBoundaryChecker checker(deviceKey, 2);
    checker.setStreamDataLength(24);
    EXPECT_TRUE(checker.isStreamDataLengthExpected(24));
    EXPECT_FALSE(checker.isStreamDataLengthExpected(12));
}

TEST(AvtpPacketChecker, RefreshAndResetReadTheStoredFrame) {
    avb::AvtpPacketChecker checker(deviceKey, 2);
    const auto frame =
        testsupport::AvtpFrameBuilder{}.withSequence(9).withChannels(1).withSamples({1, 2}).build();
    check(checker, frame);
    EXPECT_EQ(checker.getSequenceNumber(), 9);
    EXPECT_TRUE(checker.refreshChannelAmount());
    EXPECT_EQ(checker.getChannelAmount(), 1);
    EXPECT_TRUE(checker.refreshStreamDataLength());
    EXPECT_EQ(checker.getStreamDataLength(), 4);
    checker.resetSequenceNumber();
    EXPECT_EQ(checker.getLastSequenceNumber(), 9);
}
