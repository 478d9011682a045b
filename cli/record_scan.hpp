// The record-reading loop of the commands that look at a file record by record (dump, verify,
// convert, diff): every record in file order with its whole body, its byte offset and its
// section nesting, and every problem met on the way.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <variant>
#include <vector>

#include <tkstream63.hpp>

namespace tkstream_cli {

// A record's body as read: one array per item type; nothing for a type the library does not know.
using RecordValues =
    std::variant<std::monostate, tkstream63::Array<int32_t>, tkstream63::Array<float>,
                 tkstream63::Array<double>, tkstream63::Array<bool>, tkstream63::Array<uint8_t>,
                 std::vector<std::string>>;

struct ScannedRecord {
    int64_t number = 0;  // position in the file, from 1
    int64_t offset = 0;  // byte where the record starts
    std::string keyword;
    std::string type;
    int32_t count = 0;
    int depth = 0;  // sections open around the record (a section's markers sit at its own depth)
    RecordValues values;
};

// Something wrong with the file, and where.
struct ScanProblem {
    int64_t record = 0;  // the record it concerns, 0 for the file as a whole
    int64_t offset = 0;
    std::string message;
};

// Opens path for reading. Throws CommandError naming the file when it is missing or is not a
// record file this library reads.
void openForReading(tkstream63::RecordFile& file, const std::string& path);

// Number of items in a record's body as read.
size_t valueCount(const RecordValues& values);

// Reads every record of an open file and hands each one to visit, which answers false to stop.
// A record whose body cannot be read (damage, truncation) is not handed on: it becomes a problem
// and reading goes on with the next record where the file allows. A closing marker that closes
// no open section, and sections still open at the end of a file read to its end, are problems
// too. The file's progress is ticked after every tenth record.
std::vector<ScanProblem> scanRecords(tkstream63::RecordFile& file,
                                     const std::function<bool(const ScannedRecord&)>& visit);

// A section marker's name: "STREAMSET" for "STREAMSET>" (opening) and "<STREAMSET" (closing).
bool opensSection(const ScannedRecord& record, std::string& name);
bool closesSection(const ScannedRecord& record, std::string& name);

}  // namespace tkstream_cli
