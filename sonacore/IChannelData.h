#pragma once

#include "sonacore/IVectorData.h"
#include "sonacore/SonaCoreExport.h"

#include <string>

namespace sonacore {

// One delivered result of one processor: a named record around one pair of series. The host's callback
// receives it by reference on the host's thread, and the reference is valid only during that call: copy the
// series to keep them. None of the calls throws.
class SONACORE_EXPORT IChannelData {
public:
    virtual ~IChannelData();

    // The record's series; lives as long as the record.
    virtual const IVectorData& getVectorData() const = 0;
    // The bracketed name, then the series.
    virtual std::string toString() const = 0;
    // The processor's name for the record.
    virtual std::string getName() const = 0;
};

} // namespace sonacore
