#pragma once

#include "sonacore/SonaCoreExport.h"

#include <string>
#include <vector>

namespace sonacore {

// One result as two equally indexed series in double precision.
class SONACORE_EXPORT IVectorData {
public:
    virtual ~IVectorData();

    // Copies of the series.
    virtual std::vector<double> getX() const = 0;
    virtual std::vector<double> getY() const = 0;
    virtual std::string toString() const = 0;
};

} // namespace sonacore
