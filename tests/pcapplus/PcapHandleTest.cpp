// The owner of a libpcap handle. Handles come from pcap_open_dead, which opens no adapter; a handle closed
// twice or never is reported by the sanitizer runs of this test.
#include "pcapplus/PcapHandle.h"

#include <gtest/gtest.h>

#include <utility>

namespace {

pcap_t* deadHandle() {
    return pcap_open_dead(DLT_EN10MB, 65536);
}

TEST(PcapHandle, StartsEmpty) {
    pcapplus::PcapHandle handle;
    EXPECT_EQ(handle.get(), nullptr);
    EXPECT_FALSE(handle);
}

TEST(PcapHandle, HoldsWhatItIsGiven) {
    pcap_t* raw = deadHandle();
    ASSERT_NE(raw, nullptr);
    pcapplus::PcapHandle handle(raw);
    EXPECT_EQ(handle.get(), raw);
    EXPECT_TRUE(handle);
    // The handle is usable through get() and stays owned.
    EXPECT_EQ(pcap_datalink(handle.get()), DLT_EN10MB);
}

TEST(PcapHandle, MoveConstructionLeavesTheSourceEmpty) {
    pcap_t* raw = deadHandle();
    pcapplus::PcapHandle first(raw);
    pcapplus::PcapHandle second(std::move(first));
    EXPECT_EQ(first.get(), nullptr); // NOLINT(bugprone-use-after-move): the moved-from state is the point
    EXPECT_EQ(second.get(), raw);
}

TEST(PcapHandle, MoveAssignmentClosesTheHandleItHeldAndTakesTheOther) {
    pcapplus::PcapHandle target(deadHandle());
    pcap_t* raw = deadHandle();
    pcapplus::PcapHandle source(raw);
    target = std::move(source);
    EXPECT_EQ(target.get(), raw);
    EXPECT_EQ(source.get(), nullptr); // NOLINT(bugprone-use-after-move)
}

TEST(PcapHandle, SelfMoveAssignmentKeepsTheHandle) {
    pcap_t* raw = deadHandle();
    pcapplus::PcapHandle handle(raw);
    pcapplus::PcapHandle& alias = handle;
    handle = std::move(alias);
    EXPECT_EQ(handle.get(), raw);
}

TEST(PcapHandle, ResetClosesAndTakesTheReplacement) {
    pcapplus::PcapHandle handle(deadHandle());
    pcap_t* replacement = deadHandle();
    handle.reset(replacement);
    EXPECT_EQ(handle.get(), replacement);
    handle.reset();
    EXPECT_FALSE(handle);
    // A second reset of an empty owner closes nothing.
    handle.reset();
    EXPECT_FALSE(handle);
}

} // namespace
