#include "sonacore/VectorData.h"

#include <sstream>
#include <utility>

namespace sonacore {

IVectorData::~IVectorData() = default;

namespace {

void writeSeries(std::ostringstream& text, const std::vector<double>& values) {
    const char* separator = "";
    for (const double value : values) {
        text << separator << value;
        separator = ", ";
    }
}

} // namespace

VectorData::VectorData() : VectorData(defaultName) {}

VectorData::VectorData(std::string name) : DeliveryData(std::move(name)), x{0.0}, y{0.0} {}

VectorData::VectorData(std::vector<double> x, std::vector<double> y)
    : VectorData(defaultName, std::move(x), std::move(y)) {}

VectorData::VectorData(std::string name, std::vector<double> x, std::vector<double> y)
    : DeliveryData(std::move(name)), x(std::move(x)), y(std::move(y)) {}

VectorData::~VectorData() = default;

std::vector<double> VectorData::getX() const {
    return x;
}

std::vector<double> VectorData::getY() const {
    return y;
}

void VectorData::setX(std::vector<double> values) {
    x = std::move(values);
}

void VectorData::setY(std::vector<double> values) {
    y = std::move(values);
}

std::string VectorData::toString() const {
    std::ostringstream text;
    text << DataObjectBase::toString() << "\n"
         << "\tx: ";
    writeSeries(text, x);
    text << "\n\ty: ";
    writeSeries(text, y);
    return text.str();
}

} // namespace sonacore
