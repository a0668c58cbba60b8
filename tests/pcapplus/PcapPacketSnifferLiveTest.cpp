#include "pcapplus/LinkWatch.h"
#include "pcapplus/PcapPacketSniffer.h"
#include "sonacore/StatusMessage.h"
#include "support/EventLoop.h"
#include "support/LogCapture.h"
#include "support/NetnsFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;

// Counts the frames it is handed and keeps their EtherTypes and subtypes.
class RecordingReceiver : public pcapplus::PcapPacketReceiverBase {
public:
    explicit RecordingReceiver(std::string name = "RecordingReceiver") : name(std::move(name)) {}

    void receivePacket(unsigned char*, const pcap_pkthdr* header, const unsigned char* frame) override {
        std::lock_guard<std::mutex> lock(mutex);
        if (header->caplen >= 15) {
            etherTypes.push_back(static_cast<std::uint16_t>((frame[12] << 8) | frame[13]));
            subtypes.push_back(frame[14]);
        }
        ++frames;
    }
    std::string getReceiverName() const override { return name; }
    void bindToDevice(int deviceNumber) override {
        ++bindings;
        boundNumber = deviceNumber;
    }
    std::string toString() const override { return name; }

    std::atomic<int> frames{0};
    int bindings = 0;
    int boundNumber = -1;
    std::mutex mutex;
    std::vector<std::uint16_t> etherTypes;
    std::vector<std::uint8_t> subtypes;

private:
    std::string name;
};

std::vector<std::string> messageTexts(const std::vector<std::shared_ptr<sonacore::BaseMessage>>& messages) {
    std::vector<std::string> texts;
    for (const auto& message : messages) {
        texts.push_back(message->getMessageText());
    }
    return texts;
}

class PcapPacketSnifferLive : public testsupport::NetnsFixture {
protected:
    std::unique_ptr<pcapplus::PcapPacketSniffer> openSniffer(int number = 5) {
        return std::make_unique<pcapplus::PcapPacketSniffer>(
            pcapplus::PcapDeviceInfo(number, captureInterface(), "Not available"), 65536, 1, 1);
    }

    void sendFrames(int count, std::vector<std::string> extra = {}) {
        std::vector<std::string> arguments{"--count", std::to_string(count), "--fast"};
        arguments.insert(arguments.end(), extra.begin(), extra.end());
        auto& talker = startTalker(arguments);
        ASSERT_TRUE(talkerSucceeded(talker, 20s));
    }

    static std::string sniffer5() { return "\"PcapPacketSniffer (eth5)\""; }
};

} // namespace

TEST_F(PcapPacketSnifferLive, OpensTheAdapterAndLogsIt) {
    testsupport::LogCapture capture;
    auto sniffer = openSniffer();
    EXPECT_TRUE(capture.contains(QtDebugMsg,
                                 "configure " + sniffer5() + " Successfully configured adapter number 5"));
    EXPECT_TRUE(sniffer->isConfigured());
    EXPECT_EQ(sniffer->getName(), "PcapPacketSniffer (eth5)");
    EXPECT_FALSE(sniffer->isListening());
}

TEST_F(PcapPacketSnifferLive, TextOfAConfiguredSniffer) {
    auto sniffer = openSniffer();
    EXPECT_EQ(sniffer->toString(),
              "PcapPacketSniffer (eth5) configured on device: 5\nBound to packet receiver: "
              "None\nFilter set: None\nRunning: 0\nAdapter details:\n\tSystem device number: "
              "5\n\tSystem device name: " +
                  captureInterface() + "\n\tSystem device description: Not available\n");
}

