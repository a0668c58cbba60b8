#include "avb/AvtpPacketReceiver.h"
#include "avb/PacketDelivery.h"
#include "support/AvtpFrameBuilder.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using avbtest::deliver;

constexpr const char* deviceKey = "00a0c9112233";
const std::string receiverText = "\"AvtpPacketReceiver (unbound)\"";

std::vector<std::int16_t> interleaved(int base) {
    std::vector<std::int16_t> samples;
    for (int instant = 0; instant < 6; ++instant) {
        for (int channel = 0; channel < 2; ++channel) {
            samples.push_back(static_cast<std::int16_t>(base + 100 * channel + instant));
        }
    }
    return samples;
}

std::vector<float> expectedChannel(int channel, int base) {
    std::vector<float> values;
    for (int instant = 0; instant < 6; ++instant) {
        values.push_back(static_cast<float>(base + 100 * channel + instant) / 32768.0f);
    }
    return values;
}

testsupport::AvtpFrameBuilder frame(std::uint8_t sequence, int base = 1000) {
    return testsupport::AvtpFrameBuilder{}.withSequence(sequence).withSamples(interleaved(base));
}

// A receiver with one two-channel 16-bit device that accepts tagged frames, or not.
class TaggedFrames : public ::testing::Test {
protected:
    void add(bool acceptVlanTagged) { receiver.addStreamingDevice(deviceKey, &device, acceptVlanTagged); }
    std::uint64_t written() { return receiver.getAudioBuffer(deviceKey, 0)->getWritePosition(); }

    sonacore::BufferConfiguration buffer{"buf", 64};
    sonacore::DeviceConfiguration device{"dev", &buffer, sonacore::SampleFormat::Int16, 2, 6};
    avb::AvtpPacketReceiver receiver{2};
};

// One way a frame can be tagged: the tags, outermost first, as TPID and tag control information.
struct Tagging {
    const char* name;
    std::vector<std::pair<std::uint16_t, std::uint16_t>> tags;
};

std::ostream& operator<<(std::ostream& stream, const Tagging& row) {
    return stream << row.name;
}

testsupport::AvtpFrameBuilder tagged(testsupport::AvtpFrameBuilder builder, const Tagging& row) {
    for (const auto& [tpid, control] : row.tags) {
        builder.withTag(tpid, control);
    }
    return builder;
}

class TaggedFrameForms : public TaggedFrames, public ::testing::WithParamInterface<Tagging> {};
// The same without the tag whose first byte equals the AAF subtype: a device that does not accept tagged
// frames reads such a frame as an untagged one, as it always has, and judges it by what it finds there.
class TaggedFrameFormsOtherThanSubtype : public TaggedFrameForms {};

const Tagging streamReservationClassA{"StreamReservationClassA", {{0x8100, 0x6002}}};
const Tagging priorityTaggedVlanZero{"PriorityTaggedVlanZero", {{0x8100, 0x6000}}};
const Tagging priorityZeroVlanZero{"PriorityZeroVlanZero", {{0x8100, 0x0000}}};
const Tagging highestVlanWithDropEligible{"HighestVlanWithDropEligible", {{0x8100, 0xffff}}};
const Tagging serviceTag{"ServiceTag", {{0x88a8, 0x6064}}};
const Tagging serviceTagOnACustomerTag{"ServiceTagOnACustomerTag", {{0x88a8, 0x0064}, {0x8100, 0x6002}}};
// The tag's first byte is 2, the AAF subtype, where an untagged frame has its subtype.
const Tagging tagThatLooksLikeTheSubtype{"TagThatLooksLikeTheSubtype", {{0x8100, 0x0200}}};

std::string rowName(const ::testing::TestParamInfo<Tagging>& info) {
    return info.param.name;
}

} // namespace

TEST_P(TaggedFrameForms, ReachTheAcceptingDeviceAsAnUntaggedFrameWould) {
    add(true);
    testsupport::LogCapture capture;
    deliver(receiver, tagged(frame(1, 1000), GetParam()).build());
    deliver(receiver, tagged(frame(2, 2000), GetParam()).build());
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->fetchSamples(6), expectedChannel(0, 2000));
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 1)->fetchSamples(12), [] {
        auto both = expectedChannel(1, 1000);
        const auto second = expectedChannel(1, 2000);
        both.insert(both.end(), second.begin(), second.end());
        return both;
    }());
    EXPECT_TRUE(capture.texts(QtWarningMsg).empty());
    EXPECT_EQ(receiver.getMissedPackets(), 0U);
}

TEST_P(TaggedFrameFormsOtherThanSubtype, AreIgnoredByADeviceThatDoesNotAcceptThem) {
    add(false);
    testsupport::LogCapture capture;
    deliver(receiver, tagged(frame(1), GetParam()).build());
    EXPECT_EQ(written(), 0U);
    EXPECT_TRUE(capture.texts(QtWarningMsg).empty());
    EXPECT_EQ(receiver.getMissedPackets(), 0U);
}

