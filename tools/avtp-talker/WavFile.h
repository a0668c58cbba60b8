#pragma once

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace avtptalker {

// The samples of a 16-bit PCM WAV file, loaded whole into memory.
//
// Accepts RIFF/WAVE files whose "fmt " chunk says PCM (format tag 1, or 0xFFFE with a PCM sub-format)
// with 16 bits per sample and 1 to 1023 channels. Samples are stored interleaved by channel, as in the
// file, converted from the file's little-endian order to host order. The file's sample rate is kept
// only for information: the talker sends the samples as they are, at 48 kHz.
//
// Header-only so that tests can load the same file the talker sends and compare bit by bit.
class WavFile {
public:
    // Loads `path`. Returns false and sets `error` to one sentence when the file cannot be read or is
    // not a 16-bit PCM WAV file; `out` is then left unchanged.
    static bool load(const std::string& path, WavFile& out, std::string& error) {
        std::ifstream stream(path, std::ios::binary);
        if (!stream) {
            error = "cannot open WAV file '" + path + "'";
            return false;
        }
        const std::vector<unsigned char> bytes{std::istreambuf_iterator<char>(stream),
                                               std::istreambuf_iterator<char>()};
        if (bytes.size() < 12 || std::memcmp(bytes.data(), "RIFF", 4) != 0 ||
            std::memcmp(bytes.data() + 8, "WAVE", 4) != 0) {
            error = "'" + path + "' is not a RIFF/WAVE file";
            return false;
        }

        bool haveFormat = false;
        unsigned channels = 0;
        std::uint32_t sampleRate = 0;
        // Chunks may come in any order and carry a pad byte when their size is odd.
        std::size_t offset = 12;
        while (offset + 8 <= bytes.size()) {
            const unsigned char* chunk = bytes.data() + offset;
            const std::size_t size = readLe32(chunk + 4);
            const std::size_t available = bytes.size() - offset - 8;
            const std::size_t bodySize = size < available ? size : available;
            const unsigned char* body = chunk + 8;
            if (std::memcmp(chunk, "fmt ", 4) == 0) {
                if (!readFormat(body, bodySize, path, channels, sampleRate, error)) {
                    return false;
                }
                haveFormat = true;
            } else if (std::memcmp(chunk, "data", 4) == 0) {
                if (!haveFormat) {
                    error = "'" + path + "' has its data chunk before its format chunk";
                    return false;
                }
                const std::size_t frames = bodySize / (2u * channels);
                auto samples = std::make_shared<std::vector<std::int16_t>>(frames * channels);
                for (std::size_t i = 0; i < samples->size(); ++i) {
                    (*samples)[i] = static_cast<std::int16_t>(readLe16(body + 2 * i));
                }
                out.channelCount = channels;
                out.statedRate = sampleRate;
                out.sampleData = std::move(samples);
                return true;
            }
            offset += 8 + size + (size & 1u);
        }
        error = "'" + path + "' has no data chunk";
        return false;
    }

    // Channel count of the file, 1 to 1023 once loaded.
    unsigned channels() const { return channelCount; }

    // Sample rate the file states, in Hz.
    std::uint32_t sampleRate() const { return statedRate; }

    // Number of sample instants (samples per channel).
    std::size_t frames() const { return channelCount == 0 ? 0 : sampleData->size() / channelCount; }

    // All samples, interleaved by channel; shared so that many channel signals can use one file cheaply.
    std::shared_ptr<const std::vector<std::int16_t>> samples() const { return sampleData; }

private:
    // Reads the "fmt " chunk's channel count and rate; false with the reason when it is not 16-bit PCM of 1
    // to 1023 channels.
    static bool readFormat(const unsigned char* body, std::size_t bodySize, const std::string& path,
                           unsigned& channels, std::uint32_t& sampleRate, std::string& error) {
        if (bodySize < 16) {
            error = "'" + path + "' has a truncated format chunk";
            return false;
        }
        const unsigned formatTag = readLe16(body);
        const bool extensiblePcm = formatTag == 0xFFFE && bodySize >= 26 && readLe16(body + 24) == 1;
        channels = readLe16(body + 2);
        sampleRate = readLe32(body + 4);
        const unsigned bitsPerSample = readLe16(body + 14);
        if ((formatTag != 1 && !extensiblePcm) || bitsPerSample != 16) {
            error = "'" + path + "' is not 16-bit PCM";
            return false;
        }
        if (channels == 0 || channels > 1023) {
            error = "'" + path + "' has an unsupported channel count of " + std::to_string(channels);
            return false;
        }
        return true;
    }

    static unsigned readLe16(const unsigned char* p) { return p[0] | (p[1] << 8); }
    static std::uint32_t readLe32(const unsigned char* p) {
        return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
    }

    unsigned channelCount = 0;
    std::uint32_t statedRate = 0;
    std::shared_ptr<const std::vector<std::int16_t>> sampleData =
        std::make_shared<std::vector<std::int16_t>>();
};

} // namespace avtptalker
