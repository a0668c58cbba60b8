// The primitives of the e9 variant: AVX: eight-lane float vectors without FMA.
// The build compiles this file with the variant's instruction-set flags.

#include "ipp/kernels/FamilyEntries.h"

namespace sonacore::ipp::kernels {
namespace {

struct E9Traits {
    static constexpr int maxLanes = 8;
    static constexpr bool fftOrderFirst = false;
    static constexpr int fftMaxInitOrder = 29;
};

} // namespace
} // namespace sonacore::ipp::kernels

namespace sonacore::ipp::detail {

const FamilyKernels familyE9Kernels = kernels::Entries<kernels::E9Traits>::table();

} // namespace sonacore::ipp::detail
