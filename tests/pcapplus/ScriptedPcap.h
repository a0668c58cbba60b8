#pragma once

#include <optional>
#include <string>
#include <vector>

namespace testsupport {

// One interface as the scripted libpcap lists it; no description means a null description.
struct ScriptedInterface {
    std::string name;
    std::optional<std::string> description;
};

// What the next pcap_findalldevs answers: a failure with an error text, or the list.
struct PcapScript {
    bool fail = false;
    std::string error;
    std::vector<ScriptedInterface> interfaces;
};

void setPcapScript(PcapScript script);
// How many lists were handed out and how many were freed since the last setPcapScript.
int listsHandedOut();
int listsFreed();

} // namespace testsupport
