// What the values of the library's own records mean, for naming them to a user: the group a
// record belongs to, the name of each item of the fixed-layout records, and how the items of
// the table records map to (column, row).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tkstream_cli {

// "attributes", "lists", "node table", "pointers", "connections" for a dataset's own records;
// "" for the rest (the caller names them by their section).
std::string_view groupOfDataSetRecord(std::string_view keyword);

// Name of item `item` (from 1) of a fixed-layout record, or "" when the record has none.
std::string_view itemName(std::string_view keyword, size_t item);

// Records whose values belong to the row named by the last "CNT" record before them (a header,
// a well, a producer or an injector).
bool isPerRowRecord(std::string_view keyword);

// A table record's layout: the record holding its two upper bounds, and whether its second
// dimension starts at 0 (the entry tables have a slot 0).
struct TableLayout {
    std::string_view boundsKeyword;
    const char* firstName;   // what the first index counts ("row", "column")
    const char* secondName;  // what the second index counts
};
// The layout of a table record, or nullptr for any other record.
const TableLayout* tableLayout(std::string_view dataKeyword);

}  // namespace tkstream_cli
