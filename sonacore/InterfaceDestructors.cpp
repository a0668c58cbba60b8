// Out-of-line destructors of the public interfaces whose implementing classes live elsewhere, so that each
// interface's type information is emitted once, inside the library.
#include "sonacore/IProcessorHandle.h"

namespace sonacore {

namespace ihandles {
IProcessorHandle::~IProcessorHandle() = default;
} // namespace ihandles

} // namespace sonacore
