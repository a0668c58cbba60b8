#include "ScriptedPcap.h"

#include <pcap/pcap.h>

#include <cstring>
#include <mutex>

namespace testsupport {
namespace {

std::mutex mutex;
PcapScript current;
int handedOut = 0;
int freed = 0;

char* copyText(const std::string& text) {
    char* copy = new char[text.size() + 1];
    std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

} // namespace

void setPcapScript(PcapScript script) {
    std::lock_guard<std::mutex> lock(mutex);
    current = std::move(script);
    handedOut = 0;
    freed = 0;
}

int listsHandedOut() {
    std::lock_guard<std::mutex> lock(mutex);
    return handedOut;
}

int listsFreed() {
    std::lock_guard<std::mutex> lock(mutex);
    return freed;
}

} // namespace testsupport

extern "C" int pcap_findalldevs(pcap_if_t** list, char* errorBuffer) {
    std::lock_guard<std::mutex> lock(testsupport::mutex);
    *list = nullptr;
    if (testsupport::current.fail) {
        std::strncpy(errorBuffer, testsupport::current.error.c_str(), PCAP_ERRBUF_SIZE - 1);
        errorBuffer[PCAP_ERRBUF_SIZE - 1] = '\0';
        return -1;
    }
    pcap_if_t** tail = list;
    for (const auto& interface : testsupport::current.interfaces) {
        auto* entry = new pcap_if_t{};
        entry->name = testsupport::copyText(interface.name);
        entry->description = interface.description ? testsupport::copyText(*interface.description) : nullptr;
        *tail = entry;
        tail = &entry->next;
    }
    ++testsupport::handedOut;
    return 0;
}

extern "C" void pcap_freealldevs(pcap_if_t* list) {
    std::lock_guard<std::mutex> lock(testsupport::mutex);
    ++testsupport::freed;
    while (list != nullptr) {
        pcap_if_t* next = list->next;
        delete[] list->name;
        delete[] list->description;
        delete list;
        list = next;
    }
}
