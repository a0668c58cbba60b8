// The primitives of the k0 variant: AVX-512 (F, CD, BW, DQ, VL): sixteen-lane float vectors.
// The build compiles this file with the variant's instruction-set flags.

#include "ipp/kernels/FamilyEntries.h"

namespace sonacore::ipp::kernels {
namespace {

struct K0Traits {
    static constexpr int maxLanes = 16;
    static constexpr bool fftOrderFirst = true;
    static constexpr int fftMaxInitOrder = 28;
};

} // namespace
} // namespace sonacore::ipp::kernels

namespace sonacore::ipp::detail {

const FamilyKernels familyK0Kernels = kernels::Entries<kernels::K0Traits>::table();

} // namespace sonacore::ipp::detail
