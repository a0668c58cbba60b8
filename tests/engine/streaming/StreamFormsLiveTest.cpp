#include "SignalGenerator.h"
#include "engine/streaming/StreamingEngine.h"
#include "sonacore/StatusMessage.h"
#include "support/DropDiagnostics.h"
#include "support/EventLoop.h"
#include "support/LogCapture.h"
#include "support/NetnsFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;

constexpr const char* deviceKey = "00a0c9112233";
constexpr std::uint64_t frames = 2000;
constexpr std::uint64_t samplesPerFrame = 6;
const std::string vlanFilterEnabled = "Filter 'ether proto 0x22f0 or (vlan and ether proto 0x22f0)' enabled";

// A different tone per channel, so that a sample in the wrong channel cannot pass.
std::string signalFor(unsigned channel) {
    return "sine:" + std::to_string(1000 + 250 * channel) + ":0.8";
}

// What the talker sends on one channel, as the buffer must hold it. The talker shifts its 16-bit value up
// into the 24- and 32-bit containers, so each integer format carries value / 32768; the float format carries
// the signal's value before its rounding to 16 bits, as a float.
std::vector<float> sent(unsigned channel, std::uint64_t count, sonacore::SampleFormat format) {
    avtptalker::SignalGenerator generator = avtptalker::SignalGenerator::silence();
    std::string error;
    EXPECT_TRUE(avtptalker::SignalGenerator::parse(signalFor(channel), channel, generator, error)) << error;
    std::vector<float> samples;
    for (std::uint64_t index = 0; index < count; ++index) {
        samples.push_back(
            format == sonacore::SampleFormat::Float32
                ? static_cast<float>(generator.valueAt(index))
                : static_cast<float>(static_cast<long double>(generator.sampleAt(index)) / 32768.0L));
    }
    return samples;
}

struct Form {
    const char* name;
    sonacore::SampleFormat format;
    const char* talkerFormat;
    unsigned channels;
    // The talker's tagging options; empty for untagged frames.
    std::vector<std::string> tagging;
};

std::ostream& operator<<(std::ostream& stream, const Form& form) {
    return stream << form.name;
}

// A streaming engine on the veth pair's capture end, with our talker on the other.
class StreamFormsLive : public testsupport::NetnsFixture {
protected:
    // Adds the device's stream, collects the engine's messages, and starts the capture.
    void listen(sonacore::DeviceConfiguration& device, bool acceptVlanTagged) {
        stream = std::make_unique<sonacore::StreamConfiguration>(
            "stream", deviceKey, pcapplus::PcapDeviceInfo(2, captureInterface(), "veth end"), &device,
            acceptVlanTagged);
        QObject::connect(
            &engine, &engine::streaming::StreamingEngine::message, &engine,
            [this](auto message) { texts.push_back(message->getMessageText()); }, Qt::AutoConnection);
        engine.addRemoteStreamReceiver(*stream);
        engine.getNetworkDeviceHandle(captureInterface()).start();
        ASSERT_TRUE(testsupport::spinUntil([&] { return said("Start listening"); }));
        before =
            testsupport::MachineDropCounters::read(captureInterface(), namespaceName(), talkerInterface());
    }

    // Sends `frames` frames of `channels` channels at the real rate and waits for the talker to end.
    void talk(unsigned channels, std::vector<std::string> options) {
        std::vector<std::string> arguments{"--source-mac", "00:a0:c9:11:22:33",
                                           "--channels",   std::to_string(channels),
                                           "--count",      std::to_string(frames)};
        for (unsigned channel = 0; channel < channels; ++channel) {
            arguments.push_back("--channel-signal");
            arguments.push_back(std::to_string(channel) + "=" + signalFor(channel));
        }
        arguments.insert(arguments.end(), options.begin(), options.end());
        talker = &startTalker(arguments);
        ASSERT_TRUE(talkerSucceeded(*talker, 30s));
    }

    std::uint64_t written(unsigned channel) {
        return engine.getAudioBuffer(deviceKey, channel)->getWritePosition();
    }
    bool said(const std::string& text) const { return std::count(texts.begin(), texts.end(), text) > 0; }

    // Where the frames went, for a test that finds some missing.
    std::string whereFramesWent() const {
        std::string text = "\nWhere the frames went:\ntalker:\n";
        text += talker != nullptr ? testsupport::talkerSummary(talker->output()) : "(not started)\n";
        text += testsupport::MachineDropCounters::read(captureInterface(), namespaceName(), talkerInterface())
                    .describe(before);
        text += "messages:\n";
        for (const auto& message : texts) {
            text += "  " + message + "\n";
        }
        return text;
    }

    void TearDown() override {
        engine.stop();
        engine.waitForCaptureEnd();
        testsupport::NetnsFixture::TearDown();
    }

    sonacore::BufferConfiguration buffer{"buffer", 48000};
    std::unique_ptr<sonacore::StreamConfiguration> stream;
    engine::streaming::StreamingEngine engine;
    std::vector<std::string> texts;
    testsupport::ChildProcess* talker = nullptr;
    testsupport::MachineDropCounters before;
};

