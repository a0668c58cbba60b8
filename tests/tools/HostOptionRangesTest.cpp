// The host program's numeric options as a user meets them: --help states each one's range, and a value
// outside it, or no number at all, is refused at once, with exit status 2 and a line that names the
// option, the value and the range. A list of channels that names one twice is refused the same way, before
// anything starts. And --version.
#include "HostProgram.h"

#include "sonacore/ISonaCore.h"
#include "version/LibraryVersion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace {

using hosttest::contains;
using hosttest::runHost;

struct NumericOption {
    std::string name;
    // What the refusal asks for, after "is not valid: ".
    std::string advice;
    // The option's line in --help, up to and with its range.
    std::string help;
    // Values inside the range among the common bad ones, which are not bad for this option.
    std::vector<std::string> valid;
    // Values just outside the range.
    std::vector<std::string> outside;
};

const std::vector<NumericOption>& numericOptions() {
    static const std::vector<NumericOption> options{
        {"--seconds",
         "give whole seconds from 1 to 3600",
         "\n  --seconds S              how long to listen for talkers, 1 to 3600 (default 2)\n",
         {},
         {"3601"}},
        {"--duration",
         "give whole seconds from 1 to 86400",
         "\n  --duration S             seconds to run, 1 to 86400 (default 10)\n",
         {},
         {"86401"}},
        {"--channels",
         "give a whole number of channels from 1 to 255",
         "\n  --channels N             channels in the stream, 1 to 255 ",
         {},
         {"256"}},
        {"--samples-per-frame",
         "give a whole number of samples from 1 to 65535",
         "\n  --samples-per-frame N    samples per channel in one frame, 1 to 65535 ",
         {},
         {"65536"}},
        {"--sample-size",
         "give a whole number of bytes from 1 to 4",
         "\n  --sample-size N          bytes per sample of a stream not heard, 1 to 4 ",
         {},
         {"5"}},
        {"--buffer-size",
         "give a whole number of samples from 16384 to 1048576",
         "\n  --buffer-size N          samples kept per channel, 16384 (one spectrum frame) to 1048576\n",
         {},
         {"16383", "1048577"}},
        {"--signaling",
         "give a whole number of samples from 1 to 48000",
         "\n  --signaling N            samples per buffer signal, 1 to 48000;",
         {},
         {"48001"}},
        {"--clock-period",
         "give whole milliseconds from 0 to 60000",
         "\n  --clock-period MS        milliseconds between spectra on the processors' own clock, 0 to "
         "60000,",
         {"0"},
         {"60001"}},
        {"--meter",
         "give channel numbers from 0 to 254, separated by commas, such as 0,1",
         "\n  --meter 0,1,...          channels to meter, each 0 to 254 and named once ",
         {"0"},
         {"255", "0,255", "0,", ",0", "0,,1", "0;1"}},
    };
    return options;
}

// The values every numeric option is tried with; those the option takes are left out.
const std::vector<std::string> commonBadValues{"abc", "0.5", "-5", "0", "1e9", ""};

struct RefusalCase {
    std::string option;
    std::string value;
    std::string advice;
};

void PrintTo(const RefusalCase& row, std::ostream* out) {
    *out << row.option << " '" << row.value << "'";
}

std::vector<RefusalCase> refusalCases() {
    std::vector<RefusalCase> cases;
    for (const NumericOption& option : numericOptions()) {
        std::vector<std::string> values;
        for (const std::string& value : commonBadValues) {
            if (std::find(option.valid.begin(), option.valid.end(), value) == option.valid.end()) {
                values.push_back(value);
            }
        }
        values.insert(values.end(), option.outside.begin(), option.outside.end());
        for (const std::string& value : values) {
            cases.push_back({option.name, value, option.advice});
        }
    }
    return cases;
}

// The name of a case, of letters and digits only.
std::string caseName(const ::testing::TestParamInfo<RefusalCase>& info) {
    std::string name;
    for (const char letter : info.param.option + "_" + info.param.value) {
        if (std::isalnum(static_cast<unsigned char>(letter))) {
            name += letter;
        } else if (letter == '-' && !name.empty() && name.back() != '_') {
            name += "minus";
        } else if (letter == '.' || letter == ',' || letter == ';') {
            name += "_";
        }
    }
    return name + "_" + std::to_string(info.index);
}

