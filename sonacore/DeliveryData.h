#pragma once

#include "sonacore/DataObjectBase.h"
#include "sonacore/SonaCoreExport.h"

#include <string>

namespace sonacore {

// Marks data that is handed to a host.
class SONACORE_EXPORT DeliveryData : public DataObjectBase {
public:
    explicit DeliveryData(std::string name);
    ~DeliveryData() override;
};

} // namespace sonacore
