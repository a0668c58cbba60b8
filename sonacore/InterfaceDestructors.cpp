// Out-of-line destructors of the public interfaces whose implementing classes live elsewhere, so that each
// interface's type information is emitted once, inside the library.
#include "sonacore/IChannelData.h"
#include "sonacore/IMeteringDataSource.h"
#include "sonacore/INetworkReceiverHandle.h"
#include "sonacore/IProcessorHandle.h"
#include "sonacore/IVectorData.h"

namespace sonacore {

IVectorData::~IVectorData() = default;
IChannelData::~IChannelData() = default;
IMeteringDataSource::~IMeteringDataSource() = default;

namespace ihandles {
INetworkReceiverHandle::~INetworkReceiverHandle() = default;
IProcessorHandle::~IProcessorHandle() = default;
} // namespace ihandles

} // namespace sonacore
