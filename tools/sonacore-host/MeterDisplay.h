#pragma once

#include "LevelMeter.h"

#include <chrono>
#include <map>
#include <vector>

namespace host {

// Shows the latest level of each metered channel: bars redrawn in place on a terminal, plain lines once a
// second otherwise. Used on the host's thread only.
class MeterDisplay {
public:
    MeterDisplay(std::vector<unsigned> channels, double fullScale);

    void update(unsigned channel, const Level& level);
    void draw();
    // Leaves the cursor below the bars and prints the last levels.
    void finish();
    bool sawData() const { return !levels.empty(); }

private:
    void drawBars();
    void drawLines();

    const std::vector<unsigned> channels;
    const double fullScale;
    const bool terminal;
    std::map<unsigned, Level> levels;
    std::map<unsigned, std::size_t> updates;
    bool drawn = false;
    std::chrono::steady_clock::time_point started = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point lastLine = started;
};

} // namespace host
