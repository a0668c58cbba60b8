#include "exceptions/SonaCoreException.h"
#include "pcapplus/PcapDeviceInfo.h"
#include "sonacore/ConfigurationRegistry.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <typeinfo>

namespace {

// A host's own objects: the factories must refuse them, and the interfaces' new calls answer for them.
class ForeignBuffer : public sonacore::IBufferConfiguration {
public:
    std::uint64_t getBufferSize() const override { return 1; }
    std::uint64_t getClockSignalingSampleAmount() const override { return 0; }
    void setClockSignalingSampleAmount(std::uint64_t) override {}
    bool isClockSignalingActive() const override { return false; }
    std::string toString() const override { return {}; }
};

class ForeignDevice : public sonacore::IDeviceConfiguration {
public:
    explicit ForeignDevice(std::uint64_t size) : size(size) {}
    std::string getName() const override { return {}; }
    std::uint64_t getSampleSize() const override { return size; }
    std::uint64_t getChannelAmount() const override { return 2; }
    std::uint64_t getSamplesPerChannel() const override { return 6; }
    std::string toString() const override { return {}; }

private:
    std::uint64_t size;
};

class ForeignStream : public sonacore::IStreamConfiguration {
public:
    std::string getDeviceMacAddress() const override { return {}; }
    sonacore::IDeviceConfiguration* getDeviceConfiguration() const override { return nullptr; }
    std::string toString() const override { return {}; }
    std::string getName() const override { return {}; }
};

struct FormatSize {
    sonacore::SampleFormat format;
    std::uint64_t sampleSize;
    const char* name;
};

class DeviceConfigurationFormat : public ::testing::TestWithParam<FormatSize> {};

} // namespace

TEST_P(DeviceConfigurationFormat, StatedFormatGivesTheSampleSizeAndIsReported) {
    const FormatSize& row = GetParam();
    auto* buffer = sonacore::IBufferConfiguration::createInstance("buf", 4800, 48);
    const auto before = sonacore::registry::deviceConfigurations.size();
    auto* device = sonacore::IDeviceConfiguration::createInstance("dev", *buffer, row.format, 8, 6);
    EXPECT_EQ(sonacore::registry::deviceConfigurations.size(), before + 1);
    EXPECT_EQ(device->getSampleFormat(), row.format);
    EXPECT_EQ(device->getSampleSize(), row.sampleSize);
    EXPECT_EQ(device->getChannelAmount(), 8U);
    EXPECT_EQ(device->getSamplesPerChannel(), 6U);
    EXPECT_TRUE(dynamic_cast<sonacore::DeviceConfiguration*>(device)->isSampleFormatStated());
    EXPECT_EQ(device->toString(), std::string("[dev]\n\tDevice sample format: ") + row.name +
                                      "\n\tDevice sample size in bytes: " + std::to_string(row.sampleSize) +
                                      "\n\tDevice amount of channels: 8"
                                      "\n\tDevice amount of samples send per channel: 6\n"
                                      "Buffer configuration:\n" +
                                      buffer->toString());
}

INSTANTIATE_TEST_SUITE_P(EveryFormat, DeviceConfigurationFormat,
                         ::testing::Values(FormatSize{sonacore::SampleFormat::Int16, 2, "Int16"},
                                           FormatSize{sonacore::SampleFormat::Int24, 3, "Int24"},
                                           FormatSize{sonacore::SampleFormat::Int32, 4, "Int32"},
                                           FormatSize{sonacore::SampleFormat::Float32, 4, "Float32"}),
                         [](const ::testing::TestParamInfo<FormatSize>& info) { return info.param.name; });

TEST(DeviceConfigurationFormat, UnspecifiedFormatIsRefusedWithAWarningAndNothingIsCreated) {
    auto* buffer = sonacore::IBufferConfiguration::createInstance("buf", 4800);
    const auto before = sonacore::registry::deviceConfigurations.size();
    const std::string text =
        "The device configuration 'dev' cannot be created with an unspecified sample format: "
        "give Int16, Int24, Int32 or Float32, the format the device's talker sends.";
    for (const auto format : {sonacore::SampleFormat::Unspecified, static_cast<sonacore::SampleFormat>(17)}) {
        testsupport::LogCapture capture;
        try {
            sonacore::IDeviceConfiguration::createInstance("dev", *buffer, format, 2, 6);
            ADD_FAILURE() << "no exception";
        } catch (const exceptions::InstanceNotCreateable& error) {
            EXPECT_EQ(std::string(error.what()), text);
        }
        EXPECT_EQ(capture.texts(QtWarningMsg), (std::vector<std::string>{"createInstance " + text}));
    }
    EXPECT_EQ(sonacore::registry::deviceConfigurations.size(), before);
}