TEST_F(PcapPacketSnifferLive, FilterIsSetAndReported) {
    // Declared first, so that it outlives the sniffer, which reports its stop as it ends.
    std::vector<std::shared_ptr<sonacore::BaseMessage>> messages;
    auto sniffer = openSniffer();
    QObject::connect(
        sniffer.get(), &pcapplus::PcapPacketSniffer::message, sniffer.get(),
        [&](auto message) { messages.push_back(message); }, Qt::DirectConnection);
    testsupport::LogCapture capture;
    EXPECT_TRUE(sniffer->setFilter("ether proto 0x22f0", 1, PCAP_NETMASK_UNKNOWN));
    EXPECT_TRUE(
        capture.contains(QtDebugMsg, "setFilter " + sniffer5() + " Filter 'ether proto 0x22f0' enabled"));
    EXPECT_EQ(messageTexts(messages), std::vector<std::string>{"Filter 'ether proto 0x22f0' enabled"});
    EXPECT_EQ(messages[0]->getMessageClass(), "StatusMessage");
    EXPECT_EQ(messages[0]->getMessageId(), "PcapPacketSniffer (eth5)");
    EXPECT_EQ(messages[0]->getMessageType(), "INFORMATION");
    EXPECT_EQ(messages[0]->getMessageSender(), "PcapPacketSniffer");
    EXPECT_EQ(sniffer->getFilterExpression(), "ether proto 0x22f0");
    EXPECT_TRUE(sniffer->isFilterActive());
}

TEST_F(PcapPacketSnifferLive, BadFilterSyntaxReportsCompileFailureAndStillTriesToSet) {
    auto sniffer = openSniffer();
    testsupport::LogCapture capture;
    EXPECT_FALSE(sniffer->setFilter("ether proto ((", 1, PCAP_NETMASK_UNKNOWN));
    const auto lines = capture.texts(QtDebugMsg);
    ASSERT_EQ(lines.size(), 1U);
    const std::string expectedStart =
        "setFilter " + sniffer5() +
        " Filter 'ether proto ((': Unable to compile! Check the syntax: cannot be set! "
        "Error message: ";
    EXPECT_EQ(lines[0].substr(0, expectedStart.size()), expectedStart);
    EXPECT_FALSE(sniffer->isFilterActive());
    EXPECT_EQ(sniffer->getFilterExpression(), "None");
}

TEST_F(PcapPacketSnifferLive, FrameBeforeAnyReceiverGoesToTheDummyHandler) {
    auto sniffer = openSniffer();
    testsupport::LogCapture capture;
    sniffer->start();
    sendFrames(3);
    const std::string dummy =
        "dummyPacketHandler Pcap++ callback not bound! Please call method 'registerCallback' "
        "to bind a valid receiver!";
    EXPECT_TRUE(testsupport::spinUntil([&] { return capture.count(QtWarningMsg, dummy) >= 3; }));
}

TEST_F(PcapPacketSnifferLive, RegisteredReceiverGetsOnlyFramesOfTheFilter) {
    // The receiver outlives the sniffer that hands it frames.
    RecordingReceiver receiver;
    auto sniffer = openSniffer();
    testsupport::LogCapture capture;
    sniffer->setFilter("ether proto 0x22f0", 1, PCAP_NETMASK_UNKNOWN);
    sniffer->registerPacketReceiver(receiver);
    EXPECT_TRUE(capture.contains(QtDebugMsg,
                                 "registerPacketReceiver " + sniffer5() + " Registered: RecordingReceiver"));
    EXPECT_EQ(sniffer->getReceiverName(), "RecordingReceiver");
    EXPECT_EQ(receiver.boundNumber, 5);
    sniffer->start();
    sendFrames(20, {"--insert-ethertype", "5:0x0800", "--insert-ethertype", "9:0x88f7"});
    ASSERT_TRUE(testsupport::spinUntil([&] { return receiver.frames.load() >= 20; }));
    testsupport::spinFor(100ms);
    EXPECT_EQ(receiver.frames.load(), 20);
    std::lock_guard<std::mutex> lock(receiver.mutex);
    for (const auto etherType : receiver.etherTypes) {
        EXPECT_EQ(etherType, 0x22f0);
    }
}

