#include "process/fft/IppFftBuffers.h"

#include "FftTestSupport.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using process::fft::IppFftBuffers;

TEST(IppFftBuffers, ConstructionLogsTheManagerAndThenTheBuffers) {
    testsupport::LogCapture capture;
    IppFftBuffers buffers("B");
    EXPECT_EQ(ffttest::levelsAndTexts(capture),
              (std::vector<std::string>{"D IppFftBufferManager \"B\" Initialized",
                                        "D IppFftBuffers \"B\" Initialized"}));
}

TEST(IppFftBuffers, EverySlotStartsNull) {
    IppFftBuffers buffers("B");
    EXPECT_EQ(buffers.inputBuffer, nullptr);
    EXPECT_EQ(buffers.complexBuffer, nullptr);
    EXPECT_EQ(buffers.magnitudeBuffer, nullptr);
    EXPECT_EQ(buffers.powerBuffer, nullptr);
    EXPECT_EQ(buffers.windowBuffer, nullptr);
    EXPECT_EQ(buffers.workBuffer, nullptr);
    EXPECT_EQ(buffers.specBuffer, nullptr);
    EXPECT_EQ(buffers.specMemory, nullptr);
    EXPECT_EQ(buffers.fftSpec, nullptr);
}

TEST(IppFftBuffers, AllocateAllFromSameSizeAllocatesTheFourFrameBuffersOnly) {
    IppFftBuffers buffers("B");
    testsupport::LogCapture capture;
    ASSERT_TRUE(buffers.allocateAllIppBuffersFromSameSize(8));
    EXPECT_EQ(ffttest::levelsAndTexts(capture),
              (std::vector<std::string>{
                  "D allocateAllIppBuffersFromSameSize \"B\" FFT Buffers allocated by size:  8 "
                  " samples"}));
    ASSERT_NE(buffers.magnitudeBuffer, nullptr);
    ASSERT_NE(buffers.powerBuffer, nullptr);
    ASSERT_NE(buffers.windowBuffer, nullptr);
    ASSERT_NE(buffers.complexBuffer, nullptr);
    // Each holds its full length.
    buffers.magnitudeBuffer[7] = 1.0f;
    buffers.powerBuffer[7] = 1.0f;
    buffers.windowBuffer[7] = 1.0f;
    buffers.complexBuffer[7] = {1.0f, 1.0f};
    EXPECT_EQ(buffers.inputBuffer, nullptr);
    EXPECT_EQ(buffers.workBuffer, nullptr);
    EXPECT_EQ(buffers.specBuffer, nullptr);
    EXPECT_EQ(buffers.specMemory, nullptr);
    EXPECT_EQ(buffers.getManagedBufferAmount(), 4U);
}

TEST(IppFftBuffers, AllocateAllStopsAtTheFirstFailureAndKeepsWhatItAllocated) {
    IppFftBuffers buffers("B");
    ASSERT_TRUE(buffers.allocateFloats(process::fft::slotOf(buffers.powerBuffer), 8));
    float* const heldPower = buffers.powerBuffer;
    testsupport::LogCapture capture;
    EXPECT_FALSE(buffers.allocateAllIppBuffersFromSameSize(8));
    EXPECT_NE(buffers.magnitudeBuffer, nullptr);
    EXPECT_EQ(buffers.powerBuffer, heldPower);
    EXPECT_EQ(buffers.windowBuffer, nullptr);
    EXPECT_EQ(buffers.complexBuffer, nullptr);
    EXPECT_EQ(buffers.getManagedBufferAmount(), 2U);
    EXPECT_EQ(
        ffttest::levelsAndTexts(capture),
        (std::vector<std::string>{
            "W addBufferDeniedMessageToLog \"B\" The address of the buffer is already initialized and won't "
            "be "
            "managed: 0x " +
                ffttest::hexDigits(&buffers.powerBuffer),
            "W allocateAllIppBuffersFromSameSize \"B\" Cannot set the IPP buffers to size:  8 ! Allocation "
            "failed!"}));
}

TEST(IppFftBuffers, ASizeOfZeroFailsAtTheFirstBuffer) {
    IppFftBuffers buffers("B");
    testsupport::LogCapture capture;
    EXPECT_FALSE(buffers.allocateAllIppBuffersFromSameSize(0));
    EXPECT_EQ(buffers.magnitudeBuffer, nullptr);
    EXPECT_EQ(buffers.powerBuffer, nullptr);
    EXPECT_EQ(
        ffttest::levelsAndTexts(capture),
        (std::vector<std::string>{
            "W addToIppBuffers \"B\" The address of the buffer is not initialized and won't be managed: " +
                ffttest::debugAddress(&buffers.magnitudeBuffer),
            "W allocateAllIppBuffersFromSameSize \"B\" Cannot set the IPP buffers to size:  0 ! Allocation "
            "failed!"}));
}

TEST(IppFftBuffers, ASizeBeyondTheRangeOfIntIsRefusedWithoutAnAllocation) {
    IppFftBuffers buffers("B");
    testsupport::LogCapture capture;
    EXPECT_FALSE(buffers.allocateAllIppBuffersFromSameSize(std::size_t{1} << 40));
    EXPECT_EQ(buffers.magnitudeBuffer, nullptr);
    EXPECT_TRUE(capture.contains(QtWarningMsg,
                                 "allocateAllIppBuffersFromSameSize \"B\" Cannot set the IPP buffers "
                                 "to size:  1099511627776 ! Allocation failed!"));
}

TEST(IppFftBuffers, DescriptionStartsWithItsOwnLineAndEndsWithTheManagers) {
    IppFftBuffers buffers("B");
    ASSERT_TRUE(buffers.allocateAllIppBuffersFromSameSize(4));
    EXPECT_EQ(buffers.toString(), "IppFftBuffers: B\nIppFftBufferManager: B\n\tAmount of managed buffers: 4");
}

TEST(IppFftBuffers, DestructionReleasesTheFrameBuffers) {
    testsupport::LogCapture capture;
    {
        IppFftBuffers buffers("B");
        ASSERT_TRUE(buffers.allocateAllIppBuffersFromSameSize(4));
    }
    EXPECT_TRUE(
        capture.contains(QtDebugMsg, "~IppFftBufferManager \"B\" Try to release the managed buffers..."));
    EXPECT_TRUE(capture.contains(QtDebugMsg,
                                 "freeBuffers \"B\" Available amount of buffers:  4 . Buffers released:  4"));
}
