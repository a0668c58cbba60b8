#pragma once

#include "sonacore/SonaCoreExport.h"

#include <string>
#include <vector>

namespace sonacore {

// One result as two equally indexed series in double precision. Read it on the thread that received it;
// nothing here throws except the copies below when memory runs out (std::bad_alloc, the data unchanged).
class SONACORE_EXPORT IVectorData {
public:
    virtual ~IVectorData();

    // Copies of the series.
    virtual std::vector<double> getX() const = 0;
    virtual std::vector<double> getY() const = 0;
    // The bracketed name, then "x:" and "y:" with the values.
    virtual std::string toString() const = 0;
};

} // namespace sonacore
