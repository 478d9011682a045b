// What the record file's system layer promises on POSIX systems: private temporary files that
// nobody can steer, final access rights, reads that never wait, and durability failures that the
// host hears about.
#if !defined(_WIN32)

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <deque>

#include "common/test_support.hpp"
#include "recordfile/file_platform.hpp"
#include "recordfile/record_file_testing.hpp"
#include "recordfile/record_test_data.hpp"

namespace tkstream63 {
namespace {

using testing::ScratchDirectory;

mode_t modeOf(const std::string& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 ? info.st_mode : 0;
}

std::vector<uint8_t> bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

class FilePlatform : public testing_support::ReportClearingTest {};

TEST_F(FilePlatform, TemporaryFileIsPrivateUntilTheCommitGivesItsFinalMode) {
    struct Case {
        int previousMode;  // -1: no previous file
        mode_t umask;
        mode_t finalMode;
    };
    const Case cases[] = {{-1, 022, 0644}, {-1, 027, 0640}, {0664, 022, 0664}, {0604, 077, 0604}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.previousMode);
        ScratchDirectory dir;
        const std::string path = dir.file("store.rec");
        if (c.previousMode >= 0) {
            testing::writeFileBytes(path, bytesOf("old"));
            ::chmod(path.c_str(), static_cast<mode_t>(c.previousMode));
        }
        const mode_t saved = ::umask(c.umask);
        RecordFile out;
        ASSERT_TRUE(out.OpenForWriting(path));
        testing::writeSampleRecords(out);
        for (const std::string& name : dir.entries()) {
            if (name != "store.rec") {
                EXPECT_EQ(modeOf(dir.file(name)) & 0777, 0600u) << name;
            }
        }
        EXPECT_TRUE(out.Commit()) << out.LastError();
        ::umask(saved);
        EXPECT_EQ(modeOf(path) & 07777, c.finalMode);
        EXPECT_EQ(dir.entries().size(), 1u);
    }
}

TEST_F(FilePlatform, NamesTakenBeforehandAreNeitherFollowedNorABlock) {
    ScratchDirectory dir;
    const std::string victim = dir.file("victim");
    testing::writeFileBytes(victim, bytesOf("not yours"));
    // What another user may have left at names the save might pick.
    const std::string link = dir.file("link"), plain = dir.file("plain"), pipe = dir.file("pipe");
    const std::string dangling = dir.file("dangling");
    ASSERT_EQ(::symlink(victim.c_str(), link.c_str()), 0);
    ASSERT_EQ(::symlink(dir.file("nowhere").c_str(), dangling.c_str()), 0);
    testing::writeFileBytes(plain, bytesOf("taken"));
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0666), 0);
    std::deque<std::string> names{link, dangling, plain, pipe, dir.file("fresh")};
    file_platform::FileHandle file = file_platform::kNoFile;
    std::string tempPath;
    ASSERT_TRUE(file_platform::createTemporary(
        [&] {
            std::string next = names.front();
            names.pop_front();
            return next;
        },
        file, tempPath));
    EXPECT_EQ(tempPath, dir.file("fresh"));
    EXPECT_EQ(file_platform::writeSome(file, "new", 3), 3);
    file_platform::closeFile(file);
    EXPECT_EQ(testing::readFileBytes(victim), bytesOf("not yours"));
    EXPECT_TRUE(S_ISLNK(modeOf(link)) && S_ISLNK(modeOf(dangling)));
    EXPECT_EQ(modeOf(dir.file("nowhere")), 0u);
    EXPECT_EQ(testing::readFileBytes(plain), bytesOf("taken"));

    // Through RecordFile: hundreds of names made in advance, in the old predictable pattern and
    // as links, do not stop a save.
    const std::string path = dir.file("store.rec");
    for (int n = 0; n < 400; ++n) {
        const std::string taken = path + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(n);
        ASSERT_EQ(::symlink(victim.c_str(), taken.c_str()), 0);
    }
    RecordFile out;
    ASSERT_TRUE(out.OpenForWriting(path)) << out.LastError();
    testing::writeSampleRecords(out);
    EXPECT_TRUE(out.Commit()) << out.LastError();
    EXPECT_EQ(testing::readFileBytes(victim), bytesOf("not yours"));
}

TEST_F(FilePlatform, AnythingButARegularFileIsRefusedWithoutWaiting) {
    ScratchDirectory dir;
    const std::string pipe = dir.file("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0666), 0);
    struct Case {
        std::string path;
        std::string what;
    };
    // A pipe with no writer would block an ordinary open for ever.
    const Case cases[] = {{pipe, "is a named pipe or socket, not a regular file"},
                          {dir.file(""), "is a folder, not a regular file"},
                          {"/dev/null", "is a device, not a regular file"}};
    for (const Case& c : cases) {
        RecordFile in;
        EXPECT_FALSE(in.OpenForReading(c.path));
        EXPECT_FALSE(in.IsOpen());
        EXPECT_EQ(in.LastErrorCode(), kRecordAccessError);
        EXPECT_NE(in.LastError().find(c.what), std::string::npos) << in.LastError();
    }
}

// A folder whose sync fails, as on a failing disk or a network file system.
class UnsyncableFolderFile : public RecordFile {
protected:
    bool syncFolder(const std::string&) override {
        errno = EIO;
        return false;
    }
};

TEST_F(FilePlatform, AFailedFolderSyncIsReportedAndTheNewFileStaysInPlace) {
    ScratchDirectory dir;
    const std::string path = dir.file("store.rec");
    testing::writeFileBytes(path, bytesOf("old"));
    UnsyncableFolderFile out;
    ASSERT_TRUE(out.OpenForWriting(path));
    ASSERT_EQ(testing::writeSampleRecords(out), kRecordOK);
    EXPECT_FALSE(out.Commit());
    EXPECT_FALSE(out.IsOpen());
    EXPECT_EQ(out.LastErrorCode(), kRecordDeviceError);
    EXPECT_NE(out.LastError().find("is in place, but it may not be durable"), std::string::npos) << out.LastError();
    EXPECT_TRUE(testing_support::anyReportContains("may not be durable: syncing its folder failed: " +
                                                   file_platform::errorText(EIO) +
                                                   " (No.57) In [RecordFile (Code) (Commit)] "));
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"store.rec"});
    RecordFile in;
    ASSERT_TRUE(in.OpenForReading(path)) << in.LastError();
    EXPECT_EQ(testing::readEveryRecord(in).code, kRecordOK);
}

}  // namespace
}  // namespace tkstream63

#endif
