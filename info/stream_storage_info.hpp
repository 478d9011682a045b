// rvStreamStorageInfo: the host's handle on the library as a whole (version text, start-up log
// line, orderly shutdown of the shared per-thread objects).
#pragma once

#include <string>

namespace tkstream63 {

class rvStreamStorageInfo {
public:
    // Builds "<product> v<major>.<minor>.<revision> <date>", where <date> is the modification
    // time of the loaded library file as "YYYY-MM-DD hh:mm:ss" (local time), or
    // "(<path>:Unknown Date)" when the file cannot be found. The library file is the shared
    // object this code was loaded from or, in a static build, the executable. An empty LOGFILE
    // becomes "<product>.txt". Configures the error reporter (logging flag, log file, version
    // text, in that order) and, when StartupMsg is not empty, reports
    // "<version> <StartupMsg>: OK" with code -1. The reporter must already exist (any earlier
    // library call creates it); otherwise the failure is reported through the error trap.
    std::string DLLVersion(std::string& LOGFILE, const std::string& StartupMsg = "",
                           bool qLogToFile = true);
    std::string DLLVersion();

    // Reports "<product> v<major>.<minor>.<revision> Close Down" with code 0 and releases every
    // shared per-thread object; later calls create them afresh.
    void CloseDown();

    // ---- internal ----
    // The library file whose date goes into the version text; empty means the loaded file.
    void overrideLibraryFilePath(std::string path) { libraryFilePathOverride_ = std::move(path); }
    static std::string productName();
    // "<product> v<major>.<minor>.<revision>"
    static std::string productVersion();
    static std::string loadedLibraryFilePath();

private:
    std::string libraryFilePathOverride_;
};

// Releases the shared utility objects in order, reports zMessage with code 0 (creating the error
// reporter if needed) and releases the error reporter last.
void CLOSEALLCOMMONGLOBALS(const std::string& zMessage);

}  // namespace tkstream63
