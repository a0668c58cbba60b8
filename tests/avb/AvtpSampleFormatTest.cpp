#include "avb/AvtpPacketReceiver.h"
#include "avb/PacketDelivery.h"
#include "sonacore/StatusMessage.h"
#include "support/AvtpFrameBuilder.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using avbtest::deliver;

constexpr const char* deviceKey = "00a0c9112233";
const std::string receiverText = "\"AvtpPacketReceiver (unbound)\"";
constexpr int samplesPerChannel = 6;

// `bytes` big-endian bytes of a two's-complement value.
void appendBigEndian(std::vector<std::uint8_t>& out, std::int64_t value, int bytes) {
    const auto raw = static_cast<std::uint64_t>(value);
    for (int index = bytes - 1; index >= 0; --index) {
        out.push_back(static_cast<std::uint8_t>(raw >> (8 * index)));
    }
}

void appendFloat(std::vector<std::uint8_t>& out, float value) {
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    appendBigEndian(out, bits, 4);
}

std::uint32_t bitsOf(float value) {
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

// A receiver with one device that states its format, and the messages it sends.
class StatedFormatDevice {
public:
    StatedFormatDevice(sonacore::SampleFormat format, std::uint64_t channels)
        : device("dev", &buffer, format, channels, samplesPerChannel) {
        receiver.addStreamingDevice(deviceKey, &device);
        QObject::connect(&receiver, &avb::AvtpPacketReceiver::message, &receiver,
                         [this](std::shared_ptr<sonacore::BaseMessage> message) {
                             messages.push_back(std::dynamic_pointer_cast<sonacore::StatusMessage>(message));
                         });
    }

    std::vector<float> channel(std::uint64_t number, std::uint64_t amount) {
        return receiver.getAudioBuffer(deviceKey, number)->fetchSamples(amount);
    }
    std::uint64_t written(std::uint64_t number) {
        return receiver.getAudioBuffer(deviceKey, number)->getWritePosition();
    }
    // The texts of the warnings among the messages; the channel amount notices are left out.
    std::vector<std::string> warnings() const {
        std::vector<std::string> texts;
        for (const auto& message : messages) {
            if (message) {
                EXPECT_EQ(message->getMessageType(), "WARNING");
                EXPECT_EQ(message->getMessageSender(), "AvtpPacketReceiver");
                EXPECT_EQ(message->getMessageId(), deviceKey);
                texts.push_back(message->getMessageText());
            }
        }
        return texts;
    }

    sonacore::BufferConfiguration buffer{"buf", 64};
    sonacore::DeviceConfiguration device;
    avb::AvtpPacketReceiver receiver{2};
    std::vector<std::shared_ptr<sonacore::StatusMessage>> messages;
};

// One integer format: its code and bit depth in the frame, its bytes per sample, the divisor of its values,
// and values that reach both ends of its range.
struct IntegerFormat {
    const char* name;
    sonacore::SampleFormat format;
    std::uint8_t code;
    std::uint8_t bitDepth;
    int bytes;
    long double divisor;
    std::vector<std::int64_t> values;
};

std::ostream& operator<<(std::ostream& stream, const IntegerFormat& row) {
    return stream << row.name;
}

class IntegerSampleFormat : public ::testing::TestWithParam<IntegerFormat> {};

// The value of channel `channel` at instant `instant` in these tests: the row's values in turn.
std::int64_t valueAt(const IntegerFormat& row, int channels, int channel, int instant) {
    return row.values[static_cast<std::size_t>(instant * channels + channel) % row.values.size()];
}

} // namespace

