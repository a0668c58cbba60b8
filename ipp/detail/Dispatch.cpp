#include "ipp/detail/Dispatch.h"

#include "ipp/detail/CpuFeatures.h"

namespace sonacore::ipp::detail {

const FamilyKernels& familyKernels(int family) {
    static const FamilyKernels* const kTables[kFamilyCount] = {&kFamilyY8Kernels, &kFamilyE9Kernels,
                                                               &kFamilyL9Kernels, &kFamilyK0Kernels};
    return *kTables[family];
}

} // namespace sonacore::ipp::detail
