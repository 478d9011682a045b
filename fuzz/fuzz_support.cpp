#include "fuzz/fuzz_support.hpp"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <vector>

#include "common/shared_objects.hpp"
#include "common/utilities.hpp"
#include "recordfile/crc32c.hpp"
#include "recordfile/record_codec.hpp"
#include "recordfile/record_reseal.hpp"

// The per-load memory check counts heap growth through the sanitizer's allocator hooks: only in
// AddressSanitizer builds whose compiler ships the hook header (clang does; g++ 12 does not).
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TKSTREAM63_ADDRESS_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define TKSTREAM63_ADDRESS_SANITIZER 1
#endif
#if defined(TKSTREAM63_ADDRESS_SANITIZER) && __has_include(<sanitizer/allocator_interface.h>)
#define TKSTREAM63_HEAP_HOOKS 1
#include <sanitizer/allocator_interface.h>
#endif

namespace tkstream63::fuzz {

std::string inMemoryFile(const uint8_t* data, size_t size) {
    static const int fd = ::memfd_create("tkstream63-fuzz-input", MFD_CLOEXEC);
    if (fd < 0 || ::ftruncate(fd, 0) != 0) return "";
    size_t done = 0;
    while (done < size) {
        const ssize_t n = ::pwrite(fd, data + done, size - done, static_cast<off_t>(done));
        if (n <= 0) return "";
        done += static_cast<size_t>(n);
    }
    return "/proc/self/fd/" + std::to_string(fd);
}

namespace {

std::string& scratchPath() {
    static std::string path;
    return path;
}

}  // namespace

std::string scratchFolder() {
    if (scratchPath().empty()) {
        std::string path = (::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp");
        path += "/tkstream63-fuzz-" + std::to_string(::getpid());
        ::mkdir(path.c_str(), 0700);
        scratchPath() = path;
        std::atexit([] {
            std::error_code ignored;
            std::filesystem::remove_all(scratchPath(), ignored);
        });
    }
    return scratchPath();
}

namespace {

// Answers every question with "cancel" and keeps nothing, so a long campaign does not pile up
// the questions of earlier inputs (which would also look like a leak after every input).
class CancellingDialog : public DuplicateNameDialog {
public:
    void ShowChoice(const std::string&, const std::vector<std::string>&, int32_t, const std::string&,
                    int32_t& choice) override {
        choice = 0;
    }
};

}  // namespace

void quietHost() {
    static const bool installed = [] {
        installDuplicateNameDialog(std::make_shared<CancellingDialog>());
        return true;
    }();
    (void)installed;
}

void forgetErrors() { errorReporter().clearRecentMessages(); }

// ---- memory of a load ----

namespace {

#ifdef TKSTREAM63_HEAP_HOOKS
// Heap bytes live since the check began, and the most allowed. Only one check runs at a time.
bool counting = false;
int64_t liveBytes = 0;
int64_t allowedBytes = 0;

void onMalloc(const volatile void*, size_t size) {
    if (!counting) return;
    liveBytes += static_cast<int64_t>(size);
    if (liveBytes > allowedBytes) {
        counting = false;  // the crash report allocates too
        std::fprintf(stderr, "load grew the heap by %lld bytes, over its budget of %lld\n",
                     static_cast<long long>(liveBytes), static_cast<long long>(allowedBytes));
        __builtin_trap();
    }
}

void onFree(const volatile void* block) {
    if (counting && block != nullptr)
        liveBytes -= static_cast<int64_t>(__sanitizer_get_allocated_size(const_cast<const void*>(block)));
}

void installHooks() {
    static const bool installed = __sanitizer_install_malloc_and_free_hooks(onMalloc, onFree) != 0;
    (void)installed;
}
#endif

}  // namespace

// The budget is charged for the tables and strings a file asks for; the objects themselves, the
// read buffer and the error texts are not charged and get this much on top.
constexpr size_t kUnchargedBytes = size_t{1} << 20;

LoadMemoryCheck::LoadMemoryCheck(size_t fileBytes)
    : budget_(static_cast<size_t>(kLoadMemoryFactor) * fileBytes + static_cast<size_t>(kLoadMemoryAllowance) +
              kUnchargedBytes) {
#ifdef TKSTREAM63_HEAP_HOOKS
    installHooks();
    liveBytes = 0;
    allowedBytes = static_cast<int64_t>(budget_);
    counting = true;
#endif
}

LoadMemoryCheck::~LoadMemoryCheck() {
#ifdef TKSTREAM63_HEAP_HOOKS
    counting = false;
#endif
}

// ---- re-sealing ----

size_t resealBinary(uint8_t* data, size_t size, size_t maxSize) {
    std::vector<uint8_t> bytes(data, data + size);
    if (!resealRecordFile(bytes) || bytes.size() > maxSize) return size;
    std::copy(bytes.begin(), bytes.end(), data);
    return bytes.size();
}

namespace {

constexpr std::string_view kFormattedPreamble = "TKSTREAM63 FORMATTED RECORDS 2";
constexpr std::string_view kTrailerWord = "END ";

// A record's header line starts with its number, a blank and the quoted keyword.
bool isHeaderLine(std::string_view line) {
    size_t digits = 0;
    while (digits < line.size() && line[digits] >= '0' && line[digits] <= '9') ++digits;
    return digits > 0 && line.size() > digits + 1 && line[digits] == ' ' && line[digits + 1] == '\'';
}

}  // namespace

size_t resealFormatted(uint8_t* data, size_t size, size_t maxSize) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    if (text.substr(0, kFormattedPreamble.size()) != kFormattedPreamble) return size;
    // Everything from the last trailer line on is replaced.
    size_t end = text.size();
    const size_t trailer = text.rfind(std::string("\n").append(kTrailerWord));
    if (trailer != std::string_view::npos) end = trailer + 1;
    std::string body(text.substr(0, end));
    if (!body.empty() && body.back() != '\n') body += '\n';
    size_t records = 0;
    for (size_t at = 0; at < body.size();) {
        const size_t next = std::min(body.find('\n', at), body.size());
        if (isHeaderLine(std::string_view(body).substr(at, next - at))) ++records;
        at = next + 1;
    }
    char line[96];
    std::snprintf(line, sizeof line, "END records=%zu bytes=%zu crc32c=%08X\n", records, body.size(),
                  crc32c(0, body.data(), body.size()));
    body += line;
    if (body.size() > maxSize) return size;
    std::memcpy(data, body.data(), body.size());
    return body.size();
}

}  // namespace tkstream63::fuzz
