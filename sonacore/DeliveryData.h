#pragma once

#include "sonacore/DataObjectBase.h"
#include "sonacore/SonaCoreExport.h"

#include <string>

namespace sonacore {

// Marks data that is handed to a host. Adds nothing to its base: no lock, no call that throws.
class SONACORE_EXPORT DeliveryData : public DataObjectBase {
public:
    explicit DeliveryData(std::string name);
    ~DeliveryData() override;
};

} // namespace sonacore
