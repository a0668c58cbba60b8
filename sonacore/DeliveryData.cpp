#include "sonacore/DeliveryData.h"

#include <utility>

namespace sonacore {

DeliveryData::DeliveryData(std::string name) : DataObjectBase(std::move(name)) {}

DeliveryData::~DeliveryData() = default;

} // namespace sonacore
