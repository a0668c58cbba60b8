#include "OutputPaths.h"

#include <QByteArray>
#include <QImageWriter>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace host {
namespace {

// The folder a file of `path` goes into: the part before the last slash, "/" for a file at the top, "." for
// a bare file name.
std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Why this user cannot write in (`folder` true) or to a file, from access(2)'s errno.
std::string deniedReason(const std::string& path, bool folder, int error) {
    const std::string what = (folder ? "the folder " : "the file ") + path;
    if (error == EACCES || error == EPERM) {
        return folder ? "this user may not create files in " + what : "this user may not write " + what;
    }
    if (error == EROFS) {
        return what + " is on a read-only file system";
    }
    return what + " is not writable: " + std::strerror(error);
}

std::string joined(const std::vector<std::string>& suffixes) {
    std::string text;
    for (const std::string& suffix : suffixes) {
        text += (text.empty() ? "." : ", .") + suffix;
    }
    return text;
}

// The suffix of the file name of `path`, without its dot, as written; empty when there is none.
std::string suffixOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0) {
        return {};
    }
    return name.substr(dot + 1);
}

} // namespace

bool OutputPaths::writable(const std::string& path, std::string& reason) {
    struct stat status {};
    if (!path.empty() && path.back() == '/') {
        reason = path + " is a folder; give a file name in it";
        return false;
    }
    if (::stat(path.c_str(), &status) == 0) {
        if (S_ISDIR(status.st_mode)) {
            reason = path + " is a folder; give a file name in it";
            return false;
        }
        if (::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0) {
            reason = deniedReason(path, false, errno);
            return false;
        }
        return true;
    }
    const std::string folder = folderOf(path);
    if (::stat(folder.c_str(), &status) != 0) {
        const int error = errno;
        reason = error == ENOENT || error == ENOTDIR
                     ? "the folder " + folder + " does not exist"
                     : "the folder " + folder + " cannot be reached: " + std::strerror(error);
        return false;
    }
    if (!S_ISDIR(status.st_mode)) {
        reason = folder + " is not a folder";
        return false;
    }
    if (::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
        reason = deniedReason(folder, true, errno);
        return false;
    }
    return true;
}

std::string OutputPaths::imageFormat(const std::string& path) {
    std::string suffix = suffixOf(path);
    std::transform(suffix.begin(), suffix.end(), suffix.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    const std::vector<std::string> known = imageSuffixes();
    return std::find(known.begin(), known.end(), suffix) != known.end() ? suffix : std::string();
}

std::vector<std::string> OutputPaths::imageSuffixes() {
    std::vector<std::string> suffixes;
    for (const QByteArray& format : QImageWriter::supportedImageFormats()) {
        suffixes.push_back(format.toLower().toStdString());
    }
    std::sort(suffixes.begin(), suffixes.end());
    suffixes.erase(std::unique(suffixes.begin(), suffixes.end()), suffixes.end());
    return suffixes;
}

bool OutputPaths::check(const std::string& recordPath, const std::string& snapshotPath, std::string& error) {
    std::string reason;
    if (!recordPath.empty() && !writable(recordPath, reason)) {
        error = "--record " + recordPath + " cannot be written: " + reason + ".";
        return false;
    }
    if (snapshotPath.empty()) {
        return true;
    }
    if (imageFormat(snapshotPath).empty()) {
        const std::string suffix = suffixOf(snapshotPath);
        error = "--snapshot " + snapshotPath + " cannot be written: " +
                (suffix.empty() ? std::string("its name has no suffix to say the image format")
                                : "Qt writes no image format of the suffix ." + suffix) +
                "; give one of " + joined(imageSuffixes()) + ".";
        return false;
    }
    if (!writable(snapshotPath, reason)) {
        error = "--snapshot " + snapshotPath + " cannot be written: " + reason + ".";
        return false;
    }
    return true;
}

} // namespace host
