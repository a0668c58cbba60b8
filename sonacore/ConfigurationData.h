#pragma once

#include "sonacore/DataObjectBase.h"

#include <QObject>

#include <string>

namespace sonacore {

// Base of every configuration object. A setter compares first and, only when the value changes, stores it
// and then emits configurationChanged with the parameter's constant name.
class ConfigurationData : public QObject, public DataObjectBase {
    Q_OBJECT

public:
    explicit ConfigurationData(std::string name, QObject* parent = nullptr);
    ~ConfigurationData() override;

signals:
    // Emitted on the thread of the setter's caller, after the new value is stored, once per change.
    // Listeners on other threads receive it queued.
    void configurationChanged(std::string parameter);
};

} // namespace sonacore
