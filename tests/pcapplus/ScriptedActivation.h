#pragma once

#include <string>

namespace testsupport {

// What the scripted pcap_activate answers, and what the sniffer asked of the handle before it.
struct ActivationScript {
    // The status pcap_activate returns: 0, a warning (positive) or an error (negative).
    int status = 0;
    // The text pcap_geterr then gives.
    std::string detail;
};

struct ActivationRequest {
    int snapLength = -1;
    int promiscuous = -1;
    int timeoutMs = -1;
    int bufferBytes = -1;
    int activations = 0;
};

void setActivationScript(ActivationScript script);
// What was asked since the last setActivationScript.
ActivationRequest activationRequest();

} // namespace testsupport
