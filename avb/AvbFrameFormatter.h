#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace avb {

// Stateless text forms of frames and bytes, for diagnostics and tracing. Only hexToBytes is on the packet
// path (the device key to MAC bytes). The frame helpers never read past the given length.
class AvbFrameFormatter {
public:
    // One byte per two characters, read with strtol in base 16; a pair that is not hexadecimal gives what
    // strtol makes of it (0 when it reads nothing). A trailing single character is read alone.
    static std::vector<std::uint8_t> hexToBytes(const std::string& text);
    // Two lower-case hexadecimal digits per byte, no separator; empty for a count below 1.
    static std::string bytesToHex(const std::uint8_t* bytes, std::int32_t count);
    // The same digits with one blank between bytes.
    static std::string bytesToHexTuple(const std::uint8_t* bytes, std::int32_t count);
    // Decimal values with one blank between them.
    static std::string bytesToIntTuple(const std::uint8_t* bytes, std::int32_t count);
    // What the flags select, in this order: hex; " HexTuple " and the hex tuple; " IntTuple " and the int
    // tuple.
    static std::string formatBytes(const std::uint8_t* bytes, std::int32_t count, bool hex, bool hexTuple,
                                   bool intTuple);
    // True when none is negative and offset plus size does not exceed total.
    static bool isRangeInside(std::int32_t offset, std::int32_t size, std::int32_t total);

    static std::string getDestinationMac(const std::uint8_t* frame, std::int32_t length);
    static std::string getSourceMac(const std::uint8_t* frame, std::int32_t length);
    // Byte 16. The length test passes a frame of exactly 16 bytes, one short of the byte; such a frame
    // yields "unknown" here rather than a read past its end.
    static std::string getSequenceText(const std::uint8_t* frame, std::int32_t length);
    static std::uint8_t getSequenceValue(const std::uint8_t* frame, std::int32_t length);
    static std::string getStreamId(const std::uint8_t* frame, std::int32_t length);
    static std::string getTimestamp(const std::uint8_t* frame, std::int32_t length);
    // Byte 26, or 0xffffffff when the frame is too short for the timestamp.
    static std::uint32_t getTimestampFirstByte(const std::uint8_t* frame, std::int32_t length);
};

} // namespace avb
