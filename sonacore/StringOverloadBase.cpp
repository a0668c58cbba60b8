#include "sonacore/StringOverloadBase.h"

#include <QDebug>
#include <QString>

StringOverloadBase::~StringOverloadBase() = default;

std::ostream& operator<<(std::ostream& stream, const StringOverloadBase& object) {
    stream << object.toString();
    return stream << std::endl;
}

QDebug operator<<(QDebug stream, const StringOverloadBase& object) {
    QDebugStateSaver saver(stream);
    stream.noquote() << QString::fromStdString(object.toString());
    return stream;
}
