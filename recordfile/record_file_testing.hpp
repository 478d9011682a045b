// Test helpers for code that writes or reads record files: a scratch directory, whole-file byte
// access, and a RecordFile whose Nth write or read fails the way a full or failing disk does.
#pragma once

#include <atomic>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "recordfile/record_file.hpp"

namespace tkstream63::testing {

// A fresh directory under the system's temporary directory, removed with everything in it.
class ScratchDirectory {
public:
    ScratchDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "tkstream63-records-XXXXXX").string();
        if (::mkdtemp(pattern.data()) != nullptr) path_ = pattern;
    }
    ~ScratchDirectory() {
        std::error_code ignored;
        if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    std::string file(const std::string& name) const { return path_ + "/" + name; }
    // Names of the entries in the directory (to spot left-over temporary files).
    std::vector<std::string> entries() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path_)) names.push_back(entry.path().filename());
        return names;
    }

private:
    std::string path_;
};

inline std::vector<uint8_t> readFileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Replaces the file by a new one rather than truncating it: on some file systems a truncated
// and rewritten file is flushed to disk on close, which makes loops over many variants slow.
inline void writeFileBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::remove(path.c_str());
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// Fails the failWriteCall-th call of the write seam (1-based; 0 never) with failErrno, and the
// same for reads. Calls are counted from the file object's creation.
class FaultyRecordFile : public RecordFile {
public:
    explicit FaultyRecordFile(size_t bufferBytes = kDefaultBufferBytes) : RecordFile(bufferBytes) {}

    int failWriteCall = 0;
    int failReadCall = 0;
    int failErrno = ENOSPC;
    int writeCalls = 0;
    std::atomic<int> readCalls{0};  // large bodies are read by two threads

protected:
    ssize_t writeBytes(const void* data, size_t n) override {
        return fails(++writeCalls, failWriteCall) ? -1 : RecordFile::writeBytes(data, n);
    }
    ssize_t readBytes(void* data, size_t n) override {
        return fails(++readCalls, failReadCall) ? -1 : RecordFile::readBytes(data, n);
    }
    ssize_t readBytesAt(void* data, size_t n, int64_t offset) override {
        return fails(++readCalls, failReadCall) ? -1 : RecordFile::readBytesAt(data, n, offset);
    }

private:
    bool fails(int call, int failingCall) const {
        if (call == failingCall) errno = failErrno;
        return call == failingCall;
    }
};

}  // namespace tkstream63::testing
