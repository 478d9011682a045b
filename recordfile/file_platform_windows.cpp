// RecordFile's system calls on Windows: wide-character paths from UTF-8, a private temporary file
// under a random name created with CREATE_NEW, FlushFileBuffers, and MoveFileExW with
// MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH for the one-step replacement.
#if defined(_WIN32)

#define _CRT_RAND_S  // rand_s: the system's cryptographic generator
#include <stdlib.h>

#include <windows.h>
#include <aclapi.h>
#include <sddl.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <functional>

#include "recordfile/file_platform.hpp"

namespace tkstream63::file_platform {
namespace {

constexpr int kTempNameAttempts = 100;
constexpr DWORD kLargestTransfer = 1u << 30;  // ReadFile and WriteFile take a DWORD count

HANDLE handleOf(FileHandle file) { return reinterpret_cast<HANDLE>(file); }

std::wstring widePath(const std::string& utf8) {
    if (utf8.empty()) return {};
    const int n = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
    if (n <= 0) return {};
    std::wstring wide(static_cast<size_t>(n), L'\0');
    MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), static_cast<int>(utf8.size()), wide.data(), n);
    return wide;
}

// The portable error number for the thread's last Windows error, set into errno.
void setErrnoFromLastError() {
    switch (GetLastError()) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
        case ERROR_INVALID_DRIVE:
        case ERROR_BAD_NETPATH:
            errno = ENOENT;
            break;
        case ERROR_ACCESS_DENIED:
        case ERROR_SHARING_VIOLATION:
        case ERROR_LOCK_VIOLATION:
        case ERROR_WRITE_PROTECT:
            errno = EACCES;
            break;
        case ERROR_FILE_EXISTS:
        case ERROR_ALREADY_EXISTS:
            errno = EEXIST;
            break;
        case ERROR_DISK_FULL:
        case ERROR_HANDLE_DISK_FULL:
            errno = ENOSPC;
            break;
        case ERROR_NOT_ENOUGH_QUOTA:
            errno = EDQUOT;
            break;
        case ERROR_NOT_ENOUGH_MEMORY:
        case ERROR_OUTOFMEMORY:
            errno = ENOMEM;
            break;
        case ERROR_INVALID_NAME:
        case ERROR_FILENAME_EXCED_RANGE:
        case ERROR_NO_UNICODE_TRANSLATION:
            errno = EINVAL;
            break;
        case ERROR_OPERATION_ABORTED:
            errno = EINTR;
            break;
        default:
            errno = EIO;
            break;
    }
}

bool fail() {
    setErrnoFromLastError();
    return false;
}

