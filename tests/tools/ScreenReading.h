#pragma once
// The monitor's live view read back as a person reads it, from the text of a terminal's screen, and the
// levels a person expects of a sine, worked out here rather than taken from the code under test.
#include <cmath>
#include <cstddef>
#include <exception>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace hosttest {

// The level of a sine of this amplitude (full scale 1) in dB re full scale, unweighted.
inline long double sineDecibels(long double amplitude) {
    return 20.0L * std::log10(amplitude / std::sqrt(2.0L));
}

// The A weighting of a frequency in dB, from the analog response of the standard, normalised at 1 kHz by
// its +2.00 dB.
inline long double aWeighting(long double hertz) {
    const long double f2 = hertz * hertz;
    const long double c1 = 20.598997L * 20.598997L;
    const long double c2 = 107.65265L * 107.65265L;
    const long double c3 = 737.86223L * 737.86223L;
    const long double c4 = 12194.217L * 12194.217L;
    const long double response = c4 * f2 * f2 / ((f2 + c1) * std::sqrt((f2 + c2) * (f2 + c3)) * (f2 + c4));
    return 20.0L * std::log10(response) + 2.00L;
}

inline std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// The value under a level's name in a channel's row: the numbers are right-aligned with their names.
inline std::optional<double> meterValue(const std::string& screen, unsigned channel,
                                        const std::string& name) {
    const std::vector<std::string> lines = linesOf(screen);
    for (std::size_t header = 0; header < lines.size(); ++header) {
        const std::size_t at = lines[header].find(name);
        if (at == std::string::npos || lines[header].find("  ch") != 0) {
            continue;
        }
        const std::size_t end = at + name.size();
        const std::regex rowStart("^[ >] *" + std::to_string(channel) + " ");
        for (std::size_t row = header + 1; row < lines.size(); ++row) {
            if (std::regex_search(lines[row], rowStart) && lines[row].size() >= end) {
                const std::string cell = lines[row].substr(end - name.size() - 1, name.size() + 1);
                try {
                    return std::stod(cell);
                } catch (const std::exception&) {
                    return std::nullopt;
                }
            }
        }
    }
    return std::nullopt;
}

} // namespace hosttest
