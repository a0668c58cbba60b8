#pragma once

#include <QString>
#include <QtGlobal>

#include <string>
#include <vector>

namespace testsupport {

// One line that went through Qt's message handler.
struct LogLine {
    QtMsgType level;
    std::string category;
    std::string text;
};

// Captures every log line while it exists, from any thread, and restores the previous handler when it
// ends. Only one may exist at a time. A line logged on another thread while the capture ends is either
// captured or dropped, never written into a capture that is gone.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogLine> lines() const;
    // The texts of the lines of one level, in order.
    std::vector<std::string> texts(QtMsgType level) const;
    // True when a line of this level and category has exactly this text.
    bool contains(QtMsgType level, const std::string& text, const std::string& category = "default") const;
    // The texts of the lines of one level that start with `prefix`, in order.
    std::vector<std::string> textsStartingWith(QtMsgType level, const std::string& prefix) const;
    // How many lines of this level have exactly this text.
    std::size_t count(QtMsgType level, const std::string& text) const;
    void clear();

private:
    static void handler(QtMsgType type, const QMessageLogContext& context, const QString& message);

    std::vector<LogLine> captured; // guarded by one lock shared by all captures
    QtMessageHandler previous;
};

} // namespace testsupport