TEST_P(TaggedFrameForms, AreNeverReadPastTheCapturedBytesAtAnyLength) {
    add(true);
    const auto full = tagged(frame(0), GetParam()).build();
    for (std::size_t length = 0; length < full.size(); ++length) {
        avbtest::deliverTruncated(receiver, full, length);
        EXPECT_EQ(written(), 0U) << "captured length " << length;
    }
    deliver(receiver, tagged(frame(1), GetParam()).build());
    EXPECT_EQ(written(), 6U);
}

INSTANTIATE_TEST_SUITE_P(EveryAcceptedTagging, TaggedFrameForms,
                         ::testing::Values(streamReservationClassA, priorityTaggedVlanZero,
                                           priorityZeroVlanZero, highestVlanWithDropEligible, serviceTag,
                                           serviceTagOnACustomerTag, tagThatLooksLikeTheSubtype),
                         rowName);
INSTANTIATE_TEST_SUITE_P(EveryAcceptedTagging, TaggedFrameFormsOtherThanSubtype,
                         ::testing::Values(streamReservationClassA, priorityTaggedVlanZero,
                                           priorityZeroVlanZero, highestVlanWithDropEligible, serviceTag,
                                           serviceTagOnACustomerTag),
                         rowName);

TEST_F(TaggedFrames, UntaggedFramesStillReachADeviceThatAcceptsTaggedOnes) {
    add(true);
    deliver(receiver, frame(1).build());
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->fetchSamples(6), expectedChannel(0, 1000));
}

TEST_F(TaggedFrames, TaggedAndUntaggedFramesShareOneSequence) {
    add(true);
    testsupport::LogCapture capture;
    deliver(receiver, frame(1).build());
    deliver(receiver, frame(2).withTag(0x8100, 0x6002).build());
    deliver(receiver, frame(4).withTag(0x8100, 0x6002).build());
    EXPECT_EQ(receiver.getMissedPackets(), 1U);
    EXPECT_EQ(capture.texts(QtWarningMsg),
              (std::vector<std::string>{"extractAvtpPacketData " + receiverText + " Packets missed:  1"}));
    EXPECT_EQ(written(), 12U);
}

TEST_F(TaggedFrames, TaggedFrameOfAnUnknownDeviceIsIgnoredWithoutAWord) {
    add(true);
    auto other = frame(1).withTag(0x8100, 0x6002);
    other.source = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
    testsupport::LogCapture capture;
    deliver(receiver, other.build());
    EXPECT_EQ(written(), 0U);
    EXPECT_TRUE(capture.lines().empty());
}

TEST_F(TaggedFrames, FramesBehindOtherTagsOrOfAnotherEtherTypeAreIgnored) {
    add(true);
    testsupport::LogCapture capture;
    // Two customer tags, a customer tag on a service tag, three tags, and one tag in front of another
    // EtherType.
    deliver(receiver, frame(1).withTag(0x8100, 0x0002).withTag(0x8100, 0x6002).build());
    deliver(receiver, frame(1).withTag(0x8100, 0x0002).withTag(0x88a8, 0x6002).build());
    deliver(receiver,
            frame(1).withTag(0x88a8, 0x0002).withTag(0x8100, 0x0003).withTag(0x8100, 0x6002).build());
    auto otherType = frame(1).withTag(0x8100, 0x6002).build();
    otherType[16] = 0x08;
    otherType[17] = 0x00;
    deliver(receiver, otherType);
    EXPECT_EQ(written(), 0U);
    EXPECT_TRUE(capture.lines().empty());
}

TEST_F(TaggedFrames, TaggedFrameOfAnotherSubtypeIsIgnored) {
    add(true);
    testsupport::LogCapture capture;
    deliver(receiver, frame(1).withSubtype(3).withTag(0x8100, 0x6002).build());
    EXPECT_EQ(written(), 0U);
    EXPECT_TRUE(capture.lines().empty());
}

TEST(AvtpPacketReceiverTags, OnlyTheDevicesThatAcceptTaggedFramesReceiveThem) {
    sonacore::BufferConfiguration buffer("buf", 64);
    sonacore::DeviceConfiguration device("dev", &buffer, 2, 2, 6);
    avb::AvtpPacketReceiver receiver(2);
    EXPECT_FALSE(receiver.acceptsVlanTagged());
    receiver.addStreamingDevice(deviceKey, &device, false);
    receiver.addStreamingDevice("001122334455", &device, true);
    EXPECT_TRUE(receiver.acceptsVlanTagged());

    auto accepting = frame(1, 3000).withTag(0x8100, 0x6002);
    accepting.source = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
    deliver(receiver, frame(1).withTag(0x8100, 0x6002).build());
    deliver(receiver, accepting.build());
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->getWritePosition(), 0U);
    EXPECT_EQ(receiver.getAudioBuffer("001122334455", 0)->fetchSamples(6), expectedChannel(0, 3000));
}
