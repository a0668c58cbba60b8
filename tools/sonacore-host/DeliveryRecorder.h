#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace host {

// Appends the analysers' deliveries to a CSV file, one row per delivery, for a spreadsheet or pandas
// (`pandas.read_csv(path)`): every row has the same leading columns and the header names each column.
//
//   utc,seconds,channel,kind,dBA SPL f,dBA SPL s,dBC SPL f,dBC SPL s,dBZ SPL f,dBZ SPL s,dBFS,peak Hz,bins,
//   bin 0,...,bin N-1
//
// - utc: when the delivery reached the host, ISO 8601 in UTC with milliseconds (2026-11-23T12:40:01.123Z);
// - seconds: the same moment in seconds since the recorder was opened, with milliseconds;
// - channel: the stream's channel, from 0; kind: "level" or "spectrum";
// - a level row fills the seven level columns in dB re full scale (4 decimals, "-inf" for digital silence)
//   and ends there;
// - a spectrum row leaves the level columns empty and fills the strongest bin's frequency in Hz (empty when
//   the spectrum holds no power), the number of bins and each bin's linear power (9 significant digits);
//   bin k lies at k * sampleRate / (2 * bins) Hz.
//
// Each row is flushed to the file as it is written, so a program that is killed loses at most the row being
// written. The header is written only when the file is new or empty; rows are appended to what is there.
//
// Thread affinity: one thread, the host's, on which the deliveries arrive. Not copyable.
class DeliveryRecorder {
public:
    using Clock = std::chrono::system_clock;

    // Opens `path` for appending, with the header for spectra of `bins` bins when the file is new or empty.
    // `sampleRate` in Hz maps a spectrum's strongest bin to its frequency; `start` is the moment the seconds
    // column counts from. Null with a one-sentence `error` when the file
    // cannot be opened or the header not written.
    static std::unique_ptr<DeliveryRecorder> open(const std::string& path, std::size_t bins,
                                                  double sampleRate, Clock::time_point start,
                                                  std::string& error);

    DeliveryRecorder(const DeliveryRecorder&) = delete;
    DeliveryRecorder& operator=(const DeliveryRecorder&) = delete;

    // Appends one level row of the seven values of a sound level delivery, in the order of their
    // identifiers. A delivery of another size is written with as many values as it holds, up to seven.
    // False once a write has failed (the file's disk full or gone); nothing more is written then.
    bool recordLevels(unsigned channel, const std::vector<double>& levels, Clock::time_point at);

    // Appends one spectrum row of a delivered power spectrum. False once a write has failed.
    bool recordSpectrum(unsigned channel, const std::vector<double>& power, Clock::time_point at);

    // The rows written since opening, by kind.
    std::uint64_t levelRows() const { return levelRowCount; }
    std::uint64_t spectrumRows() const { return spectrumRowCount; }

    // Empty, or the one sentence saying why writing stopped.
    const std::string& error() const { return lastError; }

    // The header line for spectra of `bins` bins, without the line end.
    static std::string header(std::size_t bins);

    // A moment as ISO 8601 in UTC with milliseconds, such as 2026-11-23T12:40:01.123Z.
    static std::string utcText(Clock::time_point at);

private:
    DeliveryRecorder(std::string path, double sampleRate, Clock::time_point start);

    // The columns every row begins with, up to and including the kind.
    std::string rowStart(unsigned channel, const char* kind, Clock::time_point at) const;
    bool writeLine(const std::string& line);

    std::string filePath;
    double sampleRate;
    Clock::time_point start;
    std::ofstream file;
    std::uint64_t levelRowCount = 0;
    std::uint64_t spectrumRowCount = 0;
    std::string lastError;
};

} // namespace host
