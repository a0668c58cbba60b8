#pragma once

#include <string>
#include <vector>

namespace testsupport {

// The debug lines of ISonaCore::destroy(), in their order, whatever the registries hold.
inline const std::vector<std::string> destroyLogLines = {
    "destroy SonaCore data will be deleted!",
    "destroy Deleting stream configurations...",
    "destroy Deleting processor configurations...",
    "destroy Deleting device configurations...",
    "destroy Deleting spectrum processor configurations...",
    "destroy Deleting waveform processor configurations...",
    "destroy Deleting sound level value processor configurations...",
    "destroy Deleting buffer configurations...",
};

} // namespace testsupport
