// The files a run writes, checked before it starts: a record or a snapshot that cannot be written is
// refused at once, with exit status 2 and a line that says why, instead of after a run of ten minutes; the
// snapshot's format is the one its suffix names, and a suffix that names none is refused with the list of
// those that do.
#include "HostProgram.h"
#include "OutputPaths.h"
#include "UnprivilegedRun.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <string>
#include <vector>

using host::OutputPaths;

namespace {

using hosttest::contains;
using hosttest::runHost;

const std::string missingFolder = "/nonexistent-folder-of-sonacore";

// ".bmp, .jpeg, ..." as the refusal lists the suffixes.
std::string suffixList() {
    std::string text;
    for (const std::string& suffix : OutputPaths::imageSuffixes()) {
        text += (text.empty() ? "." : ", .") + suffix;
    }
    return text;
}

class OutputPathsTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(folder.isValid()); }

    std::string path(const std::string& name) const {
        return folder.filePath(QString::fromStdString(name)).toStdString();
    }

    QTemporaryDir folder;
};

TEST_F(OutputPathsTest, NewFileInAWritableFolderIsWritable) {
    std::string reason;
    EXPECT_TRUE(OutputPaths::writable(path("new.csv"), reason)) << reason;
}

TEST_F(OutputPathsTest, ExistingFileIsWritable) {
    std::ofstream(path("old.csv")) << "utc\n";
    std::string reason;
    EXPECT_TRUE(OutputPaths::writable(path("old.csv"), reason)) << reason;
}

TEST_F(OutputPathsTest, BareFileNameGoesIntoTheCurrentFolder) {
    ASSERT_EQ(::chdir(folder.path().toLocal8Bit().constData()), 0);
    std::string reason;
    EXPECT_TRUE(OutputPaths::writable("snapshot.png", reason)) << reason;
    ASSERT_EQ(::chdir("/"), 0);
}

TEST_F(OutputPathsTest, MissingFolderIsNamed) {
    std::string reason;
    EXPECT_FALSE(OutputPaths::writable(path("gone/x.png"), reason));
    EXPECT_EQ(reason, "the folder " + path("gone") + " does not exist");
}

TEST_F(OutputPathsTest, FolderThatIsAFileIsNamed) {
    std::ofstream(path("plain")) << "x";
    std::string reason;
    EXPECT_FALSE(OutputPaths::writable(path("plain/x.png"), reason));
    EXPECT_EQ(reason, path("plain") + " is not a folder");
}

TEST_F(OutputPathsTest, PathOfAFolderIsRefused) {
    std::string reason;
    EXPECT_FALSE(OutputPaths::writable(folder.path().toStdString(), reason));
    EXPECT_EQ(reason, folder.path().toStdString() + " is a folder; give a file name in it");
    EXPECT_FALSE(OutputPaths::writable(folder.path().toStdString() + "/", reason));
}

TEST(OutputPaths, FormatFollowsTheSuffixInAnyCase) {
    EXPECT_EQ(OutputPaths::imageFormat("a/b/x.png"), "png");
    EXPECT_EQ(OutputPaths::imageFormat("x.jpg"), "jpg");
    EXPECT_EQ(OutputPaths::imageFormat("x.JPEG"), "jpeg");
    EXPECT_EQ(OutputPaths::imageFormat("x.bmp"), "bmp");
    EXPECT_EQ(OutputPaths::imageFormat("x.tar.png"), "png");
}

TEST(OutputPaths, SuffixWithoutAFormatHasNone) {
    EXPECT_EQ(OutputPaths::imageFormat("x.xyz"), "");
    EXPECT_EQ(OutputPaths::imageFormat("snapshot"), "");
    EXPECT_EQ(OutputPaths::imageFormat("dir.png/snapshot"), "");
    EXPECT_EQ(OutputPaths::imageFormat(".png"), "");
}

