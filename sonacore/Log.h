#pragma once

#include <QDebug>
#include <QMessageLogger>
#include <QString>

#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>

// The one way the library writes a log line: category "default", no file, line or function, and the
// pieces method name, quoted object name (where there is one) and text, separated by the debug stream's
// automatic space. Debug level is for progress, warning level for faults.
namespace sonacore::log {

// An object's name; written through QDebug's string operator so that it prints in double quotes.
struct Name {
    QString text;
};

inline Name name(const std::string& text) {
    return Name{QString::fromStdString(text)};
}

inline Name name(const char* text) {
    return Name{QString::fromUtf8(text)};
}

namespace detail {

inline void write(QDebug& stream, const char* text) {
    stream << text;
}
inline void write(QDebug& stream, const std::string& text) {
    stream << text.c_str();
}
inline void write(QDebug& stream, const Name& objectName) {
    stream << objectName.text;
}
template <typename T> std::enable_if_t<std::is_arithmetic_v<T>> write(QDebug& stream, T value) {
    // Bytes are numbers here, never characters.
    if constexpr (std::is_same_v<T, std::uint8_t> || std::is_same_v<T, std::int8_t> ||
                  std::is_same_v<T, char>) {
        stream << static_cast<int>(value);
    } else {
        stream << value;
    }
}
template <typename T, typename = std::enable_if_t<!std::is_arithmetic_v<T>>>
auto write(QDebug& stream, const T& value) -> decltype(stream << value, void()) {
    stream << value;
}

constexpr const char* category = "default";

} // namespace detail

template <typename... Pieces> void debug(const char* method, const Pieces&... pieces) {
    QDebug stream = QMessageLogger(nullptr, 0, nullptr, detail::category).debug();
    stream << method;
    (detail::write(stream, pieces), ...);
}

template <typename... Pieces> void warning(const char* method, const Pieces&... pieces) {
    QDebug stream = QMessageLogger(nullptr, 0, nullptr, detail::category).warning();
    stream << method;
    (detail::write(stream, pieces), ...);
}

// The convention of set-up calls: the text is logged as a warning under the method's name, and the same
// text is thrown, so that the two can never differ.
template <typename Exception, typename... Extra>
[[noreturn]] void raise(const char* method, const std::string& text, Extra&&... extra) {
    warning(method, text);
    throw Exception(text, std::forward<Extra>(extra)...);
}

} // namespace sonacore::log