TEST_F(PcapPacketSnifferLive, StartTwiceWarnsAndRunsOneLoop) {
    // The receiver outlives the sniffer that hands it frames.
    RecordingReceiver receiver;
    auto sniffer = openSniffer();
    sniffer->registerPacketReceiver(receiver);
    testsupport::LogCapture capture;
    sniffer->start();
    sniffer->start();
    EXPECT_EQ(
        capture.texts(QtWarningMsg),
        std::vector<std::string>{"start " + sniffer5() + " Sniffer already listening, cannot be started!"});
    ASSERT_TRUE(testsupport::spinUntil(
        [&] { return capture.count(QtDebugMsg, "run " + sniffer5() + " PCAP listener active") == 1; }));
    sendFrames(10);
    ASSERT_TRUE(testsupport::spinUntil([&] { return receiver.frames.load() >= 10; }));
    testsupport::spinFor(100ms);
    // One loop: every frame was handed over once.
    EXPECT_EQ(receiver.frames.load(), 10);
    EXPECT_EQ(capture.count(QtDebugMsg, "run " + sniffer5() + " PCAP listener active"), 1U);
}

TEST_F(PcapPacketSnifferLive, StopWithoutStartWarnsAndLeavesTheNextStartWorking) {
    // The receiver outlives the sniffer that hands it frames.
    RecordingReceiver receiver;
    auto sniffer = openSniffer();
    sniffer->registerPacketReceiver(receiver);
    testsupport::LogCapture capture;
    sniffer->stop();
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{"stop " + sniffer5() + " Sniffer not listening, cannot be stopped!"});
    // Had the loop been broken, the next start would end at once and miss these frames.
    sniffer->start();
    sendFrames(5);
    EXPECT_TRUE(testsupport::spinUntil([&] { return receiver.frames.load() >= 5; }));
}

TEST_F(PcapPacketSnifferLive, StartStopAndStartAgainReportEachStep) {
    std::vector<std::shared_ptr<sonacore::BaseMessage>> messages;
    RecordingReceiver receiver;
    auto sniffer = openSniffer();
    sniffer->registerPacketReceiver(receiver);
    QObject::connect(
        sniffer.get(), &pcapplus::PcapPacketSniffer::message, sniffer.get(),
        [&](auto message) { messages.push_back(message); }, Qt::DirectConnection);
    testsupport::LogCapture capture;

    sniffer->start();
    EXPECT_TRUE(sniffer->isListening());
    sendFrames(5);
    ASSERT_TRUE(testsupport::spinUntil([&] { return receiver.frames.load() >= 5; }));
    sniffer->stop();
    EXPECT_FALSE(sniffer->isListening());
    ASSERT_TRUE(testsupport::spinUntil(
        [&] { return capture.count(QtDebugMsg, "run " + sniffer5() + " PCAP listener INACTIVE") == 1; }));
    sniffer->start();
    sendFrames(5);
    ASSERT_TRUE(testsupport::spinUntil([&] { return receiver.frames.load() >= 10; }));

    EXPECT_EQ(messageTexts(messages),
              (std::vector<std::string>{"Start listening", "Stop listening", "Start listening"}));
    EXPECT_TRUE(capture.contains(QtDebugMsg, "start " + sniffer5() + " Start listening"));
    EXPECT_TRUE(capture.contains(QtDebugMsg, "stop " + sniffer5() + " Stop listening"));
}

TEST_F(PcapPacketSnifferLive, DestructionStopsWaitsForTheLoopAndReleasesTheHandle) {
    // The receiver outlives the sniffer that hands it frames.
    RecordingReceiver receiver;
    auto sniffer = openSniffer();
    sniffer->registerPacketReceiver(receiver);
    sniffer->start();
    ASSERT_TRUE(testsupport::spinUntil([&] { return receiver.frames.load() >= 0; }));
    testsupport::LogCapture capture;
    sniffer.reset();
    EXPECT_TRUE(capture.contains(QtDebugMsg, "stop " + sniffer5() + " Stop listening"));
    EXPECT_TRUE(capture.contains(QtDebugMsg, "run " + sniffer5() + " PCAP listener INACTIVE"));
    EXPECT_TRUE(
        capture.contains(QtDebugMsg, "~PcapPacketSniffer " + sniffer5() + " Release PCAP and free memory"));
}

