#include "process/fft/IppFftBufferManager.h"

#include "AllocationFailure.h"
#include "FftTestSupport.h"
#include "ipp/ippsmemory.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <complex>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace {

using process::fft::IppFftBufferManager;

constexpr const char* notManagedPrefix =
    "addToIppBuffers \"M\" The address of the buffer is not initialized and won't be managed: ";

std::string deniedLine(void** slot) {
    return "addBufferDeniedMessageToLog \"M\" The address of the buffer is already initialized and won't be "
           "managed: 0x " +
           ffttest::hexDigits(slot);
}

} // namespace

TEST(IppFftBufferManager, ConstructionLogsInitialized) {
    testsupport::LogCapture capture;
    IppFftBufferManager manager("M");
    EXPECT_EQ(ffttest::levelsAndTexts(capture),
              (std::vector<std::string>{"D IppFftBufferManager \"M\" Initialized"}));
}

TEST(IppFftBufferManager, EachAllocatorStoresAnAlignedManagedBlockInItsSlot) {
    IppFftBufferManager manager("M");
    unsigned char* bytes = nullptr;
    float* floats = nullptr;
    std::complex<float>* complexValues = nullptr;
    EXPECT_TRUE(manager.allocateBytes(process::fft::slotOf(bytes), 3));
    EXPECT_TRUE(manager.allocateFloats(process::fft::slotOf(floats), 5));
    EXPECT_TRUE(manager.allocateComplex(process::fft::slotOf(complexValues), 7));
    for (const void* block : {static_cast<const void*>(bytes), static_cast<const void*>(floats),
                              static_cast<const void*>(complexValues)}) {
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 64, 0U);
    }
    // The whole length is writable: the sanitizers would object to a block cut short.
    bytes[2] = 1;
    floats[4] = 1.0f;
    complexValues[6] = {1.0f, 2.0f};
    EXPECT_EQ(manager.getManagedBufferAmount(), 3U);
    manager.freeBuffers();
}

class OccupiedSlot : public testing::TestWithParam<int> {};

// Rows: 0 bytes, 1 floats, 2 complex floats.
TEST_P(OccupiedSlot, IsRefusedWithItsAddressAndKeepsItsBuffer) {
    IppFftBufferManager manager("M");
    float* held = ippsMalloc_32f(4);
    void* slot = held;
    testsupport::LogCapture capture;
    bool result = true;
    switch (GetParam()) {
    case 0:
        result = manager.allocateBytes(&slot, 16);
        break;
    case 1:
        result = manager.allocateFloats(&slot, 16);
        break;
    default:
        result = manager.allocateComplex(&slot, 16);
        break;
    }
    EXPECT_FALSE(result);
    EXPECT_EQ(slot, held);
    EXPECT_EQ(manager.getManagedBufferAmount(), 0U);
    EXPECT_EQ(ffttest::levelsAndTexts(capture), (std::vector<std::string>{"W " + deniedLine(&slot)}));
    ippsFree(held);
}

INSTANTIATE_TEST_SUITE_P(Allocators, OccupiedSlot, testing::Values(0, 1, 2));

TEST(IppFftBufferManager, ALengthOfZeroLeavesTheSlotNullAndWarnsWithTheSlotsAddress) {
    IppFftBufferManager manager("M");
    unsigned char* bytes = nullptr;
    testsupport::LogCapture capture;
    EXPECT_FALSE(manager.allocateBytes(process::fft::slotOf(bytes), 0));
    EXPECT_EQ(bytes, nullptr);
    EXPECT_EQ(manager.getManagedBufferAmount(), 0U);
    EXPECT_EQ(ffttest::levelsAndTexts(capture),
              (std::vector<std::string>{std::string("W ") + notManagedPrefix +
                                        ffttest::debugAddress(process::fft::slotOf(bytes))}));
}

TEST(IppFftBufferManager, AnOversizedBlockIsRefusedLikeAnEmptyOne) {
    IppFftBufferManager manager("M");
    std::complex<float>* complexValues = nullptr;
    testsupport::LogCapture capture;
    // 8 bytes times 2^28 reaches 2 GiB, which the allocator refuses.
    EXPECT_FALSE(manager.allocateComplex(process::fft::slotOf(complexValues), 268435456));
    EXPECT_EQ(complexValues, nullptr);
    EXPECT_EQ(capture.textsStartingWith(QtWarningMsg, notManagedPrefix).size(), 1U);
}

TEST(IppFftBufferManager, AddToIppBuffersRefusesASlotThatHoldsNull) {
    IppFftBufferManager manager("M");
    void* slot = nullptr;
    testsupport::LogCapture capture;
    EXPECT_FALSE(manager.addToIppBuffers(&slot));
    EXPECT_TRUE(capture.contains(QtWarningMsg, notManagedPrefix + ffttest::debugAddress(&slot)));
    EXPECT_EQ(manager.getManagedBufferAmount(), 0U);
}

