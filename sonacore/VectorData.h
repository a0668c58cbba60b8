#pragma once

#include "sonacore/DeliveryData.h"
#include "sonacore/IVectorData.h"
#include "sonacore/SonaCoreExport.h"

#include <string>
#include <vector>

namespace sonacore {

// One result as two equally indexed series, x and y, in double precision. A plain value: it is copied
// whole wherever it goes, and has no thread affinity. No call throws but a copy that finds no memory
// (std::bad_alloc, the object unchanged).
class SONACORE_EXPORT VectorData : public DeliveryData, public IVectorData {
public:
    // The name every vector gets unless one is given.
    static constexpr const char* defaultName = "Vector (x,y)";

    // One point (0.0, 0.0).
    VectorData();
    explicit VectorData(std::string name);
    // Copies of the given series.
    VectorData(std::vector<double> x, std::vector<double> y);
    VectorData(std::string name, std::vector<double> x, std::vector<double> y);
    ~VectorData() override;

    std::vector<double> getX() const override;
    std::vector<double> getY() const override;
    // Replace a series; the processors refill their record in place before each delivery.
    void setX(std::vector<double> values);
    void setY(std::vector<double> values);

    // "[<name>]\n\tx: <x values>\n\ty: <y values>", the values of a series separated by ", " and written in
    // the default formatting of a text stream.
    std::string toString() const override;

private:
    std::vector<double> x;
    std::vector<double> y;
};

} // namespace sonacore