TEST_F(PcapPacketSnifferLive, ReceiverRegisteredLastGetsTheFramesOfEverySniffer) {
    RecordingReceiver firstReceiver("first");
    RecordingReceiver secondReceiver("second");
    auto first = openSniffer(5);
    auto second = openSniffer(6);
    first->registerPacketReceiver(firstReceiver);
    second->registerPacketReceiver(secondReceiver);
    first->start();
    sendFrames(8);
    ASSERT_TRUE(testsupport::spinUntil([&] { return secondReceiver.frames.load() >= 8; }));
    EXPECT_EQ(firstReceiver.frames.load(), 0);
}

TEST_F(PcapPacketSnifferLive, AfterAnySnifferEndsAllFramesReachTheDummyHandler) {
    RecordingReceiver receiver;
    auto first = openSniffer(5);
    first->registerPacketReceiver(receiver);
    first->start();
    { auto other = openSniffer(6); }
    testsupport::LogCapture capture;
    sendFrames(4);
    const std::string dummy =
        "dummyPacketHandler Pcap++ callback not bound! Please call method 'registerCallback' "
        "to bind a valid receiver!";
    EXPECT_TRUE(testsupport::spinUntil([&] { return capture.count(QtWarningMsg, dummy) >= 4; }));
    EXPECT_EQ(receiver.frames.load(), 0);
}

TEST_F(PcapPacketSnifferLive, BindReceiverTwiceBindsOnce) {
    RecordingReceiver receiver;
    auto first = openSniffer(5);
    auto second = openSniffer(6);
    first->registerPacketReceiver(receiver);
    second->registerPacketReceiver(receiver);
    EXPECT_EQ(receiver.bindings, 1);
    EXPECT_EQ(receiver.boundNumber, 5);
    EXPECT_TRUE(receiver.isBound());
    EXPECT_FALSE(receiver.bindReceiver(7));
}

TEST(PcapPacketSniffer, InvalidDeviceInfoLeavesItUnconfigured) {
    testsupport::LogCapture capture;
    pcapplus::PcapPacketSniffer sniffer(pcapplus::PcapDeviceInfo(-1, "eth0", "x"), 65536, 1, 1);
    EXPECT_TRUE(capture.contains(QtDebugMsg,
                                 "configure \"PcapPacketSniffer (eth-1)\" Passed device info object is "
                                 "invalid! Cannot configure device  number:  -1"));
    EXPECT_EQ(sniffer.toString(),
              "PcapPacketSniffer (eth-1)\nNicSniffer initialized but not configured properly!");
}

TEST(PcapPacketSniffer, SetFilterOnAnUnconfiguredSnifferWarnsAndFails) {
    std::vector<std::shared_ptr<sonacore::BaseMessage>> messages;
    pcapplus::PcapPacketSniffer sniffer(pcapplus::PcapDeviceInfo(-1, "eth0", "x"), 65536, 1, 1);
    QObject::connect(
        &sniffer, &pcapplus::PcapPacketSniffer::message, &sniffer,
        [&](auto message) { messages.push_back(message); }, Qt::DirectConnection);
    testsupport::LogCapture capture;
    EXPECT_FALSE(sniffer.setFilter("ether proto 0x22f0", 1, PCAP_NETMASK_UNKNOWN));
    EXPECT_EQ(capture.texts(QtWarningMsg),
              std::vector<std::string>{
                  "isConfigured \"PcapPacketSniffer (eth-1)\" Sniffer not configured properly! "
                  "Please set a valid configuration!"});
    EXPECT_EQ(messageTexts(messages),
              std::vector<std::string>{"Sniffer not configured properly! Please set a valid configuration!"});
}

