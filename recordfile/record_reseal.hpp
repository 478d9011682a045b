// Internal: for tests, tools and fuzzers that build or change binary record files in memory
// (implemented beside the binary codec, whose layout it follows).
#pragma once

#include <cstdint>
#include <vector>

namespace tkstream63 {

// Makes a binary record file of version 2 whole again after its bytes were changed: numbers the
// records 1, 2, 3, ... in file order, blanks their padding, recomputes every header CRC and body
// block CRC, and closes the file with a fresh trailer (record count, length, file checksum). The
// records are walked as their headers describe them; from the first place where no whole record
// fits (a damaged keyword length, a body running past the end) the rest is dropped. An old
// trailer at the end is replaced. Returns false, changing nothing, for anything that is not a
// binary record file of version 2.
bool resealRecordFile(std::vector<uint8_t>& bytes);

}  // namespace tkstream63
