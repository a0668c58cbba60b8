#include "sonacore/ChannelData.h"
#include "sonacore/IChannelData.h"
#include "sonacore/IMeteringDataSource.h"
#include "sonacore/MeteringDataSource.h"
#include "sonacore/VectorData.h"
#include "support/LogCapture.h"

#include <QDebug>
#include <QString>

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

TEST(VectorData, DefaultHasItsNameAndOnePointAtZero) {
    sonacore::VectorData data;
    EXPECT_EQ(data.getName(), "Vector (x,y)");
    EXPECT_EQ(data.getX(), std::vector<double>{0.0});
    EXPECT_EQ(data.getY(), std::vector<double>{0.0});
}

TEST(VectorData, NamedHasOnePointAtZero) {
    sonacore::VectorData data("levels");
    EXPECT_EQ(data.getName(), "levels");
    EXPECT_EQ(data.getX(), std::vector<double>{0.0});
    EXPECT_EQ(data.getY(), std::vector<double>{0.0});
}

TEST(VectorData, SeriesConstructorsCopyTheSeries) {
    const std::vector<double> x{0.0, 1.0, 2.0};
    const std::vector<double> y{-3.5, 4.25, 1e-7};
    sonacore::VectorData unnamed(x, y);
    sonacore::VectorData named("spectrum", x, y);
    EXPECT_EQ(unnamed.getName(), "Vector (x,y)");
    EXPECT_EQ(unnamed.getX(), x);
    EXPECT_EQ(unnamed.getY(), y);
    EXPECT_EQ(named.getName(), "spectrum");
    EXPECT_EQ(named.getX(), x);
    EXPECT_EQ(named.getY(), y);
}

TEST(VectorData, SeriesAreReturnedAsCopies) {
    sonacore::VectorData data({1.0}, {2.0});
    auto x = data.getX();
    x.push_back(5.0);
    EXPECT_EQ(data.getX(), std::vector<double>{1.0});
}

TEST(VectorData, SettersReplaceTheSeries) {
    sonacore::VectorData data;
    data.setX({1.0, 2.0});
    data.setY({3.0, 4.0});
    EXPECT_EQ(data.getX(), (std::vector<double>{1.0, 2.0}));
    EXPECT_EQ(data.getY(), (std::vector<double>{3.0, 4.0}));
}

TEST(VectorData, TextListsBothSeriesInDefaultDoubleFormatting) {
    sonacore::VectorData data("v", {0.0, 1.5, 1000000.0}, {-2.0, 0.125, 1.0 / 3.0});
    EXPECT_EQ(data.toString(), "[v]\n\tx: 0, 1.5, 1e+06\n\ty: -2, 0.125, 0.333333");
    const sonacore::IVectorData& asInterface = data;
    EXPECT_EQ(asInterface.toString(), data.toString());
}

TEST(VectorData, TextOfEmptySeries) {
    EXPECT_EQ(sonacore::VectorData("e", {}, {}).toString(), "[e]\n\tx: \n\ty: ");
}

TEST(ChannelData, DefaultIsNamedDummyChannelWithOnePointAtZero) {
    sonacore::ChannelData data;
    EXPECT_EQ(data.getName(), "DummyChannel");
    const sonacore::IChannelData& asInterface = data;
    EXPECT_EQ(asInterface.getName(), "DummyChannel");
    EXPECT_EQ(asInterface.getVectorData().getX(), std::vector<double>{0.0});
    EXPECT_EQ(asInterface.getVectorData().getY(), std::vector<double>{0.0});
}

TEST(ChannelData, NamedAroundGivenVectorData) {
    sonacore::ChannelData data("SoundLevelValueProcessor_00a0c9112233_0",
                               sonacore::VectorData({0.0, 1.0}, {-20.0, -30.0}));
    const sonacore::IChannelData& asInterface = data;
    EXPECT_EQ(asInterface.getName(), "SoundLevelValueProcessor_00a0c9112233_0");
    EXPECT_EQ(asInterface.getVectorData().getX(), (std::vector<double>{0.0, 1.0}));
    EXPECT_EQ(asInterface.getVectorData().getY(), (std::vector<double>{-20.0, -30.0}));
}

TEST(ChannelData, TextIsBracketedNameThenVectorText) {
    sonacore::ChannelData data;
    EXPECT_EQ(data.toString(), "[DummyChannel]\n[Vector (x,y)]\n\tx: 0\n\ty: 0");
    const sonacore::IChannelData& asInterface = data;
    EXPECT_EQ(asInterface.toString(), data.toString());
}

