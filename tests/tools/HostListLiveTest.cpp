// The host program's --list as a user meets it on a machine with adapters of every kind: only those that
// carry Ethernet frames, among them a veth made by the test, and with --all every adapter libpcap gives, the
// loopback too, each under the same number in both lists.
#include "HostProgram.h"
#include "support/NetnsFixture.h"

#include <gtest/gtest.h>

#include <optional>
#include <regex>
#include <string>

namespace {

using hosttest::runHost;

// The number a list gives the adapter of this name; empty when it does not list it.
std::optional<unsigned> numberOf(const std::string& list, const std::string& name) {
    std::smatch match;
    if (!std::regex_search(list, match, std::regex("\n  ([0-9]+)\\. " + name + "( \\(|\n)"))) {
        return std::nullopt;
    }
    return static_cast<unsigned>(std::stoul(match[1]));
}

class HostListLiveTest : public testsupport::NetnsFixture {};

TEST_F(HostListLiveTest, ListShowsTheTestsVethAndNotTheLoopback) {
    const auto result = runHost({"--list"});
    ASSERT_EQ(result.exitStatus, 0) << result.output;
    EXPECT_NE(result.output.find("\nEthernet capture adapters:\n"), std::string::npos) << result.output;
    EXPECT_TRUE(numberOf(result.output, captureInterface()).has_value()) << result.output;
    EXPECT_FALSE(numberOf(result.output, "lo").has_value()) << result.output;
    EXPECT_FALSE(numberOf(result.output, "any").has_value()) << result.output;
    EXPECT_TRUE(std::regex_search(
        result.output, std::regex("\nNot shown: [0-9]+ adapters? without Ethernet frames \\(loopback "
                                  "and others\\); 'sonacore-host --list --all' lists every "
                                  "adapter\\.\n")))
        << result.output;
}

TEST_F(HostListLiveTest, AllListsTheLoopbackAndKeepsEveryNumber) {
    const auto ethernet = runHost({"--list"});
    const auto all = runHost({"--list", "--all"});
    ASSERT_EQ(all.exitStatus, 0) << all.output;
    EXPECT_NE(all.output.find("\nCapture adapters:\n"), std::string::npos) << all.output;
    EXPECT_TRUE(numberOf(all.output, "lo").has_value()) << all.output;
    const std::optional<unsigned> veth = numberOf(all.output, captureInterface());
    ASSERT_TRUE(veth.has_value()) << all.output;
    EXPECT_EQ(numberOf(ethernet.output, captureInterface()), veth) << ethernet.output << all.output;
    EXPECT_EQ(all.output.find("Not shown"), std::string::npos) << all.output;
}

TEST(HostList, AllWithoutListIsRefused) {
    const auto result = runHost({"--all"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output, "--all goes with --list: run 'sonacore-host --list --all' for every adapter.\n");
}

} // namespace
