#include "sonacore/ConfigurationData.h"

#include <utility>

namespace sonacore {

ConfigurationData::ConfigurationData(std::string name, QObject* parent)
    : QObject(parent), DataObjectBase(std::move(name)) {}

ConfigurationData::~ConfigurationData() = default;

} // namespace sonacore
