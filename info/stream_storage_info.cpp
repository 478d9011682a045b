#include "info/stream_storage_info.hpp"

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <vector>

#include "common/errors.hpp"
#include "common/shared_objects.hpp"
#include "common/version.hpp"


namespace tkstream63 {
namespace {

constexpr const char* kSource = "rvStreamStorageInfo";

#ifdef _WIN32
std::wstring widePath(const std::string& utf8) {
    const int n = MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), -1, nullptr, 0);
    std::wstring wide(n > 0 ? static_cast<size_t>(n) : 1, L'\0');
    if (n > 0) MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), -1, wide.data(), n);
    wide.resize(wcslen(wide.c_str()));
    return wide;
}

std::string utf8Path(const wchar_t* wide) {
    const int n = WideCharToMultiByte(CP_UTF8, 0, wide, -1, nullptr, 0, nullptr, nullptr);
    std::string text(n > 0 ? static_cast<size_t>(n) : 1, '\0');
    if (n > 0) WideCharToMultiByte(CP_UTF8, 0, wide, -1, text.data(), n, nullptr, nullptr);
    text.resize(std::strlen(text.c_str()));
    return text;
}
#endif

#ifdef _WIN32
// The module (DLL or executable) this code was linked into.
HMODULE thisModule() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&thisModule), &module);
    return module;
}

// Major, minor and revision from the module's version resource; false when it has none.
bool resourceVersion(int& major, int& minor, int& revision) {
    const HMODULE module = thisModule();
    // Resource 1 (VS_VERSION_INFO) of type 16 (RT_VERSION).
    const HRSRC found = module != nullptr ? FindResourceW(module, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(16)) : nullptr;
    const HGLOBAL loaded = found != nullptr ? LoadResource(module, found) : nullptr;
    const void* data = loaded != nullptr ? LockResource(loaded) : nullptr;
    if (data == nullptr) return false;
    // VerQueryValueW may write into the block it reads, so it reads a copy.
    std::vector<unsigned char> copy(static_cast<const unsigned char*>(data),
                                    static_cast<const unsigned char*>(data) + SizeofResource(module, found));
    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT size = 0;
    if (!VerQueryValueW(copy.data(), L"\\", reinterpret_cast<void**>(&fixed), &size) || size < sizeof *fixed ||
        fixed->dwSignature != 0xFEEF04BD)
        return false;
    major = HIWORD(fixed->dwFileVersionMS);
    minor = LOWORD(fixed->dwFileVersionMS);
    revision = HIWORD(fixed->dwFileVersionLS);
    return true;
}
#endif

// The modification time as "YYYY-MM-DD hh:mm:ss" in local time, or "(<path>:Unknown Date)".
std::string fileDateText(const std::string& path) {
    const std::string unknown = "(" + path + ":Unknown Date)";
    if (path.empty()) return unknown;
    char text[32];
#ifdef _WIN32
    WIN32_FILE_ATTRIBUTE_DATA info{};
    FILETIME localTime{};
    SYSTEMTIME t{};
    if (!GetFileAttributesExW(widePath(path).c_str(), GetFileExInfoStandard, &info) ||
        !FileTimeToLocalFileTime(&info.ftLastWriteTime, &localTime) ||
        !FileTimeToSystemTime(&localTime, &t))
        return unknown;
    std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u", t.wYear, t.wMonth, t.wDay,
                  t.wHour, t.wMinute, t.wSecond);
#else
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) return unknown;
    std::tm local{};
    localtime_r(&info.st_mtime, &local);
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
#endif
    return text;
}

}  // namespace

std::string rvStreamStorageInfo::productName() { return kProductName; }

std::string rvStreamStorageInfo::productVersion() {
    int major = kVersionMajor, minor = kVersionMinor, revision = kVersionRevision;
#ifdef _WIN32
    // The DLL's version resource is what Windows shows for the file: that one counts.
    resourceVersion(major, minor, revision);
#endif
    return productName() + " v" + std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(revision);
}

std::string rvStreamStorageInfo::loadedLibraryFilePath() {
#ifdef _WIN32
    const HMODULE module = thisModule();
    wchar_t name[32768];
    if (module == nullptr) return {};
    const DWORD n = GetModuleFileNameW(module, name, sizeof name / sizeof name[0]);
    if (n == 0 || n >= sizeof name / sizeof name[0]) return {};
    return utf8Path(name);
#else
    Dl_info where{};
    if (dladdr(reinterpret_cast<void*>(&fileDateText), &where) != 0 && where.dli_fname != nullptr) {
        const std::string name = where.dli_fname;
        if (name.find(".so") != std::string::npos) {
            char resolved[PATH_MAX];
            return realpath(name.c_str(), resolved) != nullptr ? resolved : name;
        }
    }
    // Linked statically: the library lives in the executable.
    char executable[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", executable, sizeof executable - 1);
    return n > 0 ? std::string(executable, static_cast<size_t>(n)) : std::string();
#endif
}

std::string rvStreamStorageInfo::DLLVersion(std::string& LOGFILE, const std::string& StartupMsg,
                                            bool qLogToFile) {
    std::string versionText;
    runTrapped(kSource, "DLLVersion", [&] {
        const std::string path =
            libraryFilePathOverride_.empty() ? loadedLibraryFilePath() : libraryFilePathOverride_;
        versionText = productVersion() + " " + fileDateText(path);
        if (LOGFILE.empty()) LOGFILE = productName() + ".txt";
        const auto reporter = existingErrorReporter();
        if (!reporter) raiseError(kErrObjectNotSet);
        reporter->setLogToFile(qLogToFile);
        reporter->setLogFileName(LOGFILE);
        reporter->setVersionText(versionText);
        if (!StartupMsg.empty()) reporter->report(versionText + " " + StartupMsg + ":" + " OK", -1);
    });
    return versionText;
}

std::string rvStreamStorageInfo::DLLVersion() {
    std::string logFile;
    return DLLVersion(logFile);
}

void rvStreamStorageInfo::CloseDown() {
    runTrapped(kSource, "CloseDown", [] { CLOSEALLCOMMONGLOBALS(productVersion() + " Close Down"); });
}

void CLOSEALLCOMMONGLOBALS(const std::string& zMessage) {
    runTrapped("rvCommonClassVars", "CLOSEALLCOMMONGLOBALS", [&] {
        releaseSharedUtilities();
        errorReporter().report(zMessage, 0);
        releaseErrorReporter();
    });
}

}  // namespace tkstream63
