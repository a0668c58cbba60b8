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

} // namespace

DeliveryRecorder::DeliveryRecorder(std::string path, double sampleRate, Clock::time_point start)
    : filePath(std::move(path)), sampleRate(sampleRate), start(start) {}

std::unique_ptr<DeliveryRecorder> DeliveryRecorder::open(const std::string& path, std::size_t bins,
                                                         double sampleRate, Clock::time_point start,
                                                         std::string& error) {
    const bool needsHeader = emptyOrMissing(path);
    std::unique_ptr<DeliveryRecorder> recorder(new DeliveryRecorder(path, sampleRate, start));
    errno = 0;
    recorder->file.open(path, std::ios::out | std::ios::app);
    if (!recorder->file) {
        error = "Cannot open the record file '" + path +
                "': " + (errno != 0 ? std::strerror(errno) : "unknown error") + ".";
        return nullptr;
    }
    if (needsHeader && !recorder->writeLine(header(bins))) {
        error = recorder->lastError;
        return nullptr;
    }
    return recorder;
}

std::string DeliveryRecorder::header(std::size_t bins) {
    std::string line = "utc,seconds,channel,kind";
    for (const auto& unit : sonacore::constants::soundLevelUnits) {
        line += ",";
        line += unit.shortLabel;
    }
    line += ",peak Hz,bins";
    for (std::size_t bin = 0; bin < bins; ++bin) {
        line += ",bin " + std::to_string(bin);
    }
    return line;
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
    std::string line = rowStart(channel, "spectrum", at);
    line += std::string(levelColumns, ',');
    const double peak = peakFrequency(power, sampleRate);
    line += "," + (std::isnan(peak) ? std::string() : formatted("%.3f", peak));
    line += "," + std::to_string(power.size());
    for (const double value : power) {
        line += "," + formatted("%.9g", value);
    }
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
