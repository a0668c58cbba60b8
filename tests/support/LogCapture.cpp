#include "support/LogCapture.h"

#include <atomic>
#include <cstdlib>

namespace testsupport {
namespace {
std::atomic<LogCapture*> active{nullptr};
} // namespace

LogCapture::LogCapture() {
    LogCapture* expected = nullptr;
    if (!active.compare_exchange_strong(expected, this)) {
        std::abort();
    }
    previous = qInstallMessageHandler(&LogCapture::handler);
}

LogCapture::~LogCapture() {
    qInstallMessageHandler(previous);
    active.store(nullptr);
}

void LogCapture::handler(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    LogCapture* capture = active.load();
    if (capture == nullptr) {
        return;
    }
    std::lock_guard<std::mutex> lock(capture->mutex);
    capture->captured.push_back(
        LogLine{type, context.category != nullptr ? context.category : "", message.toStdString()});
}

std::vector<LogLine> LogCapture::lines() const {
    std::lock_guard<std::mutex> lock(mutex);
    return captured;
}

std::vector<std::string> LogCapture::texts(QtMsgType level) const {
    std::vector<std::string> result;
    for (const auto& line : lines()) {
        if (line.level == level) {
            result.push_back(line.text);
        }
    }
    return result;
}

std::vector<std::string> LogCapture::textsStartingWith(QtMsgType level, const std::string& prefix) const {
    std::vector<std::string> result;
    for (const auto& text : texts(level)) {
        if (text.rfind(prefix, 0) == 0) {
            result.push_back(text);
        }
    }
    return result;
}

bool LogCapture::contains(QtMsgType level, const std::string& text, const std::string& category) const {
    for (const auto& line : lines()) {
        if (line.level == level && line.text == text && line.category == category) {
            return true;
        }
    }
    return false;
}

std::size_t LogCapture::count(QtMsgType level, const std::string& text) const {
    std::size_t found = 0;
    for (const auto& line : lines()) {
        if (line.level == level && line.text == text) {
            ++found;
        }
    }
    return found;
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> lock(mutex);
    captured.clear();
}

} // namespace testsupport