FileKind kindOf(HANDLE file) {
    switch (GetFileType(file)) {
        case FILE_TYPE_DISK: {
            BY_HANDLE_FILE_INFORMATION info{};
            if (GetFileInformationByHandle(file, &info) && (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
                return FileKind::Directory;
            return FileKind::Regular;
        }
        case FILE_TYPE_PIPE: return FileKind::NamedPipe;
        case FILE_TYPE_CHAR: return FileKind::Device;
        default: return FileKind::Other;
    }
}

// Applies a DACL to an open file; protectedDacl chooses whether the folder's rights still flow in.
bool applyDacl(HANDLE file, PACL dacl, bool protectedDacl) {
    const SECURITY_INFORMATION what =
        DACL_SECURITY_INFORMATION | (protectedDacl ? PROTECTED_DACL_SECURITY_INFORMATION : UNPROTECTED_DACL_SECURITY_INFORMATION);
    const DWORD status = SetSecurityInfo(file, SE_FILE_OBJECT, what, nullptr, nullptr, dacl, nullptr);
    SetLastError(status);
    return status == ERROR_SUCCESS;
}

}  // namespace

std::string errorText(int error) { return std::strerror(error); }

bool openForReading(const std::string& path, FileHandle& file, FileStatus& status) {
    const std::wstring wide = widePath(path);
    if (wide.empty()) {
        errno = path.empty() ? ENOENT : EINVAL;
        return false;
    }
    // Opening a directory needs FILE_FLAG_BACKUP_SEMANTICS; with it a directory opens too and is
    // then refused by its kind, as on other systems. Opening a pipe or device never waits.
    const HANDLE handle = CreateFileW(wide.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN | FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return fail();
    status.kind = kindOf(handle);
    status.size = 0;
    LARGE_INTEGER size{};
    if (status.kind == FileKind::Regular && GetFileSizeEx(handle, &size)) status.size = size.QuadPart;
    file = reinterpret_cast<FileHandle>(handle);
    return true;
}

std::string temporaryName(const std::string& target) {
    unsigned parts[2] = {};
    rand_s(&parts[0]);
    rand_s(&parts[1]);
    char suffix[32];
    std::snprintf(suffix, sizeof suffix, ".tmp-%08x%08x", parts[0], parts[1]);
    return target + suffix;
}

bool createTemporary(const std::function<std::string()>& nextName, FileHandle& file, std::string& tempPath) {
    // Owner-only rights from the first instant: a protected DACL with one entry for the owner.
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:P(A;;FA;;;OW)", SDDL_REVISION_1, &descriptor, nullptr))
        return fail();
    SECURITY_ATTRIBUTES security{sizeof security, descriptor, FALSE};
    bool created = false;
    for (int attempt = 0; attempt < kTempNameAttempts && !created; ++attempt) {
        tempPath = nextName();
        // CREATE_NEW never opens what exists under the name (a file, a link, anything).
        const HANDLE handle = CreateFileW(widePath(tempPath).c_str(), GENERIC_WRITE | READ_CONTROL | WRITE_DAC, 0,
                                          &security, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (handle != INVALID_HANDLE_VALUE) {
            file = reinterpret_cast<FileHandle>(handle);
            created = true;
        } else if (GetLastError() != ERROR_FILE_EXISTS && GetLastError() != ERROR_ALREADY_EXISTS) {
            break;
        }
    }
    if (!created) setErrnoFromLastError();
    LocalFree(descriptor);
    return created;
}

bool setFinalMode(FileHandle file, const std::string& target) {
    // The rights of the file being replaced, or (no file yet) those a new file in the folder gets.
    PACL targetDacl = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    std::wstring wide = widePath(target);
    const DWORD status = GetNamedSecurityInfoW(wide.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                               nullptr, &targetDacl, nullptr, &descriptor);
    bool applied = false;
    if (status == ERROR_SUCCESS) {
        SECURITY_DESCRIPTOR_CONTROL control = 0;
        DWORD revision = 0;
        GetSecurityDescriptorControl(descriptor, &control, &revision);
        applied = applyDacl(handleOf(file), targetDacl, (control & SE_DACL_PROTECTED) != 0);
        LocalFree(descriptor);
    } else {
        ACL empty;
        InitializeAcl(&empty, sizeof empty, ACL_REVISION);
        applied = applyDacl(handleOf(file), &empty, false);
    }
    return applied || fail();
}

ssize_t writeSome(FileHandle file, const void* data, size_t n) {
    DWORD written = 0;
    const DWORD chunk = n > kLargestTransfer ? kLargestTransfer : static_cast<DWORD>(n);
    if (!WriteFile(handleOf(file), data, chunk, &written, nullptr)) {
        setErrnoFromLastError();
        return -1;
    }
    return static_cast<ssize_t>(written);
}

ssize_t readSome(FileHandle file, void* data, size_t n) {
    DWORD got = 0;
    const DWORD chunk = n > kLargestTransfer ? kLargestTransfer : static_cast<DWORD>(n);
    if (!ReadFile(handleOf(file), data, chunk, &got, nullptr)) {
        if (GetLastError() == ERROR_BROKEN_PIPE || GetLastError() == ERROR_HANDLE_EOF) return 0;
        setErrnoFromLastError();
        return -1;
    }
    return static_cast<ssize_t>(got);
}

// On a handle opened for ordinary (not overlapped) use, ReadFile with an offset reads from that
// offset and leaves the file pointer after the bytes read.
ssize_t readAt(FileHandle file, void* data, size_t n, int64_t offset) {
    OVERLAPPED at{};
    at.Offset = static_cast<DWORD>(static_cast<uint64_t>(offset) & 0xFFFFFFFFu);
    at.OffsetHigh = static_cast<DWORD>(static_cast<uint64_t>(offset) >> 32);
    DWORD got = 0;
    const DWORD chunk = n > kLargestTransfer ? kLargestTransfer : static_cast<DWORD>(n);
    if (!ReadFile(handleOf(file), data, chunk, &got, &at)) {
        if (GetLastError() == ERROR_HANDLE_EOF) return 0;
        setErrnoFromLastError();
        return -1;
    }
    return static_cast<ssize_t>(got);
}

bool skipForward(FileHandle file, int64_t n) {
    LARGE_INTEGER distance{};
    distance.QuadPart = n;
    return SetFilePointerEx(handleOf(file), distance, nullptr, FILE_CURRENT) || fail();
}

bool seekTo(FileHandle file, int64_t offset) {
    LARGE_INTEGER distance{};
    distance.QuadPart = offset;
    return SetFilePointerEx(handleOf(file), distance, nullptr, FILE_BEGIN) || fail();
}

bool syncFile(FileHandle file) { return FlushFileBuffers(handleOf(file)) || fail(); }

bool closeFile(FileHandle file) { return CloseHandle(handleOf(file)) || fail(); }

bool replaceFile(const std::string& source, const std::string& target) {
    return MoveFileExW(widePath(source).c_str(), widePath(target).c_str(),
                       MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) ||
           fail();
}

// MOVEFILE_WRITE_THROUGH has already written the new folder entry through; a folder handle
// cannot be flushed without administrator rights.
bool syncFolderOf(const std::string&) { return true; }

bool removeFile(const std::string& path) { return DeleteFileW(widePath(path).c_str()) || fail(); }

}  // namespace tkstream63::file_platform

#endif
