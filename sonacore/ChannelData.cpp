#include "sonacore/ChannelData.h"

#include <utility>

namespace sonacore {

IChannelData::~IChannelData() = default;

ChannelData::ChannelData() : ChannelData(defaultName) {}

ChannelData::ChannelData(std::string name) : DeliveryData(std::move(name)) {}

ChannelData::ChannelData(std::string name, VectorData vectorData)
    : DeliveryData(std::move(name)), vectorData(std::move(vectorData)) {}

ChannelData::~ChannelData() = default;

const IVectorData& ChannelData::getVectorData() const {
    return vectorData;
}

VectorData& ChannelData::getVectorData() {
    return vectorData;
}

std::string ChannelData::getName() const {
    return DataObjectBase::getName();
}

std::string ChannelData::toString() const {
    return DataObjectBase::toString() + "\n" + vectorData.toString();
}

} // namespace sonacore
