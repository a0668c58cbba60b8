#include "pcapplus/KernelDropWatch.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

namespace {

pcap_stat counters(std::uint32_t received, std::uint32_t ringDrops, std::uint32_t adapterDrops) {
    pcap_stat statistics{};
    statistics.ps_recv = received;
    statistics.ps_drop = ringDrops;
    statistics.ps_ifdrop = adapterDrops;
    return statistics;
}

// Every report a watch makes, as (dropped, total).
struct Reports {
    explicit Reports(pcapplus::KernelDropWatch& watch) {
        watch.setReport(
            [this](std::uint64_t dropped, std::uint64_t total) { seen.emplace_back(dropped, total); });
    }
    std::vector<std::pair<std::uint64_t, std::uint64_t>> seen;
};

using Seen = std::vector<std::pair<std::uint64_t, std::uint64_t>>;

} // namespace

TEST(KernelDropWatch, NothingIsReportedWhileNothingIsDropped) {
    pcapplus::KernelDropWatch watch;
    Reports reports(watch);
    watch.countersRead(counters(0, 0, 0));
    watch.countersRead(counters(8000, 0, 0));
    watch.countersRead(counters(16000, 0, 0));
    EXPECT_TRUE(reports.seen.empty());
    const auto totals = watch.totals();
    EXPECT_EQ(totals.received, 16000U);
    EXPECT_EQ(totals.droppedInRing, 0U);
    EXPECT_EQ(totals.reads, 3U);
}

TEST(KernelDropWatch, GrowthOfEitherCounterIsReportedWithTheRunningTotal) {
    pcapplus::KernelDropWatch watch;
    Reports reports(watch);
    watch.countersRead(counters(8000, 25, 0));
    watch.countersRead(counters(16000, 25, 0));
    watch.countersRead(counters(24000, 30, 2));
    watch.countersRead(counters(32000, 30, 3));
    EXPECT_EQ(reports.seen, (Seen{{25, 25}, {7, 32}, {1, 33}}));
    const auto totals = watch.totals();
    EXPECT_EQ(totals.droppedInRing, 30U);
    EXPECT_EQ(totals.droppedByAdapter, 3U);
}

TEST(KernelDropWatch, CountersThatWrapAroundThirtyTwoBitsKeepCounting) {
    pcapplus::KernelDropWatch watch;
    Reports reports(watch);
    watch.countersRead(counters(0, 0xfffffff0U, 0));
    watch.countersRead(counters(0, 0x10U, 0));
    EXPECT_EQ(reports.seen, (Seen{{0xfffffff0U, 0xfffffff0U}, {0x20, 0x100000010ULL}}));
    EXPECT_EQ(watch.totals().droppedInRing, 0x100000010ULL);
}

TEST(KernelDropWatch, NoReportAfterItWasCleared) {
    pcapplus::KernelDropWatch watch;
    Reports reports(watch);
    watch.clearReport();
    watch.countersRead(counters(100, 5, 0));
    EXPECT_TRUE(reports.seen.empty());
    EXPECT_EQ(watch.totals().droppedInRing, 5U);
}

TEST(KernelDropWatch, RestartCountsANewHandleFromZero) {
    pcapplus::KernelDropWatch watch;
    Reports reports(watch);
    watch.countersRead(counters(100, 5, 1));
    watch.restart();
    EXPECT_EQ(watch.totals().droppedInRing, 0U);
    EXPECT_EQ(watch.totals().reads, 0U);
    watch.countersRead(counters(10, 2, 0));
    EXPECT_EQ(reports.seen, (Seen{{6, 6}, {2, 2}}));
}
