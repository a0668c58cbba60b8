#include "exceptions/SonaCoreException.h"
#include "pcapplus/PcapDeviceInfo.h"
#include "process/ProcessorConfigBase.h"
#include "sonacore/ConfigurationRegistry.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <typeinfo>

namespace {

// Objects of a host's own making: the factories must refuse them.
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
    std::string getName() const override { return {}; }
    std::uint64_t getSampleSize() const override { return 2; }
    std::uint64_t getChannelAmount() const override { return 2; }
    std::uint64_t getSamplesPerChannel() const override { return 6; }
    std::string toString() const override { return {}; }
};

class ForeignAdapter : public sonacore::INetworkDeviceInfo {
public:
    int getDeviceNumber() const override { return 1; }
    std::string getDeviceName() const override { return "veth0"; }
    std::string getDeviceDescription() const override { return "Not available"; }
    bool isValid() const override { return true; }
    bool isDescriptionMissing() const override { return true; }
    std::string toString() const override { return {}; }
};

// A device of the host's own with any sample size, and a stream: the new calls of the interfaces answer for
// them as the library's own configurations without a stated format or tag choice do.
class SizedForeignDevice : public ForeignDevice {
public:
    explicit SizedForeignDevice(std::uint64_t size) : size(size) {}
    std::uint64_t getSampleSize() const override { return size; }

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

class ForeignProcessor : public sonacore::iprocess::IProcessorConfigBase {
public:
    std::string getProcessorType() const override { return "WaveformProcessor"; }
    std::string toString() const override { return {}; }
};

} // namespace

TEST(DeviceConfiguration, FactoryLogsAndKeepsItsValues) {
    testsupport::LogCapture capture;
    auto* buffer = sonacore::IBufferConfiguration::createInstance("buf", 4800, 48);
    const auto before = sonacore::registry::deviceConfigurations.size();
    auto* device = sonacore::IDeviceConfiguration::createInstance("dev", *buffer, 2, 8, 6);

    EXPECT_TRUE(capture.contains(QtDebugMsg, "DeviceConfiguration Initialized!"));
    EXPECT_EQ(sonacore::registry::deviceConfigurations.size(), before + 1);
    EXPECT_EQ(device->getName(), "dev");
    EXPECT_EQ(device->getSampleSize(), 2U);
    EXPECT_EQ(device->getChannelAmount(), 8U);
    EXPECT_EQ(device->getSamplesPerChannel(), 6U);
    EXPECT_EQ(dynamic_cast<sonacore::DeviceConfiguration*>(device)->getBufferConfiguration(), buffer);
}

TEST(DeviceConfiguration, TextCarriesValuesAndBufferText) {
    sonacore::BufferConfiguration buffer("buf", 4800);
    sonacore::DeviceConfiguration device("dev", &buffer, 2, 8, 6);
    EXPECT_EQ(device.toString(), "[dev]\n\tDevice sample size in bytes: 2"
                                 "\n\tDevice amount of channels: 8"
                                 "\n\tDevice amount of samples send per channel: 6\n"
                                 "Buffer configuration:\n"
                                 "[buf]\n\tBuffer size: 4800\n\tBuffer clock signaling deactivated!");
}

TEST(DeviceConfiguration, ForeignBufferThrowsBadCastAndLeavesRegistry) {
    ForeignBuffer foreign;
    const auto before = sonacore::registry::deviceConfigurations.size();
    EXPECT_THROW(sonacore::IDeviceConfiguration::createInstance("dev", foreign, 2, 2, 6), std::bad_cast);
    EXPECT_EQ(sonacore::registry::deviceConfigurations.size(), before);
}

TEST(StreamConfiguration, FactoryKeepsAddressDeviceAndAdapter) {
    auto* buffer = sonacore::IBufferConfiguration::createInstance("buf", 4800);
    auto* device = sonacore::IDeviceConfiguration::createInstance("dev", *buffer, 2, 2, 6);
    pcapplus::PcapDeviceInfo adapter(3, "veth-a", "Not available");
    const auto before = sonacore::registry::streamConfigurations.size();
    auto* stream = sonacore::IStreamConfiguration::createInstance("stream", "00a0c9112233", adapter, *device);

    EXPECT_EQ(sonacore::registry::streamConfigurations.size(), before + 1);
    EXPECT_EQ(stream->getName(), "stream");
    EXPECT_EQ(stream->getDeviceMacAddress(), "00a0c9112233");
    EXPECT_EQ(stream->getDeviceConfiguration(), device);
    const auto* info = dynamic_cast<sonacore::StreamConfiguration*>(stream)->getNetworkDeviceInfo();
    EXPECT_EQ(info->getDeviceName(), "veth-a");
    EXPECT_EQ(info->getDeviceNumber(), 3);
}

TEST(StreamConfiguration, TextCarriesAddressDeviceAndAdapter) {
    sonacore::BufferConfiguration buffer("buf", 10);
    sonacore::DeviceConfiguration device("dev", &buffer, 2, 1, 6);
    pcapplus::PcapDeviceInfo adapter(1, "lo", "Not available");
    sonacore::StreamConfiguration stream("stream", "0011223344ff", adapter, &device);
    EXPECT_EQ(stream.toString(), "[stream] Device MAC address: 0011223344ff\n"
                                 " Detailed device configuration:\n" +
                                     device.toString() + "\n" +
                                     " Detailed network device informations: \n"
                                     "System device number: 1\n\tSystem device name: lo\n"
                                     "\tSystem device description: Not available\n");
}