TEST_P(IntegerSampleFormat, SamplesArriveAsTheSignedValueOverTheFormatsFullScale) {
    const IntegerFormat& row = GetParam();
    for (const int channels : {2, 8}) {
        StatedFormatDevice device(row.format, static_cast<std::uint64_t>(channels));
        std::vector<std::uint8_t> payload;
        for (int instant = 0; instant < samplesPerChannel; ++instant) {
            for (int channel = 0; channel < channels; ++channel) {
                appendBigEndian(payload, valueAt(row, channels, channel, instant), row.bytes);
            }
        }
        testsupport::LogCapture capture;
        deliver(device.receiver, testsupport::AvtpFrameBuilder{}
                                     .withChannels(static_cast<std::uint8_t>(channels))
                                     .withFormat(row.code, row.bitDepth)
                                     .withPayload(payload)
                                     .build());
        for (int channel = 0; channel < channels; ++channel) {
            const std::vector<float> samples = device.channel(static_cast<std::uint64_t>(channel), 6);
            for (int instant = 0; instant < samplesPerChannel; ++instant) {
                const auto expected = static_cast<float>(
                    static_cast<long double>(valueAt(row, channels, channel, instant)) / row.divisor);
                EXPECT_EQ(bitsOf(samples[static_cast<std::size_t>(instant)]), bitsOf(expected))
                    << channels << " channels, channel " << channel << ", instant " << instant;
            }
        }
        EXPECT_TRUE(capture.texts(QtWarningMsg).empty());
        EXPECT_TRUE(device.warnings().empty());
    }
}

INSTANTIATE_TEST_SUITE_P(
    EveryIntegerFormat, IntegerSampleFormat,
    ::testing::Values(
        IntegerFormat{"Int16",
                      sonacore::SampleFormat::Int16,
                      0x04,
                      16,
                      2,
                      32768.0L,
                      {-32768, 32767, 0, 1, -1, 12345, -23456}},
        IntegerFormat{"Int24",
                      sonacore::SampleFormat::Int24,
                      0x03,
                      24,
                      3,
                      8388608.0L,
                      {-8388608, 8388607, 0, 1, -1, 0x123456, -0x654321}},
        IntegerFormat{"Int32",
                      sonacore::SampleFormat::Int32,
                      0x02,
                      32,
                      4,
                      2147483648.0L,
                      {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max(), 0,
                       1, -1, 0x12345678, -0x76543210, 0x7fffff81}},
        // 24 significant bits in a 32-bit container: the top 24, and the frame's bit depth says 24.
        IntegerFormat{"Int32With24SignificantBits",
                      sonacore::SampleFormat::Int32,
                      0x02,
                      24,
                      4,
                      2147483648.0L,
                      {-8388608LL * 256, 8388607LL * 256, 0, 256, -256, 0x123456LL * 256}}),
    [](const ::testing::TestParamInfo<IntegerFormat>& info) { return std::string(info.param.name); });

TEST(AvtpSampleFormat, FloatSamplesArriveBitForBit) {
    const std::vector<float> values{0.5f, -1.0f,         0.999f, -0.0f, 1e-30f, 1e-40f,
                                    3.0f, -0.123456789f, 0.0f,   0.25f, -0.75f, 0.1f};
    for (const int channels : {2, 8}) {
        StatedFormatDevice device(sonacore::SampleFormat::Float32, static_cast<std::uint64_t>(channels));
        std::vector<std::uint8_t> payload;
        for (int index = 0; index < channels * samplesPerChannel; ++index) {
            appendFloat(payload, values[static_cast<std::size_t>(index) % values.size()]);
        }
        deliver(device.receiver, testsupport::AvtpFrameBuilder{}
                                     .withChannels(static_cast<std::uint8_t>(channels))
                                     .withFormat(0x01, 32)
                                     .withPayload(payload)
                                     .build());
        for (int channel = 0; channel < channels; ++channel) {
            const std::vector<float> samples = device.channel(static_cast<std::uint64_t>(channel), 6);
            for (int instant = 0; instant < samplesPerChannel; ++instant) {
                const float sent =
                    values[static_cast<std::size_t>(instant * channels + channel) % values.size()];
                EXPECT_EQ(bitsOf(samples[static_cast<std::size_t>(instant)]), bitsOf(sent));
            }
        }
        EXPECT_TRUE(device.warnings().empty());
    }
}

