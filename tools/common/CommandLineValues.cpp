#include "CommandLineValues.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>

namespace commandline {
namespace {

// The value of one hexadecimal digit, or -1.
int hexDigit(char character) {
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    if (character >= 'a' && character <= 'f') {
        return character - 'a' + 10;
    }
    if (character >= 'A' && character <= 'F') {
        return character - 'A' + 10;
    }
    return -1;
}

} // namespace

std::optional<std::uint64_t> parseNumber(std::string_view text, std::uint64_t minimum,
                                         std::uint64_t maximum) {
    std::uint64_t base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text.remove_prefix(2);
    }
    if (text.empty()) {
        return std::nullopt;
    }
    std::uint64_t value = 0;
    for (const char character : text) {
        const int digit = hexDigit(character);
        if (digit < 0 || static_cast<std::uint64_t>(digit) >= base) {
            return std::nullopt;
        }
        // Refuses the digit that would carry the value past 64 bits.
        if (value > (UINT64_MAX - static_cast<std::uint64_t>(digit)) / base) {
            return std::nullopt;
        }
        value = value * base + static_cast<std::uint64_t>(digit);
    }
    if (value < minimum || value > maximum) {
        return std::nullopt;
    }
    return value;
}

std::optional<double> parseReal(std::string_view text, double minimum, double maximum) {
    // strtod skips leading spaces and reads "inf" and "nan", none of which is a value here.
    if (text.empty() || !(text[0] == '-' || text[0] == '+' || text[0] == '.' || hexDigit(text[0]) >= 0)) {
        return std::nullopt;
    }
    const std::string copy(text);
    char* end = nullptr;
    errno = 0;
    const double value = std::strtod(copy.c_str(), &end);
    if (errno != 0 || end != copy.c_str() + copy.size() || !std::isfinite(value) || value < minimum ||
        value > maximum) {
        return std::nullopt;
    }
    return value;
}

std::optional<MacAddress> parseMac(std::string_view text) {
    // Either 12 digits in a row, or 17 characters with a separator after every pair.
    const bool separated = text.size() == 17;
    if (!separated && text.size() != 12) {
        return std::nullopt;
    }
    const std::size_t stride = separated ? 3 : 2;
    MacAddress mac{};
    for (std::size_t byte = 0; byte < mac.size(); ++byte) {
        const std::size_t at = byte * stride;
        const int high = hexDigit(text[at]);
        const int low = hexDigit(text[at + 1]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        if (separated && byte + 1 < mac.size() && text[at + 2] != ':' && text[at + 2] != '-') {
            return std::nullopt;
        }
        mac[byte] = static_cast<std::uint8_t>(high * 16 + low);
    }
    return mac;
}

std::string deviceKey(const MacAddress& mac) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string key;
    for (const std::uint8_t byte : mac) {
        key += digits[byte >> 4];
        key += digits[byte & 0x0f];
    }
    return key;
}

} // namespace commandline
