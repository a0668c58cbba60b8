#pragma once

#include "sonacore/SonaCoreExport.h"
#include "sonacore/StringOverloadBase.h"

#include <string>

namespace sonacore {

// A printable object with a name. The name is written once, at construction, and may be read from any
// thread. No call throws.
class SONACORE_EXPORT DataObjectBase : public StringOverloadBase {
public:
    explicit DataObjectBase(std::string name);
    ~DataObjectBase() override;

    // "[" name "]"; derived classes start their own text with it.
    std::string toString() const override;
    virtual std::string getName() const;

protected:
    std::string name;
};

} // namespace sonacore
