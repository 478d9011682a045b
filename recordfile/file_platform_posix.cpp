// RecordFile's system calls on POSIX systems.
#if !defined(_WIN32)

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "recordfile/file_platform.hpp"

namespace tkstream63::file_platform {
namespace {

constexpr int kTempNameAttempts = 100;

int descriptor(FileHandle file) { return static_cast<int>(file); }

std::string folderOf(const std::string& path) {
    const auto slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

FileKind kindOf(mode_t mode) {
    if (S_ISREG(mode)) return FileKind::Regular;
    if (S_ISDIR(mode)) return FileKind::Directory;
    if (S_ISFIFO(mode) || S_ISSOCK(mode)) return FileKind::NamedPipe;
    if (S_ISCHR(mode) || S_ISBLK(mode)) return FileKind::Device;
    return FileKind::Other;
}

}  // namespace

std::string errorText(int error) { return std::strerror(error); }

bool openForReading(const std::string& path, FileHandle& file, FileStatus& status) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat info {};
    if (::fstat(fd, &info) != 0) {
        const int error = errno;
        ::close(fd);
        errno = error;
        return false;
    }
    file = fd;
    status.kind = kindOf(info.st_mode);
    status.size = info.st_size;
    return true;
}

bool createTemporary(const std::string& target, FileHandle& file, std::string& tempPath) {
    static thread_local unsigned attemptCounter = 0;
    for (int attempt = 0; attempt < kTempNameAttempts; ++attempt) {
        tempPath = target + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(++attemptCounter);
        const int fd = ::open(tempPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0) {
            file = fd;
            return true;
        }
        if (errno != EEXIST) return false;
    }
    return false;
}

bool setFinalMode(FileHandle file, const std::string& target) {
    struct stat info {};
    if (::stat(target.c_str(), &info) != 0) return true;
    return ::fchmod(descriptor(file), info.st_mode & 07777) == 0;
}

ssize_t writeSome(FileHandle file, const void* data, size_t n) { return ::write(descriptor(file), data, n); }

ssize_t readSome(FileHandle file, void* data, size_t n) { return ::read(descriptor(file), data, n); }

bool skipForward(FileHandle file, int64_t n) { return ::lseek(descriptor(file), n, SEEK_CUR) >= 0; }

bool syncFile(FileHandle file) { return ::fsync(descriptor(file)) == 0; }

bool closeFile(FileHandle file) { return ::close(descriptor(file)) == 0; }

bool replaceFile(const std::string& source, const std::string& target) {
    return ::rename(source.c_str(), target.c_str()) == 0;
}

bool syncFolderOf(const std::string& path) {
    const int fd = ::open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return false;
    const bool synced = ::fsync(fd) == 0;
    const int error = errno;
    ::close(fd);
    errno = error;
    return synced;
}

bool removeFile(const std::string& path) { return ::unlink(path.c_str()) == 0; }

}  // namespace tkstream63::file_platform

#endif
