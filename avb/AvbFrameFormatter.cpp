#include "avb/AvbFrameFormatter.h"

#include "avb/AvtpFrame.h"

#include <cstdlib>

namespace avb {
namespace {

constexpr char hexDigits[] = "0123456789abcdef";
const std::string unknown = "unknown";

// Joins the bytes in one of the text forms, with `separator` between bytes.
template <typename Format>
std::string joinBytes(const std::uint8_t* bytes, std::int32_t count, const char* separator, Format format) {
    std::string text;
    if (bytes == nullptr || count < 1) {
        return text;
    }
    for (std::int32_t index = 0; index < count; ++index) {
        if (index > 0) {
            text += separator;
        }
        format(text, bytes[index]);
    }
    return text;
}

void appendHex(std::string& text, std::uint8_t byte) {
    text += hexDigits[byte >> 4];
    text += hexDigits[byte & 0x0f];
}

// The hex text of `size` bytes from `offset`, or "unknown" when the frame is shorter than `needed`.
std::string fieldText(const std::uint8_t* frame, std::int32_t length, std::int32_t offset, std::int32_t size,
                      std::int32_t needed) {
    if (frame == nullptr || length < needed || !AvbFrameFormatter::isRangeInside(offset, size, length)) {
        return unknown;
    }
    return AvbFrameFormatter::bytesToHex(frame + offset, size);
}

} // namespace

std::vector<std::uint8_t> AvbFrameFormatter::hexToBytes(const std::string& text) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(text.size() / 2 + 1);
    for (std::size_t index = 0; index < text.size(); index += 2) {
        const std::string pair = text.substr(index, 2);
        bytes.push_back(static_cast<std::uint8_t>(std::strtol(pair.c_str(), nullptr, 16)));
    }
    return bytes;
}

std::string AvbFrameFormatter::bytesToHex(const std::uint8_t* bytes, std::int32_t count) {
    return joinBytes(bytes, count, "", appendHex);
}

std::string AvbFrameFormatter::bytesToHexTuple(const std::uint8_t* bytes, std::int32_t count) {
    return joinBytes(bytes, count, " ", appendHex);
}

std::string AvbFrameFormatter::bytesToIntTuple(const std::uint8_t* bytes, std::int32_t count) {
    return joinBytes(bytes, count, " ",
                     [](std::string& text, std::uint8_t byte) { text += std::to_string(byte); });
}

std::string AvbFrameFormatter::formatBytes(const std::uint8_t* bytes, std::int32_t count, bool hex,
                                           bool hexTuple, bool intTuple) {
    std::string text;
    if (hex) {
        text += bytesToHex(bytes, count);
    }
    if (hexTuple) {
        text += " HexTuple " + bytesToHexTuple(bytes, count);
    }
    if (intTuple) {
        text += " IntTuple " + bytesToIntTuple(bytes, count);
    }
    return text;
}

bool AvbFrameFormatter::isRangeInside(std::int32_t offset, std::int32_t size, std::int32_t total) {
    if (offset < 0 || size < 0 || total < 0) {
        return false;
    }
    return static_cast<std::int64_t>(offset) + size <= total;
}

std::string AvbFrameFormatter::getDestinationMac(const std::uint8_t* frame, std::int32_t length) {
    return fieldText(frame, length, avtp::destinationMacOffset, avtp::macSize, 6);
}

std::string AvbFrameFormatter::getSourceMac(const std::uint8_t* frame, std::int32_t length) {
    return fieldText(frame, length, avtp::sourceMacOffset, avtp::macSize, 12);
}

std::string AvbFrameFormatter::getSequenceText(const std::uint8_t* frame, std::int32_t length) {
    return fieldText(frame, length, avtp::sequenceNumberOffset, 1, 16);
}

std::uint8_t AvbFrameFormatter::getSequenceValue(const std::uint8_t* frame, std::int32_t length) {
    if (frame == nullptr || length < 16 || !isRangeInside(avtp::sequenceNumberOffset, 1, length)) {
        return 0;
    }
    return frame[avtp::sequenceNumberOffset];
}

std::string AvbFrameFormatter::getStreamId(const std::uint8_t* frame, std::int32_t length) {
    return fieldText(frame, length, avtp::streamIdOffset, avtp::streamIdSize, 26);
}

std::string AvbFrameFormatter::getTimestamp(const std::uint8_t* frame, std::int32_t length) {
    return fieldText(frame, length, avtp::timestampOffset, avtp::timestampSize, 30);
}

std::uint32_t AvbFrameFormatter::getTimestampFirstByte(const std::uint8_t* frame, std::int32_t length) {
    if (frame == nullptr || length < 30) {
        return 0xffffffffU;
    }
    return frame[avtp::timestampOffset];
}

} // namespace avb