class StreamFormLive : public StreamFormsLive, public ::testing::WithParamInterface<Form> {};

const std::vector<std::string> classATag{"--vlan", "2:3"};

std::vector<Form> everyForm() {
    std::vector<Form> forms;
    const std::vector<std::pair<sonacore::SampleFormat, const char*>> formats{
        {sonacore::SampleFormat::Int16, "int16"},
        {sonacore::SampleFormat::Int24, "int24"},
        {sonacore::SampleFormat::Int32, "int32"},
        {sonacore::SampleFormat::Float32, "float32"}};
    static std::vector<std::string> names;
    names.reserve(32);
    for (const auto& [format, talkerFormat] : formats) {
        for (const unsigned channels : {2U, 8U}) {
            for (const bool taggedForm : {false, true}) {
                names.push_back(std::string(talkerFormat) + "_" + std::to_string(channels) + "Channels" +
                                (taggedForm ? "_Vlan2" : "_Untagged"));
                forms.push_back(Form{names.back().c_str(), format, talkerFormat, channels,
                                     taggedForm ? classATag : std::vector<std::string>{}});
            }
        }
    }
    forms.push_back(Form{"int32_8Channels_ServiceTag",
                         sonacore::SampleFormat::Int32,
                         "int32",
                         8,
                         {"--vlan", "100:3", "--vlan-tpid", "88a8"}});
    forms.push_back(Form{"int32_8Channels_ServiceTagOnCustomerTag",
                         sonacore::SampleFormat::Int32,
                         "int32",
                         8,
                         {"--vlan", "2:3", "--outer-vlan", "100"}});
    return forms;
}

} // namespace

TEST_P(StreamFormLive, SamplesArriveBitExactlyInTheRightChannels) {
    const Form& form = GetParam();
    sonacore::DeviceConfiguration device("device", &buffer, form.format, form.channels, samplesPerFrame);
    listen(device, true);
    ASSERT_TRUE(said(vlanFilterEnabled));
    std::vector<std::string> options{"--format", form.talkerFormat};
    options.insert(options.end(), form.tagging.begin(), form.tagging.end());
    talk(form.channels, options);
    ASSERT_TRUE(testsupport::spinUntil([&] { return written(form.channels - 1) >= frames * samplesPerFrame; },
                                       10000ms))
        << written(form.channels - 1) << " samples of " << frames * samplesPerFrame << whereFramesWent();
    for (unsigned channel = 0; channel < form.channels; ++channel) {
        EXPECT_EQ(engine.getAudioBuffer(deviceKey, channel)->fetchSamples(frames * samplesPerFrame),
                  sent(channel, frames * samplesPerFrame, form.format))
            << "channel " << channel;
    }
}

INSTANTIATE_TEST_SUITE_P(EveryFormatTaggedAndUntagged, StreamFormLive, ::testing::ValuesIn(everyForm()),
                         [](const ::testing::TestParamInfo<Form>& info) {
                             return std::string(info.param.name);
                         });

TEST_F(StreamFormsLive, TaggedFramesAreNotReceivedWithoutTheOptIn) {
    sonacore::DeviceConfiguration device("device", &buffer, sonacore::SampleFormat::Int16, 2,
                                         samplesPerFrame);
    testsupport::LogCapture capture;
    listen(device, false);
    // The adapter keeps the filter that passes untagged frames only where the system leaves tags in place.
    EXPECT_EQ(capture.textsStartingWith(QtDebugMsg, "setFilter"),
              (std::vector<std::string>{
                  "setFilter \"PcapPacketSniffer (eth2)\" Filter 'ether proto 0x22f0' enabled"}));
    talk(2, classATag);
    // The untagged frames that follow show that the capture ran while the tagged ones went by.
    talk(2, {});
    ASSERT_TRUE(testsupport::spinUntil([&] { return written(0) >= frames * samplesPerFrame; }, 10000ms))
        << written(0) << " samples" << whereFramesWent();
    testsupport::spinFor(100ms);
    EXPECT_EQ(written(0), frames * samplesPerFrame);
    EXPECT_FALSE(said(vlanFilterEnabled));
}

TEST_F(StreamFormsLive, ThirtyTwoBitSamplesWithoutAStatedFormatStaySilence) {
    sonacore::DeviceConfiguration device("device", &buffer, 4, 2, samplesPerFrame);
    listen(device, false);
    testsupport::LogCapture capture;
    talk(2, {"--format", "int32"});
    ASSERT_TRUE(testsupport::spinUntil([&] { return written(1) >= frames * samplesPerFrame; }, 10000ms))
        << written(1) << " samples" << whereFramesWent();
    EXPECT_EQ(engine.getAudioBuffer(deviceKey, 0)->fetchSamples(frames * samplesPerFrame),
              std::vector<float>(frames * samplesPerFrame, 0.0f));
    EXPECT_EQ(capture.count(QtWarningMsg,
                            "convertFromBigEndian Cannot convert array data to float. Wrong array size:  4  "
                            "(required:  2"),
              2 * frames * samplesPerFrame);
}

