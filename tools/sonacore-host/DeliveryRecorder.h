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
// (`pandas.read_csv(path)`): one table whose header names every column, whatever FFT order the spectra have.
//
//   utc,seconds,channel,kind,dBA SPL f,dBA SPL s,dBC SPL f,dBC SPL s,dBZ SPL f,dBZ SPL s,dBFS,peak Hz,bins,
//   bin 0,...,bin W-1
//
// - utc: when the delivery reached the host, ISO 8601 in UTC with milliseconds (2026-11-23T12:40:01.123Z);
// - seconds: the same moment in seconds since the recorder was opened, with milliseconds;
// - channel: the stream's channel, from 0; kind: "level" or "spectrum";
// - a level row fills the seven level columns in dB re full scale (4 decimals, "-inf" for digital silence)
//   and ends there, so that readers leave its other columns empty;
// - a spectrum row leaves the level columns empty and fills the strongest bin's frequency in Hz (empty when
//   the spectrum holds no power), its number of bins N and each bin's linear power (9 significant digits),
//   then leaves the columns from bin N to bin W-1 empty: bin k lies at k * sampleRate / (2 * N) Hz.
//
// W, the bin columns, is the widest spectrum the host asks for (32768 bins, of the live view's highest FFT
// order, in every run), so that a change of order changes how many bin cells a row fills and never the
// number of its columns, and the records of every run share one header. Each row is flushed to the file as it
// is written, so a program that is killed loses at most the row being written. The header is written only
// when the file is new or empty; rows are appended to a file only when its first line is that same header.
//
// Thread affinity: one thread, the host's, on which the deliveries arrive. Not copyable.
class DeliveryRecorder {
public:
    using Clock = std::chrono::system_clock;

    // The run's rates of deliveries, from which recordingText estimates how fast the file grows.
    struct Load {
        std::size_t channels = 0;
        double levelsPerSecond = 0.0;
        double spectraPerSecond = 0.0;
        // log2 of the spectra's frame length at the start, and the highest the run's keys can ask for.
        std::size_t order = 0;
        std::size_t largestOrder = 0;
    };

    // Opens `path` for appending, with the header of `binColumns` bin columns when the file is new or empty.
    // `sampleRate` in Hz maps a spectrum's strongest bin to its frequency; `start` is the moment the seconds
    // column counts from. Null with a one-sentence `error` when the file cannot be opened, the header not
    // written, or the file already begins with another header.
    static std::unique_ptr<DeliveryRecorder> open(const std::string& path, std::size_t binColumns,
                                                  double sampleRate, Clock::time_point start,
                                                  std::string& error);

    DeliveryRecorder(const DeliveryRecorder&) = delete;
    DeliveryRecorder& operator=(const DeliveryRecorder&) = delete;

    // Appends one level row of the seven values of a sound level delivery, in the order of their
    // identifiers. A delivery of another size is written with as many values as it holds, up to seven.
    // False once a write has failed (the file's disk full or gone); nothing more is written then.
    bool recordLevels(unsigned channel, const std::vector<double>& levels, Clock::time_point at);

    // Appends one spectrum row of a delivered power spectrum. False once a write has failed, or when the
    // spectrum has more bins than the header's columns (recording stops then too).
    bool recordSpectrum(unsigned channel, const std::vector<double>& power, Clock::time_point at);

    // The rows written since opening, by kind.
    std::uint64_t levelRows() const { return levelRowCount; }
    std::uint64_t spectrumRows() const { return spectrumRowCount; }

    // Empty, or the one sentence saying why writing stopped.
    const std::string& error() const { return lastError; }

    // The header line of `binColumns` bin columns, without the line end.
    static std::string header(std::size_t binColumns);

    // The bytes of one level row, and of one spectrum row of `bins` bins under a header of `binColumns`,
    // line end included, for values of the usual length: a level of 4 decimals such as -12.3456, a bin's
    // power of 9 significant digits with an exponent such as 1.23456789e-10, which almost every bin of a
    // spectrum needs since they hold far less power than the peak.
    static std::size_t levelRowBytes();
    static std::size_t spectrumRowBytes(std::size_t bins, std::size_t binColumns);
    // The line a run prints as it starts recording, such as "Recording to levels.csv adds about 3.0 MB a
    // second: 4 channels, each 16.7 level rows and 5 spectrum rows of 8192 bins a second." Where the keys can
    // raise the order, it ends instead with "; up to about 9.8 MB at FFT order 16." Megabytes of 10^6 bytes.
    std::string recordingText(const Load& load) const;

    // A moment as ISO 8601 in UTC with milliseconds, such as 2026-11-23T12:40:01.123Z.
    static std::string utcText(Clock::time_point at);

private:
    DeliveryRecorder(std::string path, std::size_t binColumns, double sampleRate, Clock::time_point start);

    // The columns every row begins with, up to and including the kind.
    std::string rowStart(unsigned channel, const char* kind, Clock::time_point at) const;
    bool writeLine(const std::string& line);

    std::string filePath;
    std::size_t binColumns;
    double sampleRate;
    Clock::time_point start;
    std::ofstream file;
    std::uint64_t levelRowCount = 0;
    std::uint64_t spectrumRowCount = 0;
    std::string lastError;
};

} // namespace host
