#include "ipp/detail/Dispatch.h"

#include "ipp/detail/CpuFeatures.h"

namespace sonacore::ipp::detail {

const FamilyKernels& familyKernels(int family) {
    static const FamilyKernels* const tables[familyCount] = {&familyY8Kernels, &familyE9Kernels,
                                                             &familyL9Kernels, &familyK0Kernels};
    return *tables[family];
}

} // namespace sonacore::ipp::detail
