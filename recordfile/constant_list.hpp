// The attribute-constant list: 25 layout constants that every store file carries as its
// "ATTCONST" record, and the per-thread table a store import reads them back into.
#pragma once

#include <array>
#include <cstdint>

#include "common/bounded_array.hpp"
#include "recordfile/record_file.hpp"
#include "recordfile/record_io.hpp"

namespace tkstream63 {

// A fixed-width text record of 233 characters (item 1) described as (start column, width)
// pairs. The pair (0, 72) breaks the run of start columns; it is written as it stands.
inline constexpr std::array<int16_t, 25> kAttributeConstants{
    233, 1, 32, 33, 8, 41, 16, 57, 16, 73, 40, 113, 16, 129, 16, 145, 16, 161, 16, 177, 40, 0, 72, 217, 16};

// Module rvBinaryCSV. Writes the "ATTCONST" record: 25 "INTE" items, each passed to WriteItem as a
// 16-bit Integer, through the caller's RecordIO. Failures are reported under rvBinaryCSV.
void EXPORTBINARYCONSTANTLIST(RecordIO& io, RecordFile& cFILETYPE, bool& qOK);

// The table the store import fills from an "ATTCONST" record (one per thread, empty at first).
Array<int32_t>& attributeConstantTable();

}  // namespace tkstream63