TEST(AvtpSampleFormat, NanAndInfinitiesArriveAsZeroAndAreReportedAtMostOnceASecond) {
    StatedFormatDevice device(sonacore::SampleFormat::Float32, 1);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    const auto frameOf = [](std::uint8_t sequence, const std::vector<float>& samples) {
        std::vector<std::uint8_t> payload;
        for (const float sample : samples) {
            appendFloat(payload, sample);
        }
        return testsupport::AvtpFrameBuilder{}
            .withSequence(sequence)
            .withChannels(1)
            .withFormat(0x01, 32)
            .withPayload(payload)
            .build();
    };
    testsupport::LogCapture capture;
    deliver(device.receiver, frameOf(1, {nan, infinity, -infinity, 0.25f, -nan, 0.5f}));
    EXPECT_EQ(device.channel(0, 6), (std::vector<float>{0.0f, 0.0f, 0.0f, 0.25f, 0.0f, 0.5f}));
    const std::string first =
        "Device 00a0c9112233 sent 4 float samples that are NaN or infinite since the last "
        "report (4 in all), and each was analysed as 0.0.";
    EXPECT_EQ(device.warnings(), (std::vector<std::string>{first}));
    EXPECT_EQ(capture.texts(QtWarningMsg),
              (std::vector<std::string>{"writeAudioSamplesToBuffer " + receiverText + " " + first}));

    // Within the second: counted, not reported.
    deliver(device.receiver, frameOf(2, {nan, 0.125f, 0.125f, 0.125f, 0.125f, 0.125f}));
    EXPECT_EQ(device.warnings().size(), 1U);
    EXPECT_EQ(device.channel(0, 6), (std::vector<float>{0.0f, 0.125f, 0.125f, 0.125f, 0.125f, 0.125f}));

    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    deliver(device.receiver, frameOf(3, {0.125f, 0.125f, infinity, 0.125f, 0.125f, 0.125f}));
    EXPECT_EQ(
        device.warnings(),
        (std::vector<std::string>{first, "Device 00a0c9112233 sent 2 float samples that are NaN or infinite "
                                         "since the last report (6 in all), and each was analysed as 0.0."}));
}

TEST(AvtpSampleFormat, FrameStatingAnotherFormatIsRefusedWithOneWarningPerChangeOfTheStatedFormat) {
    // A device opting in to Int32 while its talker sends Int16, then Float32, then Int32, then Int16 again.
    StatedFormatDevice device(sonacore::SampleFormat::Int32, 2);
    std::vector<std::uint8_t> int16Payload;
    std::vector<std::uint8_t> int32Payload;
    for (int index = 0; index < 2 * samplesPerChannel; ++index) {
        appendBigEndian(int16Payload, 1000 + index, 2);
        appendBigEndian(int32Payload, (1000 + index) * 65536LL, 4);
    }
    const auto send = [&](std::uint8_t sequence, std::uint8_t code, std::uint8_t depth,
                          const std::vector<std::uint8_t>& payload) {
        deliver(device.receiver, testsupport::AvtpFrameBuilder{}
                                     .withSequence(sequence)
                                     .withFormat(code, depth)
                                     .withPayload(payload)
                                     .build());
    };
    const std::string int16Refused =
        "Device 00a0c9112233 is configured for Int32 samples, but its frames state "
        "Int16 samples, so their audio is refused until the two agree: configure "
        "the device with the format its talker sends.";
    const std::string floatRefused =
        "Device 00a0c9112233 is configured for Int32 samples, but its frames state "
        "Float32 samples, so their audio is refused until the two agree: configure "
        "the device with the format its talker sends.";
    testsupport::LogCapture capture;
    send(1, 0x04, 16, int16Payload);
    send(2, 0x04, 16, int16Payload);
    send(3, 0x04, 16, int16Payload);
    EXPECT_EQ(device.warnings(), (std::vector<std::string>{int16Refused}));
    EXPECT_EQ(capture.texts(QtWarningMsg),
              (std::vector<std::string>{"writeAudioSamplesToBuffer " + receiverText + " " + int16Refused}));
    EXPECT_EQ(device.written(0), 0U);
    // Refused for its format, not missed: the sequence went on.
    EXPECT_EQ(device.receiver.getMissedPackets(), 0U);

    send(4, 0x01, 32, int32Payload);
    EXPECT_EQ(device.warnings(), (std::vector<std::string>{int16Refused, floatRefused}));
    EXPECT_EQ(device.written(0), 0U);

    send(5, 0x02, 32, int32Payload);
    send(6, 0x02, 32, int32Payload);
    EXPECT_EQ(device.written(0), 12U);
    EXPECT_EQ(device.channel(0, 1), (std::vector<float>{static_cast<float>(1010 * 65536LL / 2147483648.0L)}));
    EXPECT_EQ(device.warnings().size(), 2U);

    send(7, 0x04, 16, int16Payload);
    EXPECT_EQ(device.warnings(), (std::vector<std::string>{int16Refused, floatRefused, int16Refused}));
    EXPECT_EQ(device.receiver.getMissedPackets(), 0U);
}

