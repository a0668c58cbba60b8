#include "IppTestSupport.h"

#include "ipp/ippsmemory.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace sonacore::ipp::test {
namespace {

class IppsMalloc : public FamilyTest {};

TEST_P(IppsMalloc, RefusesLengthsBelowOne) {
    EXPECT_EQ(ippsMalloc_8u(0), nullptr);
    EXPECT_EQ(ippsMalloc_32f(0), nullptr);
    EXPECT_EQ(ippsMalloc_32fc(-1), nullptr);
}

TEST_P(IppsMalloc, RefusesByteCountsThatReach2GiB) {
    // 8 x 268435456 reaches 0x80000000: a complex frame of order 28 can't be allocated.
    EXPECT_EQ(ippsMalloc_32fc(268435456), nullptr);
    EXPECT_EQ(ippsMalloc_32f(536870912), nullptr);
    EXPECT_EQ(ippsMalloc_32f(INT32_MAX), nullptr);
}

TEST_P(IppsMalloc, AllocatesTheLastComplexOrder) {
    std::complex<float>* block = ippsMalloc_32fc(134217728);
    if (block == nullptr) {
        GTEST_SKIP() << "the system has no 1 GiB to spare";
    }
    block[134217727] = {1.0f, 2.0f};
    ippsFree(block);
}

TEST_P(IppsMalloc, AlignsFloatBlocksTo64Bytes) {
    for (int length : {1, 3, 17, 1024, 65537}) {
        float* block = ippsMalloc_32f(length);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 64, 0u) << length;
        block[length - 1] = 1.0f;
        ippsFree(block);
    }
}

TEST_P(IppsMalloc, AlignsByteAndComplexBlocksTo64Bytes) {
    unsigned char* bytes = ippsMalloc_8u(5);
    std::complex<float>* complexValues = ippsMalloc_32fc(5);
    ASSERT_NE(bytes, nullptr);
    ASSERT_NE(complexValues, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(bytes) % 64, 0u);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(complexValues) % 64, 0u);
    ippsFree(bytes);
    ippsFree(complexValues);
}

TEST_P(IppsMalloc, FreeOfNullIsANoOp) {
    ippsFree(nullptr);
}

INSTANTIATE_TEST_SUITE_P(Variants, IppsMalloc, testing::ValuesIn(supportedFamilies()), familyName);

} // namespace
} // namespace sonacore::ipp::test
