#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>

// Texts and identifiers that every part of the library shares. They are one definition for the whole
// library (inline variables), built at load.
namespace sonacore::constants {

// One unit of sound level values: its short label, long label and identifier.
struct SoundLevelUnit {
    std::string shortLabel;
    std::string longLabel;
    std::uint32_t identifier;
};

inline const std::array<SoundLevelUnit, 7> soundLevelUnits{{
    {"dBA SPL f", "dBA SPL fast", 0},
    {"dBA SPL s", "dBA SPL slow", 1},
    {"dBC SPL f", "dBC SPL fast", 2},
    {"dBC SPL s", "dBC SPL slow", 3},
    {"dBZ SPL f", "dBZ SPL fast", 4},
    {"dBZ SPL s", "dBZ SPL slow", 5},
    {"dBFS", "dBFS", 6},
}};

// The seven units keyed by their short label.
inline const std::map<std::string, SoundLevelUnit> soundLevelUnitsByShortLabel = [] {
    std::map<std::string, SoundLevelUnit> units;
    for (const auto& unit : soundLevelUnits) {
        units.emplace(unit.shortLabel, unit);
    }
    return units;
}();

// Message severities and the words that tell the message classes apart.
inline const std::string messageTypeInformation = "INFORMATION";
inline const std::string messageTypeWarning = "WARNING";
inline const std::string messageTypeCritical = "CRITICAL";
inline const std::string baseMessageWord = "BaseMessage";
inline const std::string statusMessageWord = "StatusMessage";
inline const std::string channelAmountChangedWord = "ChannelAmountChanged";

// Names carried by configurationChanged. The first keeps its transposed letters: listeners compare the
// text byte for byte, and hosts may already compare against it.
inline const std::string signalingSampleAmountChanged = "SignalingSampleAmountChnaged";
inline const std::string clockRefreshRateChanged = "ClockRefreshRateChanged";
inline const std::string sampleAmountChanged = "SampleAmountChanged";
inline const std::string fftOrderChanged = "FFTOrderChanged";
inline const std::string movingAverageActivityChanged = "MovingAverageActivityChanged";
inline const std::string movingAverageWindowSizeChanged = "MovingAverageWindowSizeChanged";
inline const std::string movingAverageWindowLengthChanged = "MovingAverageWindowLengthChanged";

// What a handle or metering data source kept by the host answers with, as one warning, once the library
// has been destroyed.
inline const std::string destroyedLibraryWarning =
    "The library has been destroyed, so this call does nothing";

// Clock names and processor type names.
inline const std::string internalClock = "Internal clock";
inline const std::string externalClock = "External clock";
inline const std::string spectrumProcessor = "SpectrumProcessor";
inline const std::string waveformProcessor = "WaveformProcessor";
inline const std::string soundLevelValueProcessor = "SoundLevelValueProcessor";

} // namespace sonacore::constants