class HostNumericOptionRefusal : public ::testing::TestWithParam<RefusalCase> {};

TEST_P(HostNumericOptionRefusal, NamesTheOptionTheValueAndTheRangeAndExitsWith2) {
    const RefusalCase& row = GetParam();
    const auto result = runHost({row.option, row.value});
    EXPECT_EQ(result.exitStatus, 2) << result.output;
    const std::string shown = row.value.empty() ? "''" : row.value;
    EXPECT_EQ(result.output, row.option + " " + shown + " is not valid: " + row.advice + ".\n");
}

INSTANTIATE_TEST_SUITE_P(EveryNumericOption, HostNumericOptionRefusal, ::testing::ValuesIn(refusalCases()),
                         caseName);

TEST(HostOptionRanges, HelpStatesTheRangeOfEveryNumericOption) {
    const auto result = runHost({"--help"});
    ASSERT_EQ(result.exitStatus, 0);
    for (const NumericOption& option : numericOptions()) {
        EXPECT_TRUE(contains(result.output, option.help)) << option.name << " in:\n" << result.output;
    }
}

TEST(HostOptionRanges, EveryNumericOptionTakesTheEndsOfItsRange) {
    for (const auto& arguments : std::vector<std::vector<std::string>>{{"--seconds", "1"},
                                                                       {"--seconds", "3600"},
                                                                       {"--duration", "86400"},
                                                                       {"--channels", "255"},
                                                                       {"--samples-per-frame", "65535"},
                                                                       {"--sample-size", "4"},
                                                                       {"--buffer-size", "1048576"},
                                                                       {"--signaling", "1"},
                                                                       {"--clock-period", "60000"}}) {
        std::vector<std::string> withHelp = arguments;
        // --help after the value: the value is read and checked, and the program then only prints help.
        withHelp.push_back("--help");
        const auto result = runHost(withHelp);
        EXPECT_EQ(result.exitStatus, 0) << arguments[0] << " " << arguments[1] << ": " << result.output;
    }
}

TEST(HostOptionRanges, AnOptionWithoutItsValueSaysSo) {
    const auto result = runHost({"--duration"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output, "--duration needs a value: run 'sonacore-host --help' for the options.\n");
}

class HostMeterDuplicate : public ::testing::TestWithParam<std::pair<const char*, const char*>> {};

// Refused while the options are read: no demo is built, the library is not even asked for its version.
TEST_P(HostMeterDuplicate, IsRefusedBeforeAnythingStarts) {
    const auto& [meter, channel] = GetParam();
    const auto result = runHost({"--meter", meter});
    EXPECT_EQ(result.exitStatus, 2) << result.output;
    EXPECT_EQ(result.output, std::string("--meter ") + meter + " is not valid: channel " + channel +
                                 " is named twice; name each channel once.\n");
}

INSTANTIATE_TEST_SUITE_P(Lists, HostMeterDuplicate,
                         ::testing::Values(std::make_pair("0,0", "0"), std::make_pair("1,2,1", "1"),
                                           std::make_pair("3,0x3", "3")));

TEST(HostVersion, NamesTheMonitorAndTheLibrarysVersion) {
    const auto result = runHost({"--version"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output, "sonacore-host, the SonaCore monitor, built for interface 101\nSonaCore " +
                                 vq::sonaCoreLib::getVersion() + ", interface " +
                                 std::to_string(vq::sonaCoreLib::getInterfaceVersion()) + " (compatible)\n" +
                                 ISonaCore::getVersion()->getLegalCopyright() + "\n");
    EXPECT_EQ(ISonaCore::getVersion()->getLegalCopyright(), "Copyright (C) 2024 SonaCore Developers");
}

TEST(HostVersion, HelpListsIt) {
    const auto result = runHost({"--help"});
    EXPECT_TRUE(contains(result.output,
                         "\n  --version                the monitor's name and the library's version\n"))
        << result.output;
}

} // namespace
