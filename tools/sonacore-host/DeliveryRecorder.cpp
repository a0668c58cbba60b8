#include "DeliveryRecorder.h"

#include "SpectrumPeak.h"

#include "sonacore/SonaCoreConstants.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <utility>

#include <sys/stat.h>

namespace host {
namespace {

// The seven level columns; a delivery's y series holds them in this order.
constexpr std::size_t levelColumns = 7;

std::string formatted(const char* format, double value) {
    // Infinities and NaN are spelled the way pandas and spreadsheets read them back.
    if (std::isinf(value)) {
        return value > 0.0 ? "inf" : "-inf";
    }
    if (std::isnan(value)) {
        return "nan";
    }
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

bool emptyOrMissing(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) != 0 || status.st_size == 0;
}

// The first line of a file, without its line end; empty when it cannot be read.
std::string firstLine(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

// The lengths of the values as they are usually written: a level such as -12.3456, the seconds of a run
// of minutes such as 123.456, a peak such as 1000.000, and a bin's power such as 1.23456789e-10.
constexpr std::size_t levelValueBytes = 8;
constexpr std::size_t secondsBytes = 7;
constexpr std::size_t peakBytes = 8;
constexpr std::size_t binValueBytes = 14;

// "2.9 MB", "640 kB": decimal units, as file sizes are given.
std::string sizeText(double bytes) {
    char text[32];
    if (bytes >= 1e6) {
        std::snprintf(text, sizeof text, "%.1f MB", bytes / 1e6);
    } else {
        std::snprintf(text, sizeof text, "%.0f kB", bytes / 1e3);
    }
    return text;
}

// A rate with at most one decimal, without a trailing ".0": "16.7", "5".
std::string rateText(double perSecond) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", perSecond);
    std::string shown = text;
    if (shown.size() > 2 && shown.compare(shown.size() - 2, 2, ".0") == 0) {
        shown.resize(shown.size() - 2);
    }
    return shown;
}

double bytesPerSecond(const DeliveryRecorder::Load& load, std::size_t order, std::size_t binColumns) {
    const std::size_t bins = std::size_t{1} << (order - 1);
    const double perChannel =
        load.levelsPerSecond * static_cast<double>(DeliveryRecorder::levelRowBytes()) +
        load.spectraPerSecond * static_cast<double>(DeliveryRecorder::spectrumRowBytes(bins, binColumns));
    return static_cast<double>(load.channels) * perChannel;
}

} // namespace

DeliveryRecorder::DeliveryRecorder(std::string path, std::size_t binColumns, double sampleRate,
                                   Clock::time_point start)
    : filePath(std::move(path)), binColumns(binColumns), sampleRate(sampleRate), start(start) {}

std::unique_ptr<DeliveryRecorder> DeliveryRecorder::open(const std::string& path, std::size_t binColumns,
                                                         double sampleRate, Clock::time_point start,
                                                         std::string& error) {
    const bool needsHeader = emptyOrMissing(path);
    // Rows under another header would make the file two tables that no reader takes as one.
    if (!needsHeader && firstLine(path) != header(binColumns)) {
        error = "The record file '" + path + "' begins with another header than this monitor's, of " +
                std::to_string(binColumns) + " bin columns: record into a new file.";
        return nullptr;
    }
    std::unique_ptr<DeliveryRecorder> recorder(new DeliveryRecorder(path, binColumns, sampleRate, start));
    errno = 0;
    recorder->file.open(path, std::ios::out | std::ios::app);
    if (!recorder->file) {
        error = "Cannot open the record file '" + path +
                "': " + (errno != 0 ? std::strerror(errno) : "unknown error") + ".";
        return nullptr;
    }
    if (needsHeader && !recorder->writeLine(header(binColumns))) {
        error = recorder->lastError;
        return nullptr;
    }
    return recorder;
}

std::string DeliveryRecorder::header(std::size_t binColumns) {
    std::string line = "utc,seconds,channel,kind";
    for (const auto& unit : sonacore::constants::soundLevelUnits) {
        line += ",";
        line += unit.shortLabel;
    }
    line += ",peak Hz,bins";
    for (std::size_t bin = 0; bin < binColumns; ++bin) {
        line += ",bin " + std::to_string(bin);
    }
    return line;
}

std::size_t DeliveryRecorder::levelRowBytes() {
    return utcText(Clock::time_point{}).size() + 1 + secondsBytes + 1 + 1 + 1 + std::strlen("level") +
           levelColumns * (1 + levelValueBytes) + 1;
}

std::size_t DeliveryRecorder::spectrumRowBytes(std::size_t bins, std::size_t binColumns) {
    return utcText(Clock::time_point{}).size() + 1 + secondsBytes + 1 + 1 + 1 + std::strlen("spectrum") +
           levelColumns + 1 + peakBytes + 1 + std::to_string(bins).size() + bins * (1 + binValueBytes) +
           (binColumns > bins ? binColumns - bins : 0) + 1;
}

std::string DeliveryRecorder::recordingText(const Load& load) const {
    std::string text =
        "Recording to " + filePath + " adds about " + sizeText(bytesPerSecond(load, load.order, binColumns)) +
        " a second: " + std::to_string(load.channels) +
        (load.channels == 1 ? " channel, " : " channels, each ") + rateText(load.levelsPerSecond) +
        " level rows and " + rateText(load.spectraPerSecond) + " spectrum rows of " +
        std::to_string(std::size_t{1} << (load.order - 1)) + " bins a second";
    if (load.largestOrder > load.order) {
        text += "; up to about " + sizeText(bytesPerSecond(load, load.largestOrder, binColumns)) +
                " at FFT order " + std::to_string(load.largestOrder);
    }
    return text + ".";
}

std::string DeliveryRecorder::utcText(Clock::time_point at) {
    const auto sinceEpoch = std::chrono::duration_cast<std::chrono::milliseconds>(at.time_since_epoch());
    // Floor division, so that a moment before 1970 still gets milliseconds from 0 to 999.
    auto seconds = sinceEpoch.count() / 1000;
    auto milliseconds = sinceEpoch.count() % 1000;
    if (milliseconds < 0) {
        milliseconds += 1000;
        seconds -= 1;
    }
    const std::time_t time = static_cast<std::time_t>(seconds);
    std::tm calendar{};
    gmtime_r(&time, &calendar);
    char text[48];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", calendar.tm_year + 1900,
                  calendar.tm_mon + 1, calendar.tm_mday, calendar.tm_hour, calendar.tm_min, calendar.tm_sec,
                  static_cast<int>(milliseconds));
    return text;
}

