// The operating-system calls behind RecordFile, in one small interface so that each system has
// its own implementation beside this header (file_platform_posix.cpp; a Windows one goes next to
// it). RecordFile itself holds the policy: what is opened when, the order of the commit steps and
// the messages.
//
// Failures return false (or -1) with errno set to the matching portable number (ENOENT, EACCES,
// ENOSPC, EDQUOT, EIO, EINTR, ...), so RecordFile classifies them alike on every system.
#pragma once

#include <sys/types.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

// Windows' C library has no quota error; its implementation maps ERROR_NOT_ENOUGH_QUOTA here.
#if defined(_WIN32) && !defined(EDQUOT)
#define EDQUOT 122
#endif

namespace tkstream63::file_platform {

// An open file: a descriptor on POSIX systems; a Windows handle fits as well.
using FileHandle = intptr_t;
inline constexpr FileHandle kNoFile = -1;

enum class FileKind { Regular, Directory, NamedPipe, Device, Other };

struct FileStatus {
    FileKind kind = FileKind::Other;
    int64_t size = 0;
};

// Text for an error number, for messages.
std::string errorText(int error);

// Opens an existing file for reading without ever waiting (a named pipe without a writer, a
// device), and says what it is; the caller refuses anything but a regular file. A regular file
// is left ready for ordinary blocking reads.
bool openForReading(const std::string& path, FileHandle& file, FileStatus& status);

// An unpredictable name for a temporary file beside target (from the system's random source).
std::string temporaryName(const std::string& target);

// Creates a new, empty file under the first name from nextName() that does not exist yet,
// readable and writable by its owner only from the first instant. A name that exists already
// (whatever it is, a link included) is never opened and is no obstacle: the next one is tried.
bool createTemporary(const std::function<std::string()>& nextName, FileHandle& file, std::string& tempPath);

// Gives a finished temporary file the access rights it keeps: those of the target it replaces,
// or a new file's usual ones when there is no target yet.
bool setFinalMode(FileHandle file, const std::string& target);

// Bytes moved (0 from readSome at the end of the file), or -1.
ssize_t writeSome(FileHandle file, const void* data, size_t n);
ssize_t readSome(FileHandle file, void* data, size_t n);
// Reads from a given offset, so several threads can read one open file at once. The read
// position may move (it does on Windows): seekTo puts it where the next read() should start.
ssize_t readAt(FileHandle file, void* data, size_t n, int64_t offset);
// Moves the read position n bytes forward, or to the given offset from the start.
bool skipForward(FileHandle file, int64_t n);
bool seekTo(FileHandle file, int64_t offset);

// Writes the file's data through to the storage device.
bool syncFile(FileHandle file);
bool closeFile(FileHandle file);

// Puts source in target's place in one step (the target, if any, is replaced).
bool replaceFile(const std::string& source, const std::string& target);
// Makes that replacement durable: the folder holding path is written through as well.
bool syncFolderOf(const std::string& path);
bool removeFile(const std::string& path);

}  // namespace tkstream63::file_platform
