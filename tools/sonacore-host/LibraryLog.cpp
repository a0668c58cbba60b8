#include "LibraryLog.h"

#include "TerminalView.h"

#include <QRegularExpression>

#include <atomic>
#include <string>
#include <utility>
#include <vector>

namespace host {
namespace {

std::atomic<bool> verboseLines{false};

// The lines written while the library loaded. A function's static, since the first of them arrive before
// this program's own static objects are built.
std::vector<std::pair<QtMsgType, QString>>& heldLines() {
    static std::vector<std::pair<QtMsgType, QString>> lines;
    return lines;
}

void hold(QtMsgType type, const QMessageLogContext&, const QString& message) {
    heldLines().emplace_back(type, message);
}

void route(QtMsgType type, const QString& message) {
    if (!LibraryLog::shows(type, message, verboseLines.load())) {
        return;
    }
    // While the live view owns the terminal, its status line takes the line instead.
    const std::string line = "sonacore: " + message.toStdString();
    TerminalView::post(line, line);
}

void handle(QtMsgType type, const QMessageLogContext&, const QString& message) {
    route(type, message);
}

void drop(QtMsgType, const QMessageLogContext&, const QString&) {}

// A spectrum processor's transform reports the slots of its buffers that are still empty as it sets them
// up, three for each processor: a warning of the library's that every start-up brings.
bool isStartUpWarning(const QString& text) {
    static const QRegularExpression emptySlot(
        "^addToIppBuffers \"[^\"]*\" The address of the buffer is not initialized and won't be managed: "
        "0x[0-9a-fA-F]+$");
    return emptySlot.match(text).hasMatch();
}

} // namespace

bool LibraryLog::shows(QtMsgType type, const QString& text, bool verbose) {
    if (verbose) {
        return true;
    }
    if (type == QtDebugMsg || type == QtInfoMsg) {
        return false;
    }
    return type != QtWarningMsg || !isStartUpWarning(text);
}

void LibraryLog::holdEarlyLines() {
    qInstallMessageHandler(hold);
}

void LibraryLog::install(bool verbose) {
    verboseLines.store(verbose);
    qInstallMessageHandler(handle);
    for (const auto& [type, message] : heldLines()) {
        route(type, message);
    }
    heldLines().clear();
}

void LibraryLog::silence() {
    qInstallMessageHandler(drop);
}

} // namespace host
