// Which of the library's log lines the monitor shows: with --verbose all of them, without it neither the
// progress lines nor the warnings that every start-up brings.
#include "LibraryLog.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

using host::LibraryLog;

namespace {

// A spectrum processor's line as the library writes it at every start-up.
constexpr const char* emptySlotWarning =
    "addToIppBuffers \"spectrum 0_FFT\" The address of the buffer is not "
    "initialized and won't be managed: 0x558049eeb660";

struct LineRow {
    std::string name;
    QtMsgType type;
    std::string text;
    bool shownQuietly;
};

void PrintTo(const LineRow& row, std::ostream* out) {
    *out << row.name;
}

class LibraryLine : public ::testing::TestWithParam<LineRow> {};

TEST_P(LibraryLine, IsShownWithoutVerboseOnlyWhenItIsAFaultOfThisRun) {
    EXPECT_EQ(LibraryLog::shows(GetParam().type, QString::fromStdString(GetParam().text), false),
              GetParam().shownQuietly);
}

TEST_P(LibraryLine, IsShownWithVerbose) {
    EXPECT_TRUE(LibraryLog::shows(GetParam().type, QString::fromStdString(GetParam().text), true));
}

INSTANTIATE_TEST_SUITE_P(
    Lines, LibraryLine,
    ::testing::Values(
        LineRow{"ProgressLine", QtDebugMsg, "DeviceConfiguration Initialized!", false},
        LineRow{"InfoLine", QtInfoMsg, "PcapDeviceManager Initialized", false},
        LineRow{"EmptyBufferSlotAtStartUp", QtWarningMsg, emptySlotWarning, false},
        LineRow{"EmptyBufferSlotOfAnyProcessorAndAddress", QtWarningMsg,
                "addToIppBuffers \"level 3_FFT\" The address of the buffer is not initialized and won't be "
                "managed: 0xABCDEF01",
                false},
        LineRow{"SlotThatIsAlreadyFilled", QtWarningMsg,
                "addToIppBuffers \"spectrum 0_FFT\" The address of the buffer is already initialized and "
                "won't be managed: 0x558049eeb660",
                true},
        LineRow{"EmptySlotTextOfAnotherMethod", QtWarningMsg,
                "manageExternalAllocatedBuffer \"spectrum 0_FFT\" The address of the buffer is not "
                "initialized and won't be managed: 0x558049eeb660",
                true},
        LineRow{"PacketsMissed", QtWarningMsg,
                "extractAvtpPacketData \"AvtpPacketReceiver (eth3)\" Packets "
                "missed:  1",
                true},
        LineRow{"Critical", QtCriticalMsg, emptySlotWarning, true}),
    [](const ::testing::TestParamInfo<LineRow>& info) { return info.param.name; });

} // namespace
