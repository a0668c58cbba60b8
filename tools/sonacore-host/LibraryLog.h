#pragma once

#include <QString>
#include <QtGlobal>

namespace host {

// Which of the library's log lines the monitor shows, and where.
//
// The library logs its progress at debug level ("PcapDeviceManager Initialized", "DeviceConfiguration
// Initialized!", ...) and a few warnings that every start-up brings: each spectrum processor's transform
// reports three of its buffer slots as empty before it fills them, with the line
// `addToIppBuffers "spectrum 0_FFT" The address of the buffer is not initialized and won't be managed:
// 0x...`. The monitor shows these only with --verbose. Every other warning, and every line with --verbose,
// goes to the live view's status line while the view owns the terminal and to standard error otherwise, as
// "sonacore: " and the line.
//
// The library writes its first lines while it loads, before main: holdEarlyLines, called from the
// program's earliest initialisation, keeps them until install decides whether they are shown.
class LibraryLog {
public:
    // True when the monitor shows a line of this type and text.
    static bool shows(QtMsgType type, const QString& text, bool verbose);

    // Keeps the library's lines from now until install. Called before any library is initialised, on the
    // only thread there is then.
    static void holdEarlyLines();

    // Routes the library's lines from now on, and writes the lines held since holdEarlyLines that shows
    // lets through. Called on the host's thread before the library's threads run; the handler it installs
    // is called on any thread.
    static void install(bool verbose);

    // Drops every line from now on: what the library writes once it has been torn down (the capture ending
    // as the program exits) is of no interest to the user.
    static void silence();
};

} // namespace host
