// The primitives of the y8 variant: SSE2, the baseline that runs on every x86-64 processor.
// The build compiles this file with the variant's instruction-set flags.

#include "ipp/kernels/FamilyEntries.h"

namespace sonacore::ipp::kernels {
namespace {

struct Y8Traits {
    static constexpr int maxLanes = 4;
    static constexpr bool fftOrderFirst = false;
    static constexpr int fftMaxInitOrder = 29;
};

} // namespace
} // namespace sonacore::ipp::kernels

namespace sonacore::ipp::detail {

const FamilyKernels familyY8Kernels = kernels::Entries<kernels::Y8Traits>::table();

} // namespace sonacore::ipp::detail
