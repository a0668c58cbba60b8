#include "sonacore/DataObjectBase.h"

#include <utility>

namespace sonacore {

DataObjectBase::DataObjectBase(std::string name) : name(std::move(name)) {}

DataObjectBase::~DataObjectBase() = default;

std::string DataObjectBase::toString() const {
    return "[" + name + "]";
}

std::string DataObjectBase::getName() const {
    return name;
}

} // namespace sonacore
