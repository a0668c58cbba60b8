#pragma once

#include "avb/AvtpFrame.h"
#include "sonacore/DeviceConfiguration.h"
#include "sonacore/SampleFormat.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

namespace avb {

// Conversions of one big-endian AAF sample to a float, for devices whose configuration states its sample
// format. Each reads exactly the bytes of its format from `bytes`, which the caller has checked lie inside
// the captured frame. Plain functions; any thread.
namespace aaf {

// The value / 8388608: exact, since every 24-bit integer is a float.
inline float int24ToFloat(const std::uint8_t* bytes) {
    // Assembled in the top 24 bits, then shifted down arithmetically, so that the sign extends.
    const auto top = static_cast<std::int32_t>(
        (std::uint32_t{bytes[0]} << 24) | (std::uint32_t{bytes[1]} << 16) | (std::uint32_t{bytes[2]} << 8));
    return static_cast<float>(top >> 8) * 0x1p-23f;
}

// The value / 2147483648, rounded to the nearest float: the conversion rounds, and the power-of-two scale
// is exact. 24 significant bits in a 32-bit container are the top 24, and come out exact.
inline float int32ToFloat(const std::uint8_t* bytes) {
    const auto value =
        static_cast<std::int32_t>((std::uint32_t{bytes[0]} << 24) | (std::uint32_t{bytes[1]} << 16) |
                                  (std::uint32_t{bytes[2]} << 8) | std::uint32_t{bytes[3]});
    return static_cast<float>(value) * 0x1p-31f;
}

// The IEEE-754 value as sent, bit for bit. NaN and the infinities yield 0.0 and add one to `nonFinite`.
inline float float32ToFloat(const std::uint8_t* bytes, std::uint64_t& nonFinite) {
    const std::uint32_t bits = (std::uint32_t{bytes[0]} << 24) | (std::uint32_t{bytes[1]} << 16) |
                               (std::uint32_t{bytes[2]} << 8) | std::uint32_t{bytes[3]};
    float value;
    std::memcpy(&value, &bits, sizeof value);
    if (!std::isfinite(value)) {
        ++nonFinite;
        return 0.0f;
    }
    return value;
}

// The AAF format code that a device of this format expects in its frames; formatUserSpecified for
// Unspecified, which no opting-in device has.
inline std::uint8_t formatCodeOf(sonacore::SampleFormat format) {
    switch (format) {
    case sonacore::SampleFormat::Int16:
        return avtp::formatInt16;
    case sonacore::SampleFormat::Int24:
        return avtp::formatInt24;
    case sonacore::SampleFormat::Int32:
        return avtp::formatInt32;
    case sonacore::SampleFormat::Float32:
        return avtp::formatFloat32;
    case sonacore::SampleFormat::Unspecified:
        break;
    }
    return avtp::formatUserSpecified;
}

// A format code as a host names it: the sample format's name for the four that are analysed ("Int32"),
// otherwise what the code means ("AES3", "user-specified", "reserved code 9").
inline std::string formatCodeName(std::uint8_t code) {
    for (const auto format : {sonacore::SampleFormat::Int16, sonacore::SampleFormat::Int24,
                              sonacore::SampleFormat::Int32, sonacore::SampleFormat::Float32}) {
        if (code == formatCodeOf(format)) {
            return sonacore::DeviceConfiguration::sampleFormatName(format);
        }
    }
    if (code == avtp::formatAes3) {
        return "AES3";
    }
    return code == avtp::formatUserSpecified ? "user-specified" : "reserved code " + std::to_string(code);
}

} // namespace aaf
} // namespace avb
