#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// The values both programs read from their command lines, read the same way in both: whole numbers, real
// numbers and MAC addresses. Each function takes the whole text of one value and returns nothing when any
// character of it is not part of the value; none of them skips spaces, takes a sign or reads past the text.
namespace commandline {

using MacAddress = std::array<std::uint8_t, 6>;

// A whole number in decimal ("48000", leading zeros allowed and still decimal) or in hexadecimal after "0x"
// or "0X" ("0x22f0"), from `minimum` to `maximum`. Empty for anything else, a value that does not fit in 64
// bits included.
std::optional<std::uint64_t> parseNumber(std::string_view text, std::uint64_t minimum = 0,
                                         std::uint64_t maximum = UINT64_MAX);

// A finite real number as C's strtod reads it ("2.5", "1e-3", "-0.5"), from `minimum` to `maximum`. Empty for
// anything else, leading spaces, "inf" and "nan" included.
std::optional<double> parseReal(std::string_view text, double minimum, double maximum);

// Six bytes written as 12 hexadecimal digits ("00a0c9112233") or as six pairs of digits separated by ':' or
// '-' ("00:a0:c9:11:22:33", "00-A0-C9-11-22-33"). Empty for anything else.
std::optional<MacAddress> parseMac(std::string_view text);

// The 12 lower-case hexadecimal digits of an address: the form in which the library names a device.
std::string deviceKey(const MacAddress& mac);

} // namespace commandline