TEST(ChannelData, CopiesAreIndependent) {
    sonacore::ChannelData original("c", sonacore::VectorData({1.0}, {2.0}));
    sonacore::ChannelData copy = original;
    original.getVectorData().setY({9.0});
    EXPECT_EQ(copy.getName(), "c");
    EXPECT_EQ(copy.getVectorData().getY(), std::vector<double>{2.0});
}

TEST(ChannelData, PrintsUnquotedToADebugStream) {
    QString text;
    QDebug(&text) << sonacore::ChannelData();
    EXPECT_EQ(text.trimmed().toStdString(), "[DummyChannel]\n[Vector (x,y)]\n\tx: 0\n\ty: 0");
}

TEST(MeteringDataSource, ConstructionAndDestructionLog) {
    testsupport::LogCapture capture;
    { sonacore::MeteringDataSource source("process A"); }
    EXPECT_EQ(capture.texts(QtDebugMsg), (std::vector<std::string>{"CallbackManager  Manager initialized",
                                                                   "MeteringDataSource Source created",
                                                                   "~MeteringDataSource Source deleted!",
                                                                   "~CallbackManager  Manager deleted!"}));
}

TEST(MeteringDataSource, TextShowsNameAndCallbackTable) {
    sonacore::MeteringDataSource source("process A");
    EXPECT_EQ(source.toString(),
              "MeteringDataSource: process A\tAvailable channel callbacks: Callback manager: "
              "\tAvailable callback range: 1 to 1\n\tList of bound callbacks: []");
    source.bindChannelCallback([](sonacore::IChannelData&) {});
    const sonacore::IMeteringDataSource& asInterface = source;
    EXPECT_EQ(asInterface.toString(),
              "MeteringDataSource: process A\tAvailable channel callbacks: Callback "
              "manager: \tAvailable callback range: 1 to 1\n\tList of bound callbacks: [1 ]");
}

TEST(MeteringDataSource, BoundHostFunctionReceivesTheRecordThroughItsInterface) {
    sonacore::MeteringDataSource source("s");
    const sonacore::IChannelData* received = nullptr;
    std::string receivedName;
    sonacore::IMeteringDataSource& asInterface = source;
    EXPECT_TRUE(asInterface.bindChannelCallback([&](sonacore::IChannelData& data) {
        received = &data;
        receivedName = data.getName();
    }));
    sonacore::ChannelData data("result", sonacore::VectorData({1.0}, {2.0}));
    source.getChannelCallback()(data);
    EXPECT_EQ(received, &data);
    EXPECT_EQ(receivedName, "result");
}

TEST(MeteringDataSource, ASecondBindReturnsTrueAndLeavesTheFirstFunctionInPlace) {
    sonacore::MeteringDataSource source("s");
    std::vector<std::string> calls;
    EXPECT_TRUE(source.bindChannelCallback([&](sonacore::IChannelData&) { calls.push_back("first"); }));
    testsupport::LogCapture capture;
    EXPECT_TRUE(source.bindChannelCallback([&](sonacore::IChannelData&) { calls.push_back("second"); }));
    EXPECT_TRUE(capture.lines().empty());
    sonacore::ChannelData data;
    source.getChannelCallback()(data);
    EXPECT_EQ(calls, std::vector<std::string>{"first"});
}

TEST(MeteringDataSource, ResultBeforeBindingIsLoggedAndDroppedAndTheNextAfterBindingIsDelivered) {
    sonacore::MeteringDataSource source("s");
    const auto channelCallback = source.getChannelCallback();
    std::vector<std::string> delivered;

    testsupport::LogCapture capture;
    sonacore::ChannelData early("early", sonacore::VectorData({1.0}, {2.0}));
    channelCallback(early);
    EXPECT_EQ(capture.texts(QtDebugMsg),
              std::vector<std::string>{"dummyCallback  Callback not bound!\n Delivered "
                                       "data:  [early]\n[Vector (x,y)]\n\tx: 1\n\ty: 2"});

    source.bindChannelCallback([&](sonacore::IChannelData& data) { delivered.push_back(data.getName()); });
    sonacore::ChannelData late("late");
    channelCallback(late);
    EXPECT_EQ(delivered, std::vector<std::string>{"late"});
}