TEST(OutputPaths, SuffixesHoldTheCommonFormats) {
    const std::vector<std::string> suffixes = OutputPaths::imageSuffixes();
    for (const char* format : {"png", "bmp", "jpg", "jpeg"}) {
        EXPECT_NE(std::find(suffixes.begin(), suffixes.end(), format), suffixes.end()) << format;
    }
    EXPECT_TRUE(std::is_sorted(suffixes.begin(), suffixes.end()));
}

// What the program says, where no network is needed: every check comes before the demo is built and before
// the library is asked for its version.
struct Refusal {
    std::vector<std::string> arguments;
    std::string line;
};

void expectRefusedAtOnce(const Refusal& refusal) {
    const auto started = std::chrono::steady_clock::now();
    const auto result = runHost(refusal.arguments);
    EXPECT_EQ(result.exitStatus, 2) << result.output;
    EXPECT_EQ(result.output, refusal.line + "\n");
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(5));
}

TEST(HostOutputPaths, SnapshotIntoAMissingFolderIsRefusedBeforeTheRun) {
    expectRefusedAtOnce({{"--duration", "600", "--snapshot", missingFolder + "/spectrum.png"},
                         "--snapshot " + missingFolder + "/spectrum.png cannot be written: the folder " +
                             missingFolder + " does not exist."});
}

TEST(HostOutputPaths, RecordIntoAMissingFolderIsRefusedBeforeTheRun) {
    expectRefusedAtOnce({{"--duration", "600", "--record", missingFolder + "/levels.csv"},
                         "--record " + missingFolder + "/levels.csv cannot be written: the folder " +
                             missingFolder + " does not exist."});
}

TEST(HostOutputPaths, SnapshotOfAnUnknownSuffixIsRefusedWithTheKnownOnes) {
    expectRefusedAtOnce({{"--snapshot", "/tmp/spectrum.xyz"},
                         "--snapshot /tmp/spectrum.xyz cannot be written: Qt writes no image format of the "
                         "suffix .xyz; give one of " +
                             suffixList() + "."});
}

TEST(HostOutputPaths, SnapshotWithoutASuffixIsRefusedWithTheKnownOnes) {
    expectRefusedAtOnce(
        {{"--snapshot", "/tmp/spectrum"},
         "--snapshot /tmp/spectrum cannot be written: its name has no suffix to say the image "
         "format; give one of " +
             suffixList() + "."});
}

TEST(HostOutputPaths, SnapshotOntoAFolderIsRefused) {
    QTemporaryDir parent;
    ASSERT_TRUE(parent.isValid());
    const std::string folder = parent.path().toStdString() + "/shot.png";
    ASSERT_EQ(::mkdir(folder.c_str(), 0755), 0);
    expectRefusedAtOnce(
        {{"--snapshot", folder},
         "--snapshot " + folder + " cannot be written: " + folder + " is a folder; give a file name in it."});
}

TEST(HostOutputPaths, RecordOntoAFolderIsRefused) {
    expectRefusedAtOnce({{"--record", "/tmp"},
                         "--record /tmp cannot be written: /tmp is a folder; give a file "
                         "name in it."});
}

// As a user who may not create files in the folder: one that root made and kept to itself.
TEST(HostOutputPaths, FolderThisUserMayNotWriteInIsRefused) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root, to run the program as a user without the right to write";
    }
    QTemporaryDir parent(QDir::tempPath() + "/sonacore-paths-XXXXXX");
    ASSERT_TRUE(parent.isValid());
    ASSERT_EQ(::chmod(parent.path().toLocal8Bit().constData(), 0755), 0);
    const std::string snapshot = parent.path().toStdString() + "/spectrum.png";
    const auto result = toolstest::runUnprivileged(SONACORE_HOST_PATH, {SONACORE_LIBRARY_SONAME_PATH},
                                                   {"--snapshot", snapshot});
    EXPECT_EQ(result.exitStatus, 2) << result.output;
    EXPECT_TRUE(contains(result.output, "--snapshot " + snapshot +
                                            " cannot be written: this user may not create files in the "
                                            "folder " +
                                            parent.path().toStdString() + ".\n"))
        << result.output;
}

} // namespace