TEST(IppFftBufferManager, AddToIppBuffersWarnsWhenItsListCannotGrow) {
    IppFftBufferManager manager("M");
    float* block = ippsMalloc_32f(4);
    void* slot = block;
    testsupport::LogCapture capture;
    ffttest::failNextAllocation();
    EXPECT_FALSE(manager.addToIppBuffers(&slot));
    ffttest::allowAllocations();
    EXPECT_EQ(
        ffttest::levelsAndTexts(capture),
        (std::vector<std::string>{"W addToIppBuffers \"M\" Cannot add buffer  to managed buffer vector!  "
                                  "Error message:  std::bad_alloc"}));
    EXPECT_EQ(manager.getManagedBufferAmount(), 0U);
    ippsFree(block);
}

TEST(IppFftBufferManager, ABlockThatCannotBeManagedIsGivenBackAndItsSlotLeftNull) {
    IppFftBufferManager manager("M");
    float* floats = nullptr;
    ffttest::failNextAllocation();
    EXPECT_FALSE(manager.allocateFloats(process::fft::slotOf(floats), 8));
    ffttest::allowAllocations();
    EXPECT_EQ(floats, nullptr);
    EXPECT_EQ(manager.getManagedBufferAmount(), 0U);
}

TEST(IppFftBufferManager, ManageExternalAllocatedBufferRefusesASlotThatHoldsNull) {
    IppFftBufferManager manager("M");
    void* slot = nullptr;
    testsupport::LogCapture capture;
    EXPECT_FALSE(manager.manageExternalAllocatedBuffer(&slot));
    EXPECT_EQ(ffttest::levelsAndTexts(capture),
              (std::vector<std::string>{"W manageExternalAllocatedBuffer \"M\" Given external buffer not "
                                        "initialized and won't be managed!"}));
}

TEST(IppFftBufferManager, AnExternalBufferIsFreedWithTheOthersAndItsSlotNulled) {
    IppFftBufferManager manager("M");
    float* external = ippsMalloc_32f(16);
    ASSERT_TRUE(manager.manageExternalAllocatedBuffer(process::fft::slotOf(external)));
    EXPECT_EQ(manager.getManagedBufferAmount(), 1U);
    manager.freeBuffers();
    EXPECT_EQ(external, nullptr);
}

TEST(IppFftBufferManager, FreeBuffersCountsTheSlotsAndTheBuffersItReleased) {
    IppFftBufferManager manager("M");
    float* first = nullptr;
    float* second = nullptr;
    ASSERT_TRUE(manager.allocateFloats(process::fft::slotOf(first), 4));
    ASSERT_TRUE(manager.allocateFloats(process::fft::slotOf(second), 4));
    // A slot that its owner emptied already is forgotten without a second release.
    ippsFree(second);
    second = nullptr;
    testsupport::LogCapture capture;
    manager.freeBuffers();
    EXPECT_EQ(first, nullptr);
    EXPECT_EQ(manager.getManagedBufferAmount(), 0U);
    EXPECT_EQ(ffttest::levelsAndTexts(capture),
              (std::vector<std::string>{
                  "D freeBuffers \"M\" Available amount of buffers:  2 . Buffers released:  1"}));
}

TEST(IppFftBufferManager, AFreedSlotCanBeAllocatedAgain) {
    IppFftBufferManager manager("M");
    float* floats = nullptr;
    ASSERT_TRUE(manager.allocateFloats(process::fft::slotOf(floats), 4));
    manager.freeBuffers();
    EXPECT_TRUE(manager.allocateFloats(process::fft::slotOf(floats), 4));
    EXPECT_NE(floats, nullptr);
    EXPECT_EQ(manager.getManagedBufferAmount(), 1U);
}

TEST(IppFftBufferManager, DestructionLogsAndReleasesEveryManagedBuffer) {
    float* floats = nullptr;
    unsigned char* bytes = nullptr;
    auto manager = std::make_unique<IppFftBufferManager>("M");
    ASSERT_TRUE(manager->allocateFloats(process::fft::slotOf(floats), 4));
    ASSERT_TRUE(manager->allocateBytes(process::fft::slotOf(bytes), 4));
    testsupport::LogCapture capture;
    manager.reset();
    EXPECT_EQ(floats, nullptr);
    EXPECT_EQ(bytes, nullptr);
    EXPECT_EQ(ffttest::levelsAndTexts(capture),
              (std::vector<std::string>{
                  "D ~IppFftBufferManager \"M\" Try to release the managed buffers...",
                  "D freeBuffers \"M\" Available amount of buffers:  2 . Buffers released:  2"}));
}

TEST(IppFftBufferManager, DescriptionGivesTheNameAndTheAmountOfManagedBuffers) {
    IppFftBufferManager manager("M");
    float* floats = nullptr;
    ASSERT_TRUE(manager.allocateFloats(process::fft::slotOf(floats), 4));
    EXPECT_EQ(manager.toString(), "IppFftBufferManager: M\n\tAmount of managed buffers: 1");
}
