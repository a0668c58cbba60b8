// The host program's --verbose option where no network is needed: the usage text.
#include "HostProgram.h"

#include <gtest/gtest.h>

namespace {

using hosttest::contains;
using hosttest::runHost;

TEST(HostVerboseCommandLine, HelpDescribesVerbose) {
    const auto result = runHost({"--help"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_TRUE(contains(result.output,
                         "\n  --verbose                also show the library's progress lines and "
                         "the warnings that every\n                           start-up brings\n"))
        << result.output;
}

TEST(HostVerboseCommandLine, HelpSaysTheSampleSizeIsForAStreamNotHeard) {
    const auto result = runHost({"--help"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_TRUE(contains(result.output,
                         "\n  --sample-size N          bytes per sample of a stream not heard, 1 to 4 "
                         "(default 2); a stream\n                           heard is read in the "
                         "sample format its frames state\n"))
        << result.output;
}

} // namespace
