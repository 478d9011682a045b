// Feeds arbitrary bytes to the store import. The record layer reads from files, so every input
// is written to one temporary file and opened as a record file; an input that is not a record
// file at all is refused by the open and costs nothing further.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "common/shared_objects.hpp"
#include "common/utilities.hpp"
#include "recordfile/record_file.hpp"
#include "streamstore/stream_store.hpp"

namespace {

std::string inputPath() {
    const char* directory = std::getenv("TMPDIR");
    return std::string(directory != nullptr ? directory : "/tmp") + "/tkstream63-fuzz-" + std::to_string(::getpid()) +
           ".rec";
}

bool writeInput(const std::string& path, const uint8_t* data, size_t size) {
    std::FILE* out = std::fopen(path.c_str(), "wb");
    if (out == nullptr) return false;
    const bool written = std::fwrite(data, 1, size, out) == size;
    return std::fclose(out) == 0 && written;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace tkstream63;
    static const std::string path = inputPath();
    if (!writeInput(path, data, size)) return 0;
    // A file that asks about duplicates gets "cancel" and nothing waits on a console.
    installDuplicateNameDialog(std::make_shared<ScriptedDialog>());
    RecordFile file;
    if (file.OpenForReading(path)) {
        rvStreamStore store;
        bool qOK = false;
        store.BINARYIMPORT(file, qOK);
        file.Close();
    }
    errorReporter().clearRecentMessages();
    return 0;
}