TEST(DeviceConfigurationFormat, ForeignBufferThrowsBadCastBeforeTheFormatIsJudged) {
    ForeignBuffer foreign;
    const auto before = sonacore::registry::deviceConfigurations.size();
    EXPECT_THROW(
        sonacore::IDeviceConfiguration::createInstance("dev", foreign, sonacore::SampleFormat::Int32, 2, 6),
        std::bad_cast);
    EXPECT_THROW(sonacore::IDeviceConfiguration::createInstance("dev", foreign,
                                                                sonacore::SampleFormat::Unspecified, 2, 6),
                 std::bad_cast);
    EXPECT_EQ(sonacore::registry::deviceConfigurations.size(), before);
}

TEST(DeviceConfigurationFormat, ConfigurationBySizeReportsInt16ForTwoBytesAndUnspecifiedOtherwise) {
    auto* buffer = sonacore::IBufferConfiguration::createInstance("buf", 4800);
    for (const std::uint64_t size : {0, 1, 2, 3, 4, 8}) {
        auto* device = sonacore::IDeviceConfiguration::createInstance("dev", *buffer, size, 2, 6);
        EXPECT_EQ(device->getSampleFormat(),
                  size == 2 ? sonacore::SampleFormat::Int16 : sonacore::SampleFormat::Unspecified);
        EXPECT_FALSE(dynamic_cast<sonacore::DeviceConfiguration*>(device)->isSampleFormatStated());
        // The text stays as it was before formats could be stated.
        EXPECT_EQ(device->toString().find("sample format"), std::string::npos);
        ForeignDevice foreign(size);
        EXPECT_EQ(foreign.getSampleFormat(), device->getSampleFormat());
    }
}

TEST(StreamConfigurationTags, FactoryKeepsTheChoiceAndTheOtherFactoryRefusesTags) {
    auto* buffer = sonacore::IBufferConfiguration::createInstance("buf", 4800);
    auto* device =
        sonacore::IDeviceConfiguration::createInstance("dev", *buffer, sonacore::SampleFormat::Int32, 8, 6);
    pcapplus::PcapDeviceInfo adapter(3, "veth-a", "Not available");
    const auto before = sonacore::registry::streamConfigurations.size();
    auto* accepting =
        sonacore::IStreamConfiguration::createInstance("a", "00a0c9112233", adapter, *device, true);
    auto* refusing =
        sonacore::IStreamConfiguration::createInstance("r", "00a0c9112234", adapter, *device, false);
    auto* plain = sonacore::IStreamConfiguration::createInstance("p", "00a0c9112235", adapter, *device);
    EXPECT_EQ(sonacore::registry::streamConfigurations.size(), before + 3);
    EXPECT_TRUE(accepting->getAcceptVlanTagged());
    EXPECT_FALSE(refusing->getAcceptVlanTagged());
    EXPECT_FALSE(plain->getAcceptVlanTagged());
    EXPECT_EQ(accepting->getDeviceConfiguration(), device);
    EXPECT_EQ(accepting->getDeviceMacAddress(), "00a0c9112233");
    EXPECT_FALSE(ForeignStream().getAcceptVlanTagged());
}

TEST(StreamConfigurationTags, ForeignObjectsThrowBadCastAndLeaveTheRegistry) {
    auto* buffer = sonacore::IBufferConfiguration::createInstance("buf", 4800);
    auto* device = sonacore::IDeviceConfiguration::createInstance("dev", *buffer, 2, 2, 6);
    pcapplus::PcapDeviceInfo adapter(1, "lo", "Not available");
    ForeignDevice foreign(2);
    const auto before = sonacore::registry::streamConfigurations.size();
    EXPECT_THROW(sonacore::IStreamConfiguration::createInstance("s", "00a0c9112233", adapter, foreign, true),
                 std::bad_cast);
    EXPECT_EQ(sonacore::registry::streamConfigurations.size(), before);
    EXPECT_NO_THROW(
        sonacore::IStreamConfiguration::createInstance("s", "00a0c9112233", adapter, *device, true));
}
