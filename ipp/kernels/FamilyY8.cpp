// The primitives of the y8 variant: SSE2, the baseline that runs on every x86-64 processor.
// The build compiles this file with the variant's instruction-set flags.

#include "ipp/kernels/FamilyEntries.h"

namespace sonacore::ipp::kernels {
namespace {

struct Y8Traits {
    static constexpr int kMaxLanes = 4;
    static constexpr bool kFftOrderFirst = false;
    static constexpr int kFftMaxInitOrder = 29;
};

} // namespace
} // namespace sonacore::ipp::kernels

namespace sonacore::ipp::detail {

const FamilyKernels kFamilyY8Kernels = kernels::Entries<kernels::Y8Traits>::table();

} // namespace sonacore::ipp::detail