std::string DeliveryRecorder::rowStart(unsigned channel, const char* kind, Clock::time_point at) const {
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(at - start);
    return utcText(at) + "," + formatted("%.3f", static_cast<double>(elapsed.count()) / 1000.0) + "," +
           std::to_string(channel) + "," + kind;
}

bool DeliveryRecorder::recordLevels(unsigned channel, const std::vector<double>& levels,
                                    Clock::time_point at) {
    std::string line = rowStart(channel, "level", at);
    for (std::size_t index = 0; index < levels.size() && index < levelColumns; ++index) {
        line += "," + formatted("%.4f", levels[index]);
    }
    if (!writeLine(line)) {
        return false;
    }
    ++levelRowCount;
    return true;
}

bool DeliveryRecorder::recordSpectrum(unsigned channel, const std::vector<double>& power,
                                      Clock::time_point at) {
    if (lastError.empty() && power.size() > binColumns) {
        lastError = "A spectrum of " + std::to_string(power.size()) + " bins does not fit the " +
                    std::to_string(binColumns) + " bin columns of the record file '" + filePath +
                    "'; recording stopped.";
    }
    if (!lastError.empty()) {
        return false;
    }
    std::string line = rowStart(channel, "spectrum", at);
    line += std::string(levelColumns, ',');
    const double peak = peakFrequency(power, sampleRate);
    line += "," + (std::isnan(peak) ? std::string() : formatted("%.3f", peak));
    line += "," + std::to_string(power.size());
    for (const double value : power) {
        line += "," + formatted("%.9g", value);
    }
    // The bins of a wider spectrum stay empty, so that the row has as many columns as the header.
    line.append(binColumns - power.size(), ',');
    if (!writeLine(line)) {
        return false;
    }
    ++spectrumRowCount;
    return true;
}

bool DeliveryRecorder::writeLine(const std::string& line) {
    if (!lastError.empty()) {
        return false;
    }
    // Flushed row by row: a Ctrl-C or a kill then loses no more than the row in hand.
    file << line << '\n' << std::flush;
    if (!file) {
        lastError = "Cannot write to the record file '" + filePath +
                    "': " + (errno != 0 ? std::strerror(errno) : "unknown error") + "; recording stopped.";
        return false;
    }
    return true;
}

} // namespace host