TEST(StreamConfiguration, ForeignAdapterThrowsBadCastAndLeavesRegistry) {
    auto* buffer = sonacore::IBufferConfiguration::createInstance("buf", 4800);
    auto* device = sonacore::IDeviceConfiguration::createInstance("dev", *buffer, 2, 2, 6);
    ForeignAdapter foreign;
    const auto before = sonacore::registry::streamConfigurations.size();
    EXPECT_THROW(sonacore::IStreamConfiguration::createInstance("s", "00a0c9112233", foreign, *device),
                 std::bad_cast);
    EXPECT_EQ(sonacore::registry::streamConfigurations.size(), before);
}

TEST(StreamConfiguration, ForeignDeviceThrowsBadCastAndLeavesRegistry) {
    pcapplus::PcapDeviceInfo adapter(1, "lo", "Not available");
    ForeignDevice foreign;
    const auto before = sonacore::registry::streamConfigurations.size();
    EXPECT_THROW(sonacore::IStreamConfiguration::createInstance("s", "00a0c9112233", adapter, foreign),
                 std::bad_cast);
    EXPECT_EQ(sonacore::registry::streamConfigurations.size(), before);
}

TEST(ProcessConfiguration, FactoryLogsAndKeepsItsValues) {
    testsupport::LogCapture capture;
    process::ProcessorConfigBase processor("wave", "WaveformProcessor");
    const auto before = sonacore::registry::processConfigurations.size();
    auto* configuration =
        sonacore::IProcessConfiguration::createInstance("proc", processor, "00a0c9112233", 7);

    EXPECT_TRUE(capture.contains(QtDebugMsg, "ProcessConfiguration Object CREATED"));
    EXPECT_EQ(sonacore::registry::processConfigurations.size(), before + 1);
    EXPECT_EQ(configuration->getName(), "proc");
    EXPECT_EQ(configuration->getProcessorConfig(), &processor);
    EXPECT_EQ(configuration->getStreamDevice(), "00a0c9112233");
    EXPECT_EQ(configuration->getAudioChannel(), 7U);

    // The registry entry refers to the processor configuration on this stack frame; retire it here.
    delete sonacore::registry::processConfigurations.back();
    sonacore::registry::processConfigurations.back() = nullptr;
}

TEST(ProcessConfiguration, TextCarriesDeviceChannelAndProcessorText) {
    process::ProcessorConfigBase processor("wave", "WaveformProcessor");
    sonacore::ProcessConfiguration configuration("proc", &processor, "00a0c9112233", 1);
    EXPECT_EQ(configuration.toString(), "[proc]ProcessConfiguration: "
                                        "\n\tReceives stream from device: 00a0c9112233"
                                        "\n\tCalculates sample data from audio channel: 1\n" +
                                            processor.toString());
}

TEST(ProcessConfiguration, ForeignProcessorConfigurationThrowsBadCastAndLeavesRegistry) {
    ForeignProcessor foreign;
    const auto before = sonacore::registry::processConfigurations.size();
    EXPECT_THROW(sonacore::IProcessConfiguration::createInstance("p", foreign, "00a0c9112233", 0),
                 std::bad_cast);
    EXPECT_EQ(sonacore::registry::processConfigurations.size(), before);
}

TEST(ConfigurationFactories, TwoConfigurationsOfOneNameAreTwoObjects) {
    auto* first = sonacore::IBufferConfiguration::createInstance("same", 10);
    auto* second = sonacore::IBufferConfiguration::createInstance("same", 10);
    EXPECT_NE(first, second);
    auto* device1 = sonacore::IDeviceConfiguration::createInstance("same", *first, 2, 2, 6);
    auto* device2 = sonacore::IDeviceConfiguration::createInstance("same", *first, 2, 2, 6);
    EXPECT_NE(device1, device2);
}

TEST(ConfigurationFactories, DeviceAndStreamValuesAreNotValidatedAtCreation) {
    // The buffer size is the one value checked where it is made (see BufferConfigurationTest).
    auto* buffer = sonacore::IBufferConfiguration::createInstance("", 1, 0);
    auto* device = sonacore::IDeviceConfiguration::createInstance("", *buffer, 0, 0, 0);
    pcapplus::PcapDeviceInfo adapter(-1, "", "");
    auto* stream = sonacore::IStreamConfiguration::createInstance("", "not a mac", adapter, *device);
    EXPECT_EQ(device->getChannelAmount(), 0U);
    EXPECT_EQ(stream->getDeviceMacAddress(), "not a mac");
}

namespace {

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
        SizedForeignDevice foreign(size);
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
    ForeignDevice foreign;
    const auto before = sonacore::registry::streamConfigurations.size();
    EXPECT_THROW(sonacore::IStreamConfiguration::createInstance("s", "00a0c9112233", adapter, foreign, true),
                 std::bad_cast);
    EXPECT_EQ(sonacore::registry::streamConfigurations.size(), before);
    EXPECT_NO_THROW(
        sonacore::IStreamConfiguration::createInstance("s", "00a0c9112233", adapter, *device, true));
}
