#include "avb/AvbToFloatSampleConverter.h"

#include "sonacore/Log.h"

namespace avb {

AvbToFloatSampleConverter::AvbToFloatSampleConverter() : sampleByteSize(2), sampleScale(0x1p-15f) {
    sonacore::log::debug("AvbToFloatSampleConverter", "Initialized!");
}

float AvbToFloatSampleConverter::convertFromBigEndian(const std::uint8_t* bytes, std::size_t count) const {
    if (count != sampleByteSize) {
        sonacore::log::warning("convertFromBigEndian",
                               "Cannot convert array data to float. Wrong array size: ",
                               static_cast<std::uint64_t>(count), " (required: ", sampleByteSize);
        return 0.0f;
    }
    const auto value = static_cast<std::int16_t>(static_cast<std::uint16_t>((bytes[0] << 8) | bytes[1]));
    return static_cast<float>(value) * sampleScale;
}

} // namespace avb