TEST(AvtpSampleFormat, FormatsThatAreNotAnalysedAreNamedInTheRefusal) {
    StatedFormatDevice device(sonacore::SampleFormat::Int24, 1);
    std::vector<std::uint8_t> payload(3 * samplesPerChannel, 0);
    std::uint8_t sequence = 1;
    for (const std::uint8_t code : {0x05, 0x00, 0x09}) {
        deliver(device.receiver, testsupport::AvtpFrameBuilder{}
                                     .withSequence(sequence++)
                                     .withChannels(1)
                                     .withFormat(code, 24)
                                     .withPayload(payload)
                                     .build());
    }
    const std::string start = "Device 00a0c9112233 is configured for Int24 samples, but its frames state ";
    const std::string end =
        " samples, so their audio is refused until the two agree: configure the device with "
        "the format its talker sends.";
    EXPECT_EQ(device.warnings(),
              (std::vector<std::string>{start + "AES3" + end, start + "user-specified" + end,
                                        start + "reserved code 9" + end}));
}

TEST(AvtpSampleFormat, DeviceWithoutAStatedFormatIgnoresTheFormatField) {
    sonacore::BufferConfiguration buffer("buf", 64);
    sonacore::DeviceConfiguration device("dev", &buffer, 2, 1, 6);
    avb::AvtpPacketReceiver receiver(2);
    receiver.addStreamingDevice(deviceKey, &device);
    testsupport::LogCapture capture;
    // A frame that says Float32 is still read as 16-bit samples, as before formats could be stated.
    deliver(receiver, testsupport::AvtpFrameBuilder{}
                          .withChannels(1)
                          .withFormat(0x01, 32)
                          .withSamples({16384, -16384, 1, 2, 3, 4})
                          .build());
    EXPECT_EQ(receiver.getAudioBuffer(deviceKey, 0)->fetchSamples(6),
              (std::vector<float>{0.5f, -0.5f, 1 / 32768.0f, 2 / 32768.0f, 3 / 32768.0f, 4 / 32768.0f}));
    EXPECT_TRUE(capture.texts(QtWarningMsg).empty());
}

TEST(AvtpSampleFormat, StatedFormatSamplesAreNeverReadPastTheCapturedFrame) {
    for (const auto format : {sonacore::SampleFormat::Int16, sonacore::SampleFormat::Int24,
                              sonacore::SampleFormat::Int32, sonacore::SampleFormat::Float32}) {
        StatedFormatDevice device(format, 2);
        const auto bytes = sonacore::DeviceConfiguration::sampleSizeOf(format);
        const std::uint8_t code = format == sonacore::SampleFormat::Int16   ? 0x04
                                  : format == sonacore::SampleFormat::Int24 ? 0x03
                                  : format == sonacore::SampleFormat::Int32 ? 0x02
                                                                            : 0x01;
        const auto full = testsupport::AvtpFrameBuilder{}
                              .withFormat(code, 32)
                              .withPayload(std::vector<std::uint8_t>(2 * samplesPerChannel * bytes, 0x11))
                              .build();
        for (std::size_t length = 0; length < full.size(); ++length) {
            avbtest::deliverTruncated(device.receiver, full, length);
        }
        EXPECT_EQ(device.written(0), 0U);
        // The truncated frames all carried sequence number 0; the whole frame follows them in order.
        deliver(device.receiver,
                testsupport::AvtpFrameBuilder{}
                    .withSequence(1)
                    .withFormat(code, 32)
                    .withPayload(std::vector<std::uint8_t>(2 * samplesPerChannel * bytes, 0x11))
                    .build());
        EXPECT_EQ(device.written(0), 6U);
    }
}
