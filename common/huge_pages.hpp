// Large fresh tables fault their pages in on first touch. Advising the system to back them with
// huge pages makes that first touch several times cheaper (one fault per 2 MiB instead of per
// 4 KiB), which is what lets a new node table fill at close to memcpy speed.
#pragma once

#include <cstddef>

namespace tkstream63 {

// Blocks from this size on get the advice.
inline constexpr size_t kHugePageAdviceBytes = size_t{4} << 20;

// Advises huge pages for the whole 2 MiB units inside a fresh block; call before the block is
// first written. Does nothing for smaller blocks, or where the system offers no such advice.
void adviseHugePages(void* block, size_t bytes) noexcept;

}  // namespace tkstream63
