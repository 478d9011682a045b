// RecordFile's system calls on POSIX systems.
#if !defined(_WIN32)

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <random>

#include "recordfile/file_platform.hpp"

namespace tkstream63::file_platform {
namespace {

// With 64 random bits a name is taken only by someone who made that very name; the limit merely
// ends the search on a folder that refuses every name.
constexpr int kTempNameAttempts = 64;

int descriptor(FileHandle file) { return static_cast<int>(file); }

// Keeps errno across a clean-up call.
template <class Call>
void preservingErrno(Call call) {
    const int error = errno;
    call();
    errno = error;
}

// Sixteen hex digits from the system's random source.
std::string randomDigits() {
    uint64_t bits = 0;
    ssize_t got = -1;
    do {
        got = ::getrandom(&bits, sizeof bits, 0);
    } while (got < 0 && errno == EINTR);
    if (got != static_cast<ssize_t>(sizeof bits)) {  // a system without getrandom
        std::random_device source;
        bits = (uint64_t{source()} << 32) ^ source();
    }
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(bits));
    return text;
}

// The process's file-creation mask. POSIX can only read it by changing it, which would race
// with threads creating files meanwhile, so Linux's own report of it is preferred.
mode_t creationMask() {
    if (std::FILE* status = std::fopen("/proc/self/status", "re")) {
        char line[256];
        unsigned mask = 0;
        bool found = false;
        while (!found && std::fgets(line, sizeof line, status) != nullptr)
            found = std::sscanf(line, "Umask: %o", &mask) == 1;
        std::fclose(status);
        if (found) return static_cast<mode_t>(mask);
    }
    const mode_t mask = ::umask(022);
    ::umask(mask);
    return mask;
}

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
    // Non-blocking, so that opening a named pipe without a writer returns at once.
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat info {};
    bool ok = ::fstat(fd, &info) == 0;
    if (ok && S_ISREG(info.st_mode)) {
        const int flags = ::fcntl(fd, F_GETFL);
        ok = flags >= 0 && ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) == 0;
    }
    if (!ok) {
        preservingErrno([&] { ::close(fd); });
        return false;
    }
    file = fd;
    status.kind = kindOf(info.st_mode);
    status.size = info.st_size;
    return true;
}

std::string temporaryName(const std::string& target) { return target + ".tmp-" + randomDigits(); }

bool createTemporary(const std::function<std::string()>& nextName, FileHandle& file, std::string& tempPath) {
    // O_EXCL never opens an existing name, a symbolic link included; O_NOFOLLOW says so twice.
    for (int attempt = 0; attempt < kTempNameAttempts; ++attempt) {
        tempPath = nextName();
        const int fd = ::open(tempPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (fd >= 0) {
            file = fd;
            return true;
        }
        if (errno != EEXIST && errno != ELOOP) return false;
    }
    return false;
}

bool setFinalMode(FileHandle file, const std::string& target) {
    // Permission bits only: a replaced file's set-user-ID and similar bits are not carried over.
    mode_t mode = 0;
    struct stat info {};
    if (::stat(target.c_str(), &info) == 0)
        mode = info.st_mode & 0777;
    else if (errno == ENOENT)
        mode = 0666 & ~creationMask();
    else
        return false;
    return ::fchmod(descriptor(file), mode) == 0;
}

ssize_t writeSome(FileHandle file, const void* data, size_t n) { return ::write(descriptor(file), data, n); }

ssize_t readSome(FileHandle file, void* data, size_t n) { return ::read(descriptor(file), data, n); }

ssize_t readAt(FileHandle file, void* data, size_t n, int64_t offset) {
    return ::pread(descriptor(file), data, n, static_cast<off_t>(offset));
}

bool skipForward(FileHandle file, int64_t n) { return ::lseek(descriptor(file), n, SEEK_CUR) >= 0; }

bool seekTo(FileHandle file, int64_t offset) { return ::lseek(descriptor(file), offset, SEEK_SET) >= 0; }

bool syncFile(FileHandle file) { return ::fsync(descriptor(file)) == 0; }

bool closeFile(FileHandle file) { return ::close(descriptor(file)) == 0; }

bool replaceFile(const std::string& source, const std::string& target) {
    return ::rename(source.c_str(), target.c_str()) == 0;
}

bool syncFolderOf(const std::string& path) {
    const int fd = ::open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return false;
    const bool synced = ::fsync(fd) == 0;
    preservingErrno([&] { ::close(fd); });
    return synced;
}

bool removeFile(const std::string& path) { return ::unlink(path.c_str()) == 0; }

}  // namespace tkstream63::file_platform

#endif
