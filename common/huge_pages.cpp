#include "common/huge_pages.hpp"

#include <cstdint>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>

#include <mutex>
#endif

namespace tkstream63 {

#if defined(__linux__) && defined(MADV_HUGEPAGE) && defined(MADV_FREE)

namespace {

constexpr size_t kHugePage = size_t{2} << 20;

// Blocks kept for reuse: at most this many (enough for the tables of a store of many datasets),
// and at most this many bytes in all.
constexpr size_t kSpareCount = 32;
constexpr size_t kSpareBytesLimit = size_t{1} << 30;

// The latest blocks given back, up to this many bytes in all (room for the 320 MB node table of
// 10 million nodes x 8 columns), are left as they are: a host that loads dataset after dataset
// takes them again at once. Marking them free straight away cost a flush of every core's address
// cache per huge page (the load's checksum thread has run on another core): about a tenth of a
// 50 MB dataset's load, and a fifth of a 320 MB table's. Older spares are marked free so the
// system can take their pages back whenever it needs memory.
constexpr size_t kHotSpareLimit = size_t{512} << 20;

struct Spare {
    void* block = nullptr;
    size_t bytes = 0;     // mapped bytes, a whole number of huge pages
    bool marked = false;  // given to the system with MADV_FREE
};

// Oldest first. Trivially destructible, so blocks given back while the program ends are safe.
std::mutex spareLock;
Spare spares[kSpareCount + 1];
size_t spareCount = 0;
size_t spareBytes = 0;

uintptr_t roundUp(uintptr_t n) { return (n + kHugePage - 1) & ~uintptr_t{kHugePage - 1}; }

// A fresh mapping of `bytes` starting on a huge-page boundary, so every page of it can be huge.
void* mapAligned(size_t bytes) {
    const size_t span = bytes + kHugePage;
    void* mapped = ::mmap(nullptr, span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) return nullptr;
    const auto start = reinterpret_cast<uintptr_t>(mapped);
    const uintptr_t first = roundUp(start);
    const uintptr_t last = first + bytes;
    if (first > start) ::munmap(mapped, first - start);
    if (start + span > last) ::munmap(reinterpret_cast<void*>(last), start + span - last);
    ::madvise(reinterpret_cast<void*>(first), bytes, MADV_HUGEPAGE);
    return reinterpret_cast<void*>(first);
}

}  // namespace

void* takeLargeBlock(size_t bytes) noexcept {
    if (bytes > SIZE_MAX - kHugePage) return nullptr;
    const size_t wanted = roundUp(bytes);
    Spare found;
    {
        const std::lock_guard<std::mutex> lock(spareLock);
        // The smallest block that fits; among equals the latest given back, whose pages are warmest.
        size_t best = spareCount;
        for (size_t k = 0; k < spareCount; ++k)
            if (spares[k].bytes >= wanted && (best == spareCount || spares[k].bytes <= spares[best].bytes)) best = k;
        if (best < spareCount) {
            found = spares[best];
            for (size_t k = best; k + 1 < spareCount; ++k) spares[k] = spares[k + 1];
            --spareCount;
            spareBytes -= found.bytes;
        }
    }
    if (found.block == nullptr) return mapAligned(wanted);
    // The tail the request does not need goes back to the system.
    if (found.bytes > wanted) ::munmap(static_cast<char*>(found.block) + wanted, found.bytes - wanted);
    return found.block;
}

void giveBackLargeBlock(void* block, size_t bytes) noexcept {
    if (block == nullptr) return;
    const size_t mapped = roundUp(bytes);
    if (mapped > kSpareBytesLimit) {
        ::munmap(block, mapped);
        return;
    }
    Spare evicted[kSpareCount + 1];
    size_t evictedCount = 0;
    {
        const std::lock_guard<std::mutex> lock(spareLock);
        spares[spareCount++] = Spare{block, mapped};
        spareBytes += mapped;
        while (spareCount > kSpareCount || spareBytes > kSpareBytesLimit) {
            evicted[evictedCount++] = spares[0];
            spareBytes -= spares[0].bytes;
            for (size_t k = 0; k + 1 < spareCount; ++k) spares[k] = spares[k + 1];
            --spareCount;
        }
        // Oldest first, until the unmarked ones fit the limit. Under the lock, so that no spare is
        // marked after another thread has taken it.
        size_t unmarkedBytes = 0;
        for (size_t k = 0; k < spareCount; ++k) unmarkedBytes += spares[k].marked ? 0 : spares[k].bytes;
        for (size_t k = 0; k < spareCount && unmarkedBytes > kHotSpareLimit; ++k) {
            if (spares[k].marked) continue;
            ::madvise(spares[k].block, spares[k].bytes, MADV_FREE);
            spares[k].marked = true;
            unmarkedBytes -= spares[k].bytes;
        }
    }
    for (size_t k = 0; k < evictedCount; ++k) ::munmap(evicted[k].block, evicted[k].bytes);
}

#else

// Elsewhere large blocks come from the ordinary heap and go straight back to it.
void* takeLargeBlock(size_t bytes) noexcept {
    void* block = ::operator new(bytes, std::nothrow);
    adviseHugePages(block, bytes);
    return block;
}

void giveBackLargeBlock(void* block, size_t) noexcept { ::operator delete(block); }

#endif

void adviseHugePages(void* block, size_t bytes) noexcept {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    constexpr uintptr_t kHugePageBytes = uintptr_t{2} << 20;
    if (block == nullptr || bytes < kHugePageAdviceBytes) return;
    const auto start = reinterpret_cast<uintptr_t>(block);
    const uintptr_t first = (start + kHugePageBytes - 1) & ~(kHugePageBytes - 1);
    const uintptr_t last = (start + bytes) & ~(kHugePageBytes - 1);
    // Only advice: where the system declines, the block simply keeps ordinary pages.
    if (last > first) ::madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
#else
    (void)block;
    (void)bytes;
#endif
}

}  // namespace tkstream63
