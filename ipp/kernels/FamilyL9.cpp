// The primitives of the l9 variant: AVX2 with FMA: eight-lane float vectors.
// The build compiles this file with the variant's instruction-set flags.

#include "ipp/kernels/FamilyEntries.h"

namespace sonacore::ipp::kernels {
namespace {

struct L9Traits {
    static constexpr int maxLanes = 8;
    static constexpr bool fftOrderFirst = true;
    static constexpr int fftMaxInitOrder = 28;
};

} // namespace
} // namespace sonacore::ipp::kernels

namespace sonacore::ipp::detail {

const FamilyKernels familyL9Kernels = kernels::Entries<kernels::L9Traits>::table();

} // namespace sonacore::ipp::detail
