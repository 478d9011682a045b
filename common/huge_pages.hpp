// Large fresh tables fault their pages in on first touch, and the system clears every page it
// hands out. Advising huge pages makes that first touch several times cheaper (one fault per
// 2 MiB instead of per 4 KiB); keeping the blocks of dropped tables for the next large table
// spares both the faults and the clearing, which is what lets a new node table fill at close to
// memcpy speed and a store load dataset after dataset without going back to the system.
#pragma once

#include <cstddef>

namespace tkstream63 {

// Blocks from this size on get the advice and come from takeLargeBlock.
inline constexpr size_t kHugePageAdviceBytes = size_t{4} << 20;

// Advises huge pages for the whole 2 MiB units inside a fresh block; call before the block is
// first written. Does nothing for smaller blocks, or where the system offers no such advice.
void adviseHugePages(void* block, size_t bytes) noexcept;

// A block of at least `bytes` bytes (kHugePageAdviceBytes or more) for plain values, or nullptr
// when memory runs out. Its contents are unspecified: a block given back earlier is handed out
// again as it is, so a caller that needs zeros clears it.
void* takeLargeBlock(size_t bytes) noexcept;

// Returns a block from takeLargeBlock, with the byte count it was asked for. A few recent blocks
// (up to a bounded total) are kept for the next takeLargeBlock; the system may still reclaim
// their pages when it runs short, except those of the latest ones given back (up to 512 MiB in
// all), which stay ready for the next tables. The rest goes back at once.
void giveBackLargeBlock(void* block, size_t bytes) noexcept;

}  // namespace tkstream63