TEST(PcapPacketSniffer, StartOnAnUnconfiguredSnifferWarnsWithTheListeningWords) {
    pcapplus::PcapPacketSniffer sniffer(pcapplus::PcapDeviceInfo(-1, "eth0", "x"), 65536, 1, 1);
    testsupport::LogCapture capture;
    sniffer.start();
    EXPECT_EQ(
        capture.texts(QtWarningMsg),
        (std::vector<std::string>{
            "isConfigured \"PcapPacketSniffer (eth-1)\" Sniffer not configured properly! Please set a valid "
            "configuration!",
            "start \"PcapPacketSniffer (eth-1)\" Sniffer already listening, cannot be started!"}));
    EXPECT_FALSE(sniffer.isListening());
}

TEST(PcapPacketSniffer, AdapterThatCannotBeOpenedIsReported) {
    testsupport::LogCapture capture;
    pcapplus::PcapPacketSniffer sniffer(pcapplus::PcapDeviceInfo(3, "sonacore-none0", "x"), 65536, 1, 1);
    EXPECT_EQ(capture.texts(QtDebugMsg),
              std::vector<std::string>{
                  "configure \"PcapPacketSniffer (eth3)\" Unable to open the adapter number 3. "
                  "Error message: sonacore-none0: No such device exists (No such device "
                  "exists)"});
    EXPECT_FALSE(sniffer.isConfigured());
}

TEST_F(PcapPacketSnifferLive, OpenedAdapterHasAKernelRingOfTheChosenSize) {
    // The ring is mapped into the process as the packet socket's memory.
    const auto socketMappings = [] {
        std::vector<std::uint64_t> sizes;
        std::ifstream maps("/proc/self/maps");
        std::string line;
        while (std::getline(maps, line)) {
            if (line.find("socket:[") != std::string::npos) {
                std::istringstream range(line);
                std::uint64_t begin = 0;
                std::uint64_t end = 0;
                char dash = 0;
                range >> std::hex >> begin >> dash >> end;
                sizes.push_back(end - begin);
            }
        }
        return sizes;
    };
    const auto before = socketMappings();
    auto sniffer = openSniffer();
    ASSERT_TRUE(sniffer->isConfigured());
    auto after = socketMappings();
    for (const auto size : before) {
        const auto kept = std::find(after.begin(), after.end(), size);
        if (kept != after.end()) {
            after.erase(kept);
        }
    }
    EXPECT_EQ(after, std::vector<std::uint64_t>{160U << 20});
}

namespace {

// Notes whether two threads were ever inside receivePacket at the same time. Each call lingers a little, so
// that two capture threads that are not kept apart would overlap many times over a few thousand frames.
class OverlapWatchingReceiver : public pcapplus::PcapPacketReceiverBase {
public:
    void receivePacket(unsigned char*, const pcap_pkthdr*, const unsigned char*) override {
        if (inside.fetch_add(1) != 0) {
            ++overlaps;
        }
        const auto until = std::chrono::steady_clock::now() + std::chrono::microseconds(20);
        while (std::chrono::steady_clock::now() < until) {
        }
        ++frames;
        inside.fetch_sub(1);
    }
    std::string getReceiverName() const override { return "OverlapWatchingReceiver"; }
    void bindToDevice(int) override {}
    std::string toString() const override { return "OverlapWatchingReceiver"; }

    std::atomic<int> inside{0};
    std::atomic<int> overlaps{0};
    std::atomic<int> frames{0};
};

} // namespace