TEST_F(StreamFormsLive, DeviceStatingInt32WhileItsTalkerSendsInt16IsToldOnce) {
    sonacore::DeviceConfiguration device("device", &buffer, sonacore::SampleFormat::Int32, 2,
                                         samplesPerFrame);
    listen(device, false);
    talk(2, {"--format", "int16"});
    const std::string refusal =
        "Device 00a0c9112233 is configured for Int32 samples, but its frames state Int16 "
        "samples, so their audio is refused until the two agree: configure the device "
        "with the format its talker sends.";
    ASSERT_TRUE(testsupport::spinUntil([&] { return said(refusal); }, 10000ms)) << whereFramesWent();
    testsupport::spinFor(200ms);
    EXPECT_EQ(std::count(texts.begin(), texts.end(), refusal), 1);
    EXPECT_EQ(written(0), 0U);
}

TEST_F(StreamFormsLive, FormatChangeMidStreamIsRefusedUntilTheFramesAgreeAgain) {
    sonacore::DeviceConfiguration device("device", &buffer, sonacore::SampleFormat::Int32, 2,
                                         samplesPerFrame);
    listen(device, true);
    talk(2, {"--format", "int32", "--vlan", "2:3"});
    ASSERT_TRUE(testsupport::spinUntil([&] { return written(0) >= frames * samplesPerFrame; }, 10000ms))
        << written(0) << " samples" << whereFramesWent();
    talk(2, {"--format", "float32", "--vlan", "2:3"});
    const std::string refusal =
        "Device 00a0c9112233 is configured for Int32 samples, but its frames state "
        "Float32 samples, so their audio is refused until the two agree: configure the "
        "device with the format its talker sends.";
    ASSERT_TRUE(testsupport::spinUntil([&] { return said(refusal); }, 10000ms)) << whereFramesWent();
    talk(2, {"--format", "int32", "--vlan", "2:3"});
    // The first frame of each new talker starts its own sequence and is counted missed; the others of the
    // second Int32 run arrive.
    ASSERT_TRUE(
        testsupport::spinUntil([&] { return written(0) >= (2 * frames - 1) * samplesPerFrame; }, 10000ms))
        << written(0) << " samples" << whereFramesWent();
    testsupport::spinFor(200ms);
    EXPECT_EQ(std::count(texts.begin(), texts.end(), refusal), 1);
    EXPECT_EQ(written(0), (2 * frames - 1) * samplesPerFrame);
}

TEST_F(StreamFormsLive, NonFiniteFloatsArriveAsZeroAndAreReported) {
    sonacore::DeviceConfiguration device("device", &buffer, sonacore::SampleFormat::Float32, 1,
                                         samplesPerFrame);
    listen(device, true);
    talk(1, {"--format", "float32", "--channel-signal", "0=special:cycle", "--vlan", "2"});
    ASSERT_TRUE(testsupport::spinUntil([&] { return written(0) >= frames * samplesPerFrame; }, 10000ms))
        << written(0) << " samples" << whereFramesWent();
    for (const float sample : engine.getAudioBuffer(deviceKey, 0)->fetchSamples(frames * samplesPerFrame)) {
        ASSERT_TRUE(std::isfinite(sample));
    }
    ASSERT_TRUE(testsupport::spinUntil(
        [&] {
            return std::any_of(texts.begin(), texts.end(), [](const std::string& text) {
                return text.rfind("Device 00a0c9112233 sent ", 0) == 0 &&
                       text.find(" float samples that are NaN or infinite since the last report (") !=
                           std::string::npos;
            });
        },
        5000ms))
        << whereFramesWent();
}

TEST_F(StreamFormsLive, FilterWidensWhileListeningAndTheStreamGoesOn) {
    sonacore::DeviceConfiguration first("first", &buffer, sonacore::SampleFormat::Int16, 2, samplesPerFrame);
    listen(first, false);
    ASSERT_FALSE(said(vlanFilterEnabled));
    sonacore::DeviceConfiguration second("second", &buffer, sonacore::SampleFormat::Int16, 2,
                                         samplesPerFrame);
    sonacore::StreamConfiguration tagged(
        "tagged", "001b21aabbcc", pcapplus::PcapDeviceInfo(2, captureInterface(), "veth end"), &second, true);
    engine.addRemoteStreamReceiver(tagged);
    ASSERT_TRUE(testsupport::spinUntil([&] { return said(vlanFilterEnabled); }));
    EXPECT_TRUE(engine.getNetworkDeviceHandle(captureInterface()).isRunning());
    EXPECT_TRUE(said("Stop listening"));
    talk(2, classATag);
    // The first device did not opt in: its tagged frames are passed by the filter and ignored.
    testsupport::spinFor(100ms);
    EXPECT_EQ(written(0), 0U);
    talk(2, {});
    ASSERT_TRUE(testsupport::spinUntil([&] { return written(0) >= frames * samplesPerFrame; }, 10000ms))
        << written(0) << " samples" << whereFramesWent();
}
