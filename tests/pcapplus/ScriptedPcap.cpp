#include "ScriptedPcap.h"

#include <pcap/pcap.h>

#include <cstring>
#include <mutex>

namespace testsupport {
namespace {

// Built on first use: the library's device manager scans while the program loads, before this file's
// ordinary globals would be initialised.
struct ScriptState {
    std::mutex mutex;
    PcapScript current;
    int handedOut = 0;
    int freed = 0;
};

ScriptState& state() {
    static ScriptState instance;
    return instance;
}

char* copyText(const std::string& text) {
    char* copy = new char[text.size() + 1];
    std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

} // namespace

void setPcapScript(PcapScript script) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().current = std::move(script);
    state().handedOut = 0;
    state().freed = 0;
}

int listsHandedOut() {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().handedOut;
}

int listsFreed() {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().freed;
}

} // namespace testsupport

extern "C" int pcap_findalldevs(pcap_if_t** list, char* errorBuffer) {
    auto& state = testsupport::state();
    std::lock_guard<std::mutex> lock(state.mutex);
    *list = nullptr;
    if (state.current.fail) {
        std::strncpy(errorBuffer, state.current.error.c_str(), PCAP_ERRBUF_SIZE - 1);
        errorBuffer[PCAP_ERRBUF_SIZE - 1] = '\0';
        return -1;
    }
    pcap_if_t** tail = list;
    for (const auto& interface : state.current.interfaces) {
        auto* entry = new pcap_if_t{};
        entry->name = testsupport::copyText(interface.name);
        entry->description = interface.description ? testsupport::copyText(*interface.description) : nullptr;
        *tail = entry;
        tail = &entry->next;
    }
    ++state.handedOut;
    return 0;
}

extern "C" void pcap_freealldevs(pcap_if_t* list) {
    auto& state = testsupport::state();
    std::lock_guard<std::mutex> lock(state.mutex);
    ++state.freed;
    while (list != nullptr) {
        pcap_if_t* next = list->next;
        delete[] list->name;
        delete[] list->description;
        delete list;
        list = next;
    }
}
