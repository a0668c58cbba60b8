// A host that knows only the public interface runs the sine generator, which needs no stream, and receives
// its curve through a metering data source.
#include "exceptions/SonaCoreException.h"
#include "sonacore/IDemoConfig.h"
#include "sonacore/IProcessConfiguration.h"
#include "sonacore/ISonaCore.h"
#include "sonacore/IWaveformConfig.h"
#include "support/EventLoop.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace {

struct Curve {
    std::vector<std::string> names;
    std::vector<std::vector<double>> x;
    std::vector<std::vector<double>> y;
};

} // namespace

TEST(SineGenerator, AHostGetsTheCurveThroughAMeteringDataSourceWithoutAStream) {
    ISonaCore* core = ISonaCore::createInstance();
    auto* settings = sonacore::iprocess::IDemoConfig::createInstance("sine", 7);
    EXPECT_EQ(settings->getProcessorType(), "DemoProcessor");
    EXPECT_EQ(settings->getAmplitude(), 7U);
    auto* process =
        sonacore::IProcessConfiguration::createInstance("sine process", *settings, "generator", 0);
    sonacore::ihandles::IProcessorHandle* handle = core->addGeneratorProcessor(*process);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->getUniqueId(), "DemoProcessor_generator_0");
    EXPECT_TRUE(handle->isActive());

    Curve curve;
    core->getMeteringDataSource(*handle)->bindChannelCallback([&](sonacore::IChannelData& data) {
        curve.names.push_back(data.getName());
        curve.x.push_back(data.getVectorData().getX());
        curve.y.push_back(data.getVectorData().getY());
    });
    ASSERT_TRUE(testsupport::spinUntil([&] { return curve.y.size() >= 4; }));
    handle->stop();

    EXPECT_EQ(curve.names[0], "DemoProcessor (SinGen) - sine process");
    EXPECT_EQ(curve.x[0], (std::vector<double>{100.0, 0.1}));
    EXPECT_EQ(curve.y[0], (std::vector<double>{100.0, 0.0}));
    EXPECT_EQ(curve.x[1], std::vector<double>{0.1 + 0.1});
    EXPECT_EQ(curve.y[1], std::vector<double>{7.0 * std::sin(0.1)});
    EXPECT_EQ(curve.y[2], std::vector<double>{7.0 * std::sin(0.1 + 0.1)});
    core->removeProcessor(*handle);
}

TEST(SineGenerator, TheGeneratorPathRefusesStreamAnalysersAndDuplicates) {
    ISonaCore* core = ISonaCore::createInstance();
    auto* settings = sonacore::iprocess::IDemoConfig::createInstance("sine", 2);
    auto* waveform = sonacore::iprocess::IWaveformConfig::createInstance("wave", 48);
    auto* waveformProcess =
        sonacore::IProcessConfiguration::createInstance("wave process", *waveform, "nowhere", 0);
    EXPECT_THROW(core->addGeneratorProcessor(*waveformProcess), exceptions::InstanceNotCreateable);
    auto* process = sonacore::IProcessConfiguration::createInstance("sine process", *settings, "again", 1);
    sonacore::ihandles::IProcessorHandle* handle = core->addGeneratorProcessor(*process);
    EXPECT_THROW(core->addGeneratorProcessor(*process), exceptions::ProcessorAlreadyExists);
    core->removeProcessor(*handle);
}