TEST_F(PcapPacketSnifferLive, CaptureThreadsOfTwoAdaptersTakeTurnsInTheReceiverRegisteredLast) {
    const auto* other = addVethPair();
    ASSERT_NE(other, nullptr);
    OverlapWatchingReceiver receiver;
    auto first = openSniffer(5);
    auto second = std::make_unique<pcapplus::PcapPacketSniffer>(
        pcapplus::PcapDeviceInfo(6, other->rootEnd(), "Not available"), 65536, 1, 1);
    second->registerPacketReceiver(receiver);
    first->start();
    second->start();
    auto& one = startTalker({"--count", "4000", "--fast"});
    auto& two = startTalkerOn(other->namespaceEnd(), {"--count", "4000", "--fast"});
    ASSERT_TRUE(talkerSucceeded(one, 20s));
    ASSERT_TRUE(talkerSucceeded(two, 20s));
    EXPECT_TRUE(testsupport::spinUntil([&] { return receiver.frames.load() >= 8000; }, 20s))
        << receiver.frames.load() << " of 8000 frames";
    EXPECT_EQ(receiver.overlaps.load(), 0);
}

TEST_F(PcapPacketSnifferLive, PerAdapterCaptureHandsEachAdapterItsOwnReceiversFrames) {
    const auto* other = addVethPair();
    ASSERT_NE(other, nullptr);
    RecordingReceiver firstReceiver("first");
    RecordingReceiver secondReceiver("second");
    auto first = openSniffer(5);
    auto second = std::make_unique<pcapplus::PcapPacketSniffer>(
        pcapplus::PcapDeviceInfo(6, other->rootEnd(), "Not available"), 65536, 1, 1);
    first->registerPacketReceiver(firstReceiver);
    second->registerPacketReceiver(secondReceiver);
    first->setPerAdapterCapture(true);
    second->setPerAdapterCapture(true);
    first->start();
    second->start();
    sendFrames(7);
    auto& talker = startTalkerOn(other->namespaceEnd(), {"--count", "11", "--fast"});
    ASSERT_TRUE(talkerSucceeded(talker, 20s));
    EXPECT_TRUE(testsupport::spinUntil(
        [&] { return firstReceiver.frames.load() >= 7 && secondReceiver.frames.load() >= 11; }));
    testsupport::spinFor(200ms);
    EXPECT_EQ(firstReceiver.frames.load(), 7);
    EXPECT_EQ(secondReceiver.frames.load(), 11);
}

TEST_F(PcapPacketSnifferLive, AdapterTakenDownEndsTheListeningWithTheReason) {
    std::vector<std::shared_ptr<sonacore::BaseMessage>> messages;
    std::mutex messagesMutex;
    RecordingReceiver receiver;
    auto sniffer = openSniffer();
    sniffer->registerPacketReceiver(receiver);
    QObject::connect(
        sniffer.get(), &pcapplus::PcapPacketSniffer::message, sniffer.get(),
        [&](auto message) {
            std::lock_guard<std::mutex> lock(messagesMutex);
            messages.push_back(message);
        },
        Qt::DirectConnection);
    testsupport::LogCapture capture;
    sniffer->start();
    sendFrames(3);
    ASSERT_TRUE(testsupport::spinUntil([&] { return receiver.frames.load() >= 3; }));
    ASSERT_EQ(std::system(("ip link set " + captureInterface() + " down").c_str()), 0);

    const std::string text =
        "Capture on adapter '" + captureInterface() + "' failed and has stopped: The interface went down";
    ASSERT_TRUE(testsupport::spinUntil([&] { return !sniffer->isListening(); }, 5s));
    sniffer->waitForLoops();
    EXPECT_TRUE(capture.contains(QtWarningMsg, "run " + sniffer5() + " " + text));
    std::lock_guard<std::mutex> lock(messagesMutex);
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages.back()->getMessageText(), text);
    EXPECT_EQ(messages.back()->getMessageType(), "WARNING");
}

TEST(LinkWatch, NamesTheProblemOfAnAdapter) {
    EXPECT_EQ(pcapplus::LinkWatch::linkProblem("lo"), "");
    EXPECT_EQ(pcapplus::LinkWatch::linkProblem("scnosuchlink0"), "The interface disappeared");
    // libpcap's own sources have names that are no interface of the kernel; they are not judged.
    EXPECT_EQ(pcapplus::LinkWatch::linkProblem("bluetooth-monitor"), "");
}
