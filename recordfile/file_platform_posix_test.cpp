// The record file on POSIX systems: private temporary files nobody can steer, final access
// rights, reads that never wait, and a failed folder sync that the host hears about.
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

using testing::readFileBytes;
using testing::ScratchDirectory;
using testing::writeFileBytes;
using testing::writeSampleRecords;

mode_t modeOf(const std::string& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 ? info.st_mode : 0;
}

const std::vector<uint8_t> kOld = {'o', 'l', 'd'};

class FilePlatform : public testing_support::ReportClearingTest {};

TEST_F(FilePlatform, TemporaryFileIsPrivateUntilTheCommitGivesItsFinalMode) {
    struct Case {
        int previousMode;  // -1: no previous file
        mode_t umask, finalMode;
    };
    for (const Case& c : {Case{-1, 022, 0644}, Case{-1, 027, 0640}, Case{0664, 022, 0664}, Case{0604, 077, 0604}}) {
        SCOPED_TRACE(c.previousMode);
        ScratchDirectory dir;
        const std::string path = dir.file("store.rec");
        if (c.previousMode >= 0) {
            writeFileBytes(path, kOld);
            ::chmod(path.c_str(), static_cast<mode_t>(c.previousMode));
        }
        const mode_t saved = ::umask(c.umask);
        RecordFile out;
        ASSERT_TRUE(out.OpenForWriting(path));
        writeSampleRecords(out);
        for (const std::string& name : dir.entries()) {
            if (name != "store.rec") {
                EXPECT_EQ(modeOf(dir.file(name)) & 0777, 0600u) << name;
            }
        }
        EXPECT_TRUE(out.Commit()) << out.LastError();
        ::umask(saved);
        EXPECT_EQ(modeOf(path) & 07777, c.finalMode);
    }
}

TEST_F(FilePlatform, NamesTakenBeforehandAreNeitherFollowedNorABlock) {
    ScratchDirectory dir;
    const std::string victim = dir.file("victim"), link = dir.file("link"), dangling = dir.file("dangling");
    const std::string taken = dir.file("taken");
    writeFileBytes(victim, kOld);
    writeFileBytes(taken, kOld);
    ASSERT_EQ(::symlink(victim.c_str(), link.c_str()), 0);
    ASSERT_EQ(::symlink(dir.file("nowhere").c_str(), dangling.c_str()), 0);
    std::deque<std::string> names{link, dangling, taken, dir.file("fresh")};
    file_platform::FileHandle file = file_platform::kNoFile;
    std::string tempPath;
    const auto next = [&] {
        const std::string name = names.front();
        names.pop_front();
        return name;
    };
    ASSERT_TRUE(file_platform::createTemporary(next, file, tempPath));
    EXPECT_EQ(tempPath, dir.file("fresh"));
    EXPECT_EQ(file_platform::writeSome(file, "new", 3), 3);
    file_platform::closeFile(file);
    EXPECT_EQ(readFileBytes(victim), kOld);
    EXPECT_EQ(readFileBytes(taken), kOld);
    EXPECT_EQ(modeOf(dir.file("nowhere")), 0u);

    // 400 links made in advance at the names a process-id-and-counter scheme would pick.
    const std::string path = dir.file("store.rec");
    for (int n = 0; n < 400; ++n) {
        const std::string name = path + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(n);
        ASSERT_EQ(::symlink(victim.c_str(), name.c_str()), 0);
    }
    RecordFile out;
    ASSERT_TRUE(out.OpenForWriting(path)) << out.LastError();
    writeSampleRecords(out);
    EXPECT_TRUE(out.Commit()) << out.LastError();
    EXPECT_EQ(readFileBytes(victim), kOld);
}

TEST_F(FilePlatform, AnythingButARegularFileIsRefusedWithoutWaiting) {
    ScratchDirectory dir;
    const std::string pipe = dir.file("pipe");  // no writer: an ordinary open would wait for ever
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0666), 0);
    const std::pair<std::string, std::string> cases[] = {{pipe, "is a named pipe or socket, not a regular file"},
                                                         {dir.file(""), "is a folder, not a regular file"},
                                                         {"/dev/null", "is a device, not a regular file"}};
    for (const auto& [path, message] : cases) {
        RecordFile in;
        EXPECT_FALSE(in.OpenForReading(path));
        EXPECT_EQ(in.LastErrorCode(), kRecordAccessError);
        EXPECT_NE(in.LastError().find(message), std::string::npos) << in.LastError();
    }
}

// A folder whose sync fails, as on a failing disk or some network file systems.
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
    writeFileBytes(path, kOld);
    UnsyncableFolderFile out;
    ASSERT_TRUE(out.OpenForWriting(path));
    ASSERT_EQ(writeSampleRecords(out), kRecordOK);
    EXPECT_FALSE(out.Commit());
    EXPECT_FALSE(out.IsOpen());
    EXPECT_EQ(out.LastErrorCode(), kRecordDeviceError);
    EXPECT_NE(out.LastError().find("is in place, but it may not be durable"), std::string::npos) << out.LastError();
    EXPECT_TRUE(testing_support::anyReportContains("syncing its folder failed: " + file_platform::errorText(EIO) +
                                                   " (No.57) In [RecordFile (Code) (Commit)] "));
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"store.rec"});
    RecordFile in;
    ASSERT_TRUE(in.OpenForReading(path)) << in.LastError();
    EXPECT_EQ(testing::readEveryRecord(in).code, kRecordOK);
}

}  // namespace
}  // namespace tkstream63

#endif
