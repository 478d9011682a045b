#include "common/huge_pages.hpp"

#include <cstdint>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace tkstream63 {

void adviseHugePages(void* block, size_t bytes) noexcept {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    constexpr uintptr_t kHugePage = uintptr_t{2} << 20;
    if (block == nullptr || bytes < kHugePageAdviceBytes) return;
    const auto start = reinterpret_cast<uintptr_t>(block);
    const uintptr_t first = (start + kHugePage - 1) & ~(kHugePage - 1);
    const uintptr_t last = (start + bytes) & ~(kHugePage - 1);
    // Only advice: where the system declines, the block simply keeps ordinary pages.
    if (last > first) ::madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
#else
    (void)block;
    (void)bytes;
#endif
}

}  // namespace tkstream63
