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
    return productName() + " v" + std::to_string(kVersionMajor) + "." + std::to_string(kVersionMinor) +
           "." + std::to_string(kVersionRevision);
}

std::string rvStreamStorageInfo::loadedLibraryFilePath() {
#ifdef _WIN32
    // The module (DLL or executable) this code was linked into.
    HMODULE module = nullptr;
    wchar_t name[32768];
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<LPCWSTR>(&fileDateText), &module))
        return {};
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
