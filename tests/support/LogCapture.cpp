#include "support/LogCapture.h"

#include <cstdlib>
#include <mutex>
#include <utility>

namespace testsupport {
namespace {
// One lock for the active capture and its lines: a worker thread may log at the very moment a test's
// capture ends, and the capture must not be destroyed while that line is being added to it.
std::mutex captureMutex;
LogCapture* active = nullptr;
} // namespace

LogCapture::LogCapture() {
    {
        std::lock_guard<std::mutex> lock(captureMutex);
        if (active != nullptr) {
            std::abort();
        }
        active = this;
    }
    previous = qInstallMessageHandler(&LogCapture::handler);
}

LogCapture::~LogCapture() {
    qInstallMessageHandler(previous);
    std::lock_guard<std::mutex> lock(captureMutex);
    active = nullptr;
}

void LogCapture::handler(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    LogLine line{type, context.category != nullptr ? context.category : "", message.toStdString()};
    std::lock_guard<std::mutex> lock(captureMutex);
    if (active != nullptr) {
        active->captured.push_back(std::move(line));
    }
}

std::vector<LogLine> LogCapture::lines() const {
    std::lock_guard<std::mutex> lock(captureMutex);
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
    std::lock_guard<std::mutex> lock(captureMutex);
    captured.clear();
}

} // namespace testsupport
