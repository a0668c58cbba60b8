#pragma once

#include "sonacore/IVectorData.h"
#include "sonacore/SonaCoreExport.h"

#include <string>

namespace sonacore {

// One delivered result of one processor: a named record around one pair of series.
class SONACORE_EXPORT IChannelData {
public:
    virtual ~IChannelData();

    virtual const IVectorData& getVectorData() const = 0;
    virtual std::string toString() const = 0;
    virtual std::string getName() const = 0;
};

} // namespace sonacore
