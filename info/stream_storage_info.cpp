#include "info/stream_storage_info.hpp"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <ctime>

#include "common/errors.hpp"
#include "common/shared_objects.hpp"
#include "common/version.hpp"


namespace tkstream63 {
namespace {

constexpr const char* kSource = "rvStreamStorageInfo";

// The modification time as "YYYY-MM-DD hh:mm:ss" in local time, or "(<path>:Unknown Date)".
std::string fileDateText(const std::string& path) {
    struct stat info {};
    if (path.empty() || stat(path.c_str(), &info) != 0) return "(" + path + ":Unknown Date)";
    std::tm local{};
    localtime_r(&info.st_mtime, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    return text;
}

}  // namespace

std::string rvStreamStorageInfo::productName() { return kProductName; }

std::string rvStreamStorageInfo::productVersion() {
    return productName() + " v" + std::to_string(kVersionMajor) + "." + std::to_string(kVersionMinor) +
           "." + std::to_string(kVersionRevision);
}

std::string rvStreamStorageInfo::loadedLibraryFilePath() {
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
