#include "manager/CallbackManager.h"
#include "sonacore/ChannelData.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using ChannelCallbacks = manager::CallbackManager<sonacore::ChannelData>;

const std::string invalidNumberText =
    "Your given callback number is INVALID!  Available callback range is:  1  to  1";

} // namespace

TEST(CallbackManager, ConstructionAndDestructionLog) {
    testsupport::LogCapture capture;
    { ChannelCallbacks callbacks(1, 1); }
    EXPECT_EQ(capture.texts(QtDebugMsg), (std::vector<std::string>{"CallbackManager  Manager initialized",
                                                                   "~CallbackManager  Manager deleted!"}));
}

TEST(CallbackManager, NumbersInsideTheRangeAreValid) {
    ChannelCallbacks callbacks(3, 5);
    testsupport::LogCapture capture;
    EXPECT_TRUE(callbacks.isCallbackNumberValid(3));
    EXPECT_TRUE(callbacks.isCallbackNumberValid(4));
    EXPECT_TRUE(callbacks.isCallbackNumberValid(5));
    EXPECT_TRUE(capture.lines().empty());
}

TEST(CallbackManager, NumbersOutsideTheRangeAreInvalidAndWarned) {
    ChannelCallbacks callbacks(3, 5);
    testsupport::LogCapture capture;
    EXPECT_FALSE(callbacks.isCallbackNumberValid(2));
    EXPECT_FALSE(callbacks.isCallbackNumberValid(6));
    const std::string line = "isCallbackNumberValid Your given callback number is INVALID!  Available "
                             "callback range is:  3  to  5";
    EXPECT_EQ(capture.texts(QtWarningMsg), (std::vector<std::string>{line, line}));
}

TEST(CallbackManager, NumbersAreComparedAsUnsignedBytes) {
    manager::CallbackManager<int> callbacks(0, 255);
    EXPECT_TRUE(callbacks.isCallbackNumberValid(0));
    EXPECT_TRUE(callbacks.isCallbackNumberValid(255));
}

TEST(CallbackManager, BindingZeroOrTwoFailsAndWarnsTwice) {
    for (const std::uint8_t number : {std::uint8_t{0}, std::uint8_t{2}}) {
        ChannelCallbacks callbacks(1, 1);
        testsupport::LogCapture capture;
        EXPECT_FALSE(callbacks.bindCallback(number, [](sonacore::ChannelData&) {}));
        EXPECT_EQ(capture.texts(QtWarningMsg),
                  (std::vector<std::string>{"isCallbackNumberValid " + invalidNumberText,
                                            "bindCallback " + invalidNumberText}));
        EXPECT_EQ(callbacks.toString(),
                  "Callback manager: \tAvailable callback range: 1 to 1\n\tList of bound callbacks: []");
    }
}

TEST(CallbackManager, BindingAValidNumberSucceedsSilently) {
    ChannelCallbacks callbacks(1, 1);
    testsupport::LogCapture capture;
    EXPECT_TRUE(callbacks.bindCallback(1, [](sonacore::ChannelData&) {}));
    EXPECT_TRUE(capture.lines().empty());
}

TEST(CallbackManager, ASecondBindReturnsTrueAndKeepsTheFirstFunction) {
    ChannelCallbacks callbacks(1, 1);
    std::vector<std::string> calls;
    EXPECT_TRUE(callbacks.bindCallback(1, [&](sonacore::ChannelData&) { calls.push_back("first"); }));
    EXPECT_TRUE(callbacks.bindCallback(1, [&](sonacore::ChannelData&) { calls.push_back("second"); }));
    sonacore::ChannelData data;
    callbacks.getCallback(1)(data);
    EXPECT_EQ(calls, std::vector<std::string>{"first"});
}

TEST(CallbackManager, CallbackPassesTheDataByReference) {
    ChannelCallbacks callbacks(1, 1);
    callbacks.bindCallback(1, [](sonacore::ChannelData& data) { data.getVectorData().setY({7.0}); });
    sonacore::ChannelData data;
    callbacks.getCallback(1)(data);
    EXPECT_EQ(data.getVectorData().getY(), std::vector<double>{7.0});
}

TEST(CallbackManager, UnboundNumberRunsTheDummyCallbackWhichLogsTheData) {
    ChannelCallbacks callbacks(1, 1);
    const auto callback = callbacks.getCallback(1);
    sonacore::ChannelData data;
    testsupport::LogCapture capture;
    callback(data);
    EXPECT_EQ(capture.texts(QtDebugMsg),
              std::vector<std::string>{"dummyCallback  Callback not bound!\n Delivered data:  "
                                       "[DummyChannel]\n[Vector (x,y)]\n\tx: 0\n\ty: 0"});
}

TEST(CallbackManager, FunctionTakenBeforeBindingCallsWhatIsBoundLater) {
    ChannelCallbacks callbacks(1, 1);
    const auto callback = callbacks.getCallback(1);
    int calls = 0;
    callbacks.bindCallback(1, [&](sonacore::ChannelData&) { ++calls; });
    sonacore::ChannelData data;
    testsupport::LogCapture capture;
    callback(data);
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(capture.lines().empty());
}

TEST(CallbackManager, TextListsRangeAndBoundNumbers) {
    manager::CallbackManager<int> callbacks(1, 9);
    EXPECT_EQ(callbacks.toString(),
              "Callback manager: \tAvailable callback range: 1 to 9\n\tList of bound callbacks: []");
    callbacks.bindCallback(7, [](int&) {});
    callbacks.bindCallback(2, [](int&) {});
    EXPECT_EQ(callbacks.toString(),
              "Callback manager: \tAvailable callback range: 1 to 9\n\tList of bound callbacks: [2 7 ]");
}
