#pragma once

#include "sonacore/SonaCoreExport.h"

#include <ostream>
#include <string>

class QDebug;

// Root of everything the library can print. Any object of the family goes to an output stream or a
// debug stream through the two operators below, which both render toString(). The operators throw only what
// the stream itself throws, and run on whichever thread owns the stream.
class SONACORE_EXPORT StringOverloadBase {
public:
    virtual ~StringOverloadBase();
    virtual std::string toString() const = 0;
};

// Writes toString(), a newline widened through the stream's locale, then flushes.
SONACORE_EXPORT std::ostream& operator<<(std::ostream& stream, const StringOverloadBase& object);

// Writes toString() unquoted; the stream's quoting state is restored afterwards.
SONACORE_EXPORT QDebug operator<<(QDebug stream, const StringOverloadBase& object);
