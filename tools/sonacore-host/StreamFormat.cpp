#include "StreamFormat.h"

#include "avb/AvtpFrame.h"

namespace host {
namespace {

// "1 channel", "8 channels".
std::string counted(std::uint64_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

} // namespace

std::optional<sonacore::SampleFormat> StreamFormat::sampleFormatOf(std::uint8_t formatCode) {
    using sonacore::SampleFormat;
    switch (formatCode) {
    case avb::avtp::formatFloat32:
        return SampleFormat::Float32;
    case avb::avtp::formatInt32:
        return SampleFormat::Int32;
    case avb::avtp::formatInt24:
        return SampleFormat::Int24;
    case avb::avtp::formatInt16:
        return SampleFormat::Int16;
    default:
        return std::nullopt;
    }
}

std::string StreamFormat::samplesText() const {
    using sonacore::SampleFormat;
    switch (sampleFormat) {
    case SampleFormat::Int16:
        return "16-bit integer samples";
    case SampleFormat::Int24:
        return "24-bit integer samples";
    case SampleFormat::Int32:
        return "32-bit integer samples";
    case SampleFormat::Float32:
        return "32-bit float samples";
    case SampleFormat::Unspecified:
        break;
    }
    return std::to_string(sampleSize) + "-byte samples";
}

std::string StreamFormat::shortName() const {
    using sonacore::SampleFormat;
    switch (sampleFormat) {
    case SampleFormat::Int16:
        return "int16";
    case SampleFormat::Int24:
        return "int24";
    case SampleFormat::Int32:
        return "int32";
    case SampleFormat::Float32:
        return "float32";
    case SampleFormat::Unspecified:
        break;
    }
    return std::to_string(sampleSize) + "-byte";
}

std::string StreamFormat::describe() const {
    return counted(channels, "channel") + " of " + samplesText() + ", " + counted(samplesPerFrame, "sample") +
           " per frame, " + (vlanId ? "VLAN " + std::to_string(*vlanId) : std::string("untagged"));
}

} // namespace host
