// RecordIO: writes and reads typed keyword records through the host's RecordFile.
//
// Every operation sets qOK and returns kRecordOK (0) or a negative RecordStatus code; the file's
// LastError() then says what failed, naming the record keyword and the byte offset. No operation
// reports to the error reporter for a failure it returns: the caller decides, usually with
// checkRecordCall(), which raises the matching error inside the caller's own trap.
//
// Writing: announce a record with WriteRecordHeader, then write exactly the announced number of
// items of the announced type (one WriteItem per scalar or string, or array runs). Any failed
// write spoils the export: RecordFile::Commit() refuses it and the previous file stays.
//
// Reading: ReadRecordHeader always starts at the next record, whatever the caller left unread of
// the one before. Items are read in order, in one call or several. A record's checksum is checked
// when its last item has been read (or skipped); if that read fails, every value already taken
// from the record must be discarded. A header that cannot be read makes the file report its end.
//
// Array operations move a run of nItems values between the file and an Array's storage in one
// block. The forms with iOffset work in place: the run starts at that storage offset of the
// caller's array (first index fastest), which must already hold it. The read forms without iOffset
// re-dimension the array themselves to (1 To nItems).
//
// zDelim is accepted as the callers pass it (writers "", readers "'") and changes nothing: the
// formatted form always quotes strings with '.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "common/bounded_array.hpp"
#include "common/variant.hpp"
#include "recordfile/record_file.hpp"

namespace tkstream63 {

class RecordIO {
public:
    // ---- writing ----

    // zType is one of "INTE", "REAL", "DOUB", "CHAR", "LOGI", "BYTE"; zKeyword at most 64 bytes.
    int32_t WriteRecordHeader(RecordFile& cFILETYPE, const std::string& zKeyword, int32_t nItems,
                              const std::string& zType, bool& qOK);
    // One item; the variant's type selects the encoding and must match the record's type:
    // Long and Integer -> "INTE", Single -> "REAL", Double -> "DOUB", Boolean -> "LOGI",
    // String -> "CHAR".
    int32_t WriteItem(RecordFile& cFILETYPE, const Variant& vItem, bool& qOK);
    int32_t WriteIntegerArray(int32_t nItems, const std::string& zDelim, const Array<int32_t>& iData,
                              RecordFile& cFILETYPE, bool& qOK, size_t iOffset = 0);
    int32_t WriteRealArray(int32_t nItems, const std::string& zDelim, const Array<float>& sData,
                           RecordFile& cFILETYPE, bool& qOK, size_t iOffset = 0);
    // Writers for the types the library itself only reads, for hosts and tests that produce them.
    int32_t WriteDoubleArray(int32_t nItems, const std::string& zDelim, const Array<double>& dData,
                             RecordFile& cFILETYPE, bool& qOK, size_t iOffset = 0);
    int32_t WriteLogicalArray(int32_t nItems, const std::string& zDelim, const Array<bool>& qData,
                              RecordFile& cFILETYPE, bool& qOK, size_t iOffset = 0);
    int32_t WriteByteArray(int32_t nItems, const Array<uint8_t>& bData, RecordFile& cFILETYPE, bool& qOK,
                           size_t iOffset = 0);

    // ---- reading ----

    // On failure the outputs are "", 0 and "".
    int32_t ReadRecordHeader(RecordFile& cFILETYPE, std::string& zKeyword, int32_t& nItems, std::string& zType,
                             bool& qOK);
    // The next item of the current record, as the variant type of the record's items (Long for
    // "INTE", Single, Double, Boolean, String, Integer for "BYTE"). The typed forms convert.
    int32_t ReadItem(RecordFile& cFILETYPE, Variant& vItem, bool& qOK);
    int32_t ReadItem(RecordFile& cFILETYPE, std::string& zItem, bool& qOK);
    int32_t ReadItem(RecordFile& cFILETYPE, int32_t& iItem, bool& qOK);
    int32_t ReadItem(RecordFile& cFILETYPE, float& sItem, bool& qOK);
    int32_t ReadItem(RecordFile& cFILETYPE, bool& qItem, bool& qOK);

    int32_t ReadIntegerArray(int32_t nItems, const std::string& zDelim, RecordFile& cFILETYPE,
                             Array<int32_t>& iData, bool& qOK);
    int32_t ReadIntegerArray(int32_t nItems, const std::string& zDelim, RecordFile& cFILETYPE,
                             Array<int32_t>& iData, bool& qOK, size_t iOffset);
    int32_t ReadRealArray(int32_t nItems, const std::string& zDelim, RecordFile& cFILETYPE, Array<float>& sData,
                          bool& qOK);
    int32_t ReadRealArray(int32_t nItems, const std::string& zDelim, RecordFile& cFILETYPE, Array<float>& sData,
                          bool& qOK, size_t iOffset);
    int32_t ReadDoubleArray(int32_t nItems, const std::string& zDelim, RecordFile& cFILETYPE,
                            Array<double>& dData, bool& qOK);
    int32_t ReadDoubleArray(int32_t nItems, const std::string& zDelim, RecordFile& cFILETYPE,
                            Array<double>& dData, bool& qOK, size_t iOffset);
    int32_t ReadLogicalArray(int32_t nItems, const std::string& zDelim, RecordFile& cFILETYPE,
                             Array<bool>& qData, bool& qOK);
    int32_t ReadLogicalArray(int32_t nItems, const std::string& zDelim, RecordFile& cFILETYPE,
                             Array<bool>& qData, bool& qOK, size_t iOffset);
    int32_t ReadByteArray(int32_t nItems, RecordFile& cFILETYPE, Array<uint8_t>& bData, bool& qOK);
    int32_t ReadByteArray(int32_t nItems, RecordFile& cFILETYPE, Array<uint8_t>& bData, bool& qOK,
                          size_t iOffset);
    // Read past nItems values without keeping them (they still count towards the checksum).
    int32_t SkipRealArray(int32_t nItems, const std::string& zDelim, RecordFile& cFILETYPE, bool& qOK);
    int32_t SkipDoubleArray(int32_t nItems, const std::string& zDelim, RecordFile& cFILETYPE, bool& qOK);
};

// Raises the error a failed record operation stands for: number = -code, description = the
// file's LastError(). Does nothing for kRecordOK. For use inside a caller's error trap.
void checkRecordCall(int32_t code, const RecordFile& cFILETYPE);

}  // namespace tkstream63
