#include "UnprivilegedRun.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <unistd.h>

namespace toolstest {

namespace {

namespace fs = std::filesystem;

// A fresh directory under /tmp that every user can read and enter, removed with everything in it at the
// end of its scope. /tmp rather than the temporary folder of the environment, which may be private too.
class ReachableDirectory {
public:
    ReachableDirectory() {
        char pattern[] = "/tmp/sonacore-unprivileged-XXXXXX";
        if (::mkdtemp(pattern) == nullptr) {
            return;
        }
        folder = pattern;
        std::error_code error;
        fs::permissions(folder,
                        fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                            fs::perms::others_read | fs::perms::others_exec,
                        error);
        if (error) {
            remove();
        }
    }
    ~ReachableDirectory() { remove(); }
    ReachableDirectory(const ReachableDirectory&) = delete;
    ReachableDirectory& operator=(const ReachableDirectory&) = delete;

    bool isValid() const { return !folder.empty(); }
    const fs::path& path() const { return folder; }

    // Copies `file` in under its own name, readable and runnable by everyone; false with the reason in
    // `error` when it cannot.
    bool copy(const fs::path& file, std::string& error) const {
        const fs::path target = folder / file.filename();
        std::error_code failure;
        fs::copy_file(file, target, fs::copy_options::overwrite_existing, failure);
        if (!failure) {
            fs::permissions(target,
                            fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                                fs::perms::others_read | fs::perms::others_exec,
                            failure);
        }
        if (failure) {
            error = "cannot copy " + file.string() + " to " + target.string() + ": " + failure.message();
            return false;
        }
        return true;
    }

private:
    void remove() {
        if (!folder.empty()) {
            std::error_code ignored;
            fs::remove_all(folder, ignored);
            folder.clear();
        }
    }

    fs::path folder;
};

} // namespace

testsupport::ChildProcess::Result runUnprivileged(const std::string& program,
                                                  const std::vector<std::string>& libraries,
                                                  const std::vector<std::string>& arguments) {
    std::vector<std::string> command;
    if (::geteuid() != 0) {
        command.push_back(program);
        command.insert(command.end(), arguments.begin(), arguments.end());
        return testsupport::ChildProcess::run(command);
    }
    testsupport::ChildProcess::Result failed;
    const ReachableDirectory copy;
    if (!copy.isValid()) {
        failed.output = "cannot make a directory under /tmp for the program's copy";
        return failed;
    }
    if (!copy.copy(program, failed.output)) {
        return failed;
    }
    for (const std::string& library : libraries) {
        if (!copy.copy(library, failed.output)) {
            return failed;
        }
    }
    // The library path leads the loader to the copied library: it is searched before the run path, which
    // names the build tree.
    command = {SONACORE_SETPRIV_PATH,
               "--reuid=65534",
               "--regid=65534",
               "--clear-groups",
               "--inh-caps=-all",
               "--bounding-set=-all",
               "env",
               "LD_LIBRARY_PATH=" + copy.path().string(),
               (copy.path() / fs::path(program).filename()).string()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return testsupport::ChildProcess::run(command);
}

} // namespace toolstest
