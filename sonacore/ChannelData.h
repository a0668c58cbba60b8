#pragma once

#include "sonacore/DeliveryData.h"
#include "sonacore/IChannelData.h"
#include "sonacore/SonaCoreExport.h"
#include "sonacore/VectorData.h"

#include <string>

namespace sonacore {

// One delivered result of one processor: a named record around one VectorData, held by value. A plain,
// copyable value with no thread affinity; it crosses from a processor's worker thread to the host's thread
// as the argument of a queued signal, registered under the meta-type name "sonacore::ChannelData". No call
// throws but a copy that finds no memory (std::bad_alloc, the source unchanged).
class SONACORE_EXPORT ChannelData : public DeliveryData, public IChannelData {
public:
    // The name every record gets unless one is given.
    static constexpr const char* defaultName = "DummyChannel";

    // A default VectorData: one point (0.0, 0.0).
    ChannelData();
    explicit ChannelData(std::string name);
    ChannelData(std::string name, VectorData vectorData);
    ~ChannelData() override;

    const IVectorData& getVectorData() const override;
    // The record's series, to be refilled in place before a delivery.
    VectorData& getVectorData();
    std::string getName() const override;
    // "[<name>]\n" followed by the text of the VectorData.
    std::string toString() const override;

private:
    VectorData vectorData;
};

} // namespace sonacore
