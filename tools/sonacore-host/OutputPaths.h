#pragma once

#include <string>
#include <vector>

namespace host {

// The files a run writes, checked before anything starts: the record file (--record) is appended to from the
// first delivery on, the snapshot (--snapshot) is written at the end of the run, which may be hours later,
// so a path that cannot be written is refused at once instead.
//
// A path is writable when its folder exists, is a folder and lets this user create files in it, and the file,
// when it exists already, is not a folder and lets this user write it. The snapshot's image format is the one
// its suffix names, in any case ("x.JPG" is a JPEG image), among the formats Qt's image writer supports here:
// png, bmp, jpg and jpeg, ppm, xbm, xpm and what the installed image plug-ins add.
//
// Thread affinity: the host's thread, also before Qt's application object exists (the image writer finds its
// plug-ins without it), so that the check comes before the GUI application's start-up.
class OutputPaths {
public:
    // False with a one-sentence `error` that names the option and the path when the record or the snapshot
    // cannot be written or the snapshot's suffix names no format; empty paths are not checked.
    static bool check(const std::string& recordPath, const std::string& snapshotPath, std::string& error);

    // False with the reason, the part of the sentence after "cannot be written: ", when `path` cannot be
    // written.
    static bool writable(const std::string& path, std::string& reason);

    // The image format that the suffix of `path` names, in lower case as Qt names it ("png", "jpg"); empty
    // when Qt's image writer knows no format of that name, or `path` has no suffix.
    static std::string imageFormat(const std::string& path);

    // The suffixes of the formats Qt's image writer supports here, in lower case, sorted: "bmp", "jpeg", ...
    static std::vector<std::string> imageSuffixes();
};

} // namespace host
