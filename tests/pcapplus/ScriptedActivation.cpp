// Opening against a scripted libpcap: this file defines pcap_activate and the setters that precede it, and
// the linker takes those before the shared libpcap, so that every answer of an activation can be set by the
// test and nothing is really opened. pcap_create and pcap_close stay libpcap's own.
#include "ScriptedActivation.h"

#include <pcap/pcap.h>

#include <cstring>
#include <mutex>

namespace testsupport {
namespace {

struct ScriptState {
    std::mutex mutex;
    ActivationScript script;
    ActivationRequest request;
};

ScriptState& state() {
    static ScriptState instance;
    return instance;
}

} // namespace

void setActivationScript(ActivationScript script) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().script = std::move(script);
    state().request = ActivationRequest{};
}

ActivationRequest activationRequest() {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().request;
}

} // namespace testsupport

extern "C" int pcap_set_snaplen(pcap_t*, int value) {
    std::lock_guard<std::mutex> lock(testsupport::state().mutex);
    testsupport::state().request.snapLength = value;
    return 0;
}

extern "C" int pcap_set_promisc(pcap_t*, int value) {
    std::lock_guard<std::mutex> lock(testsupport::state().mutex);
    testsupport::state().request.promiscuous = value;
    return 0;
}

extern "C" int pcap_set_timeout(pcap_t*, int value) {
    std::lock_guard<std::mutex> lock(testsupport::state().mutex);
    testsupport::state().request.timeoutMs = value;
    return 0;
}

extern "C" int pcap_set_buffer_size(pcap_t*, int value) {
    std::lock_guard<std::mutex> lock(testsupport::state().mutex);
    testsupport::state().request.bufferBytes = value;
    return 0;
}

extern "C" int pcap_activate(pcap_t* handle) {
    std::lock_guard<std::mutex> lock(testsupport::state().mutex);
    auto& state = testsupport::state();
    ++state.request.activations;
    // pcap_geterr hands out the handle's own error buffer, where libpcap leaves the text of an activation.
    char* errorBuffer = pcap_geterr(handle);
    std::strncpy(errorBuffer, state.script.detail.c_str(), PCAP_ERRBUF_SIZE - 1);
    errorBuffer[PCAP_ERRBUF_SIZE - 1] = '\0';
    return state.script.status;
}
