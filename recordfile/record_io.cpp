#include "recordfile/record_io.hpp"

#include "common/errors.hpp"
#include "recordfile/record_codec.hpp"

namespace tkstream63 {
namespace {

template <class T>
constexpr ItemType itemTypeOf();
template <>
constexpr ItemType itemTypeOf<int32_t>() { return ItemType::Inte; }
template <>
constexpr ItemType itemTypeOf<float>() { return ItemType::Real; }
template <>
constexpr ItemType itemTypeOf<double>() { return ItemType::Doub; }
template <>
constexpr ItemType itemTypeOf<bool>() { return ItemType::Logi; }
template <>
constexpr ItemType itemTypeOf<uint8_t>() { return ItemType::Byte; }

// Runs one operation under the trap. The body returns false after recording its failure on the
// file; only something unforeseen (reported by the trap) gets a generic message here.
template <class Body>
int32_t runOperation(RecordFile& file, const char* procedure, bool& qOK, Body&& body) {
    qOK = false;
    bool done = false;
    if (!runTrapped("RecordIO", procedure, [&] { done = body(); }))
        file.fail(kRecordInvalidCall, std::string("RecordIO ") + procedure + " failed; see the error report");
    qOK = done;
    if (done) return kRecordOK;
    return file.LastErrorCode() < 0 ? file.LastErrorCode() : kRecordInvalidCall;
}

// The file must be open for writing and its export still sound (a failed write keeps its message).
bool writable(RecordFile& file, const char* procedure) {
    if (!file.IsWriting())
        return file.fail(kRecordInvalidCall, std::string(procedure) + ": '" + file.Path() + "' is not open for writing");
    return !file.writeFailed();
}

bool readable(RecordFile& file, const char* procedure) {
    if (file.IsReading()) return true;
    return file.fail(kRecordInvalidCall, std::string(procedure) + ": '" + file.Path() + "' is not open for reading");
}

bool validCount(RecordFile& file, const char* procedure, int32_t nItems) {
    if (nItems >= 0) return true;
    return file.fail(kRecordInvalidCall, std::string(procedure) + ": negative item count " + std::to_string(nItems));
}

// The run [iOffset, iOffset + nItems) must lie inside the array's storage.
template <class T>
bool validRun(RecordFile& file, const char* procedure, int32_t nItems, const Array<T>& data, size_t iOffset) {
    if (!validCount(file, procedure, nItems)) return false;
    if (iOffset <= data.size() && static_cast<size_t>(nItems) <= data.size() - iOffset) return true;
    return file.fail(kRecordSubscript, std::string(procedure) + ": " + std::to_string(nItems) +
                                           " items from storage offset " + std::to_string(iOffset) +
                                           " run past the end of an array of " + std::to_string(data.size()) +
                                           " elements");
}

template <class T>
int32_t writeArray(const char* procedure, int32_t nItems, const Array<T>& data, RecordFile& file, bool& qOK,
                   size_t iOffset) {
    return runOperation(file, procedure, qOK, [&] {
        if (!writable(file, procedure) || !validRun(file, procedure, nItems, data, iOffset)) return false;
        return nItems == 0 || file.codec()->writeValues(itemTypeOf<T>(), data.data() + iOffset, nItems);
    });
}

// In place: the caller's array already holds the run.
template <class T>
int32_t readArrayInPlace(const char* procedure, int32_t nItems, RecordFile& file, Array<T>& data, bool& qOK,
                         size_t iOffset) {
    return runOperation(file, procedure, qOK, [&] {
        if (!readable(file, procedure) || !validRun(file, procedure, nItems, data, iOffset)) return false;
        return nItems == 0 || file.codec()->readValues(itemTypeOf<T>(), data.data() + iOffset, nItems);
    });
}

// Re-dimensions the caller's array to (1 To nItems), but only once the record is known to hold
// that many items of the right type, so a damaged count never causes a large allocation. A read
// that fails after that leaves the array empty.
template <class T>
int32_t readArraySized(const char* procedure, int32_t nItems, RecordFile& file, Array<T>& data, bool& qOK) {
    return runOperation(file, procedure, qOK, [&] {
        if (!readable(file, procedure) || !validCount(file, procedure, nItems)) return false;
        RecordCodec& codec = *file.codec();
        if (nItems > 0 && !codec.checkReadable(itemTypeOf<T>(), static_cast<size_t>(nItems))) return false;
        if (!codec.charge(int64_t{nItems} * static_cast<int64_t>(sizeof(T)),
                          "an array of " + std::to_string(nItems) + " values"))
            return false;
        data.redimForOverwrite(1, nItems);
        if (nItems == 0 || codec.readValues(itemTypeOf<T>(), data.data(), nItems)) return true;
        data.redim(1, 0);
        return false;
    });
}

template <class T>
int32_t skipArray(const char* procedure, int32_t nItems, RecordFile& file, bool& qOK) {
    return runOperation(file, procedure, qOK, [&] {
        if (!readable(file, procedure) || !validCount(file, procedure, nItems)) return false;
        return nItems == 0 || file.codec()->readValues(itemTypeOf<T>(), nullptr, nItems);
    });
}

// One scalar item of the record's own type.
template <class T>
bool readScalar(RecordCodec& codec, Variant& vItem) {
    T value{};
    if (!codec.readValues(itemTypeOf<T>(), &value, 1)) return false;
    vItem = Variant(value);
    return true;
}

template <class T>
bool writeScalar(RecordCodec& codec, T value) {
    return codec.writeValues(itemTypeOf<T>(), &value, 1);
}

// ReadItem into a typed variable: the item as read, converted the way a variant converts.
template <class T, class Convert>
int32_t readConverted(RecordIO& io, RecordFile& file, T& item, bool& qOK, Convert convert) {
    Variant value;
    const int32_t code = io.ReadItem(file, value, qOK);
    if (!qOK) return code;
    return runOperation(file, "ReadItem", qOK, [&] {
        item = convert(value);
        return true;
    });
}

}  // namespace

// ---- writing ----

int32_t RecordIO::WriteRecordHeader(RecordFile& cFILETYPE, const std::string& zKeyword, int32_t nItems,
                                    const std::string& zType, bool& qOK) {
    return runOperation(cFILETYPE, "WriteRecordHeader", qOK, [&] {
        return writable(cFILETYPE, "WriteRecordHeader") && cFILETYPE.codec()->beginRecord(zKeyword, nItems, zType);
    });
}

int32_t RecordIO::WriteItem(RecordFile& cFILETYPE, const Variant& vItem, bool& qOK) {
    return runOperation(cFILETYPE, "WriteItem", qOK, [&] {
        if (!writable(cFILETYPE, "WriteItem")) return false;
        RecordCodec& codec = *cFILETYPE.codec();
        switch (vItem.type()) {
            case Variant::Type::Integer: return writeScalar<int32_t>(codec, vItem.toInteger());
            case Variant::Type::Long: return writeScalar<int32_t>(codec, vItem.toLong());
            case Variant::Type::Single: return writeScalar<float>(codec, vItem.toSingle());
            case Variant::Type::Double: return writeScalar<double>(codec, vItem.toDouble());
            case Variant::Type::Boolean: return writeScalar<bool>(codec, vItem.toBoolean());
            case Variant::Type::String: return codec.writeText(vItem.toText());
            default:
                return codec.failRecord(kRecordTypeMismatch, "an Empty or Null value has no item form");
        }
    });
}

int32_t RecordIO::WriteIntegerArray(int32_t nItems, const std::string&, const Array<int32_t>& iData,
                                    RecordFile& cFILETYPE, bool& qOK, size_t iOffset) {
    return writeArray("WriteIntegerArray", nItems, iData, cFILETYPE, qOK, iOffset);
}

int32_t RecordIO::WriteRealArray(int32_t nItems, const std::string&, const Array<float>& sData,
                                 RecordFile& cFILETYPE, bool& qOK, size_t iOffset) {
    return writeArray("WriteRealArray", nItems, sData, cFILETYPE, qOK, iOffset);
}

int32_t RecordIO::WriteDoubleArray(int32_t nItems, const std::string&, const Array<double>& dData,
                                   RecordFile& cFILETYPE, bool& qOK, size_t iOffset) {
    return writeArray("WriteDoubleArray", nItems, dData, cFILETYPE, qOK, iOffset);
}

int32_t RecordIO::WriteLogicalArray(int32_t nItems, const std::string&, const Array<bool>& qData,
                                    RecordFile& cFILETYPE, bool& qOK, size_t iOffset) {
    return writeArray("WriteLogicalArray", nItems, qData, cFILETYPE, qOK, iOffset);
}

int32_t RecordIO::WriteByteArray(int32_t nItems, const Array<uint8_t>& bData, RecordFile& cFILETYPE, bool& qOK,
                                 size_t iOffset) {
    return writeArray("WriteByteArray", nItems, bData, cFILETYPE, qOK, iOffset);
}

// ---- reading ----

int32_t RecordIO::ReadRecordHeader(RecordFile& cFILETYPE, std::string& zKeyword, int32_t& nItems,
                                   std::string& zType, bool& qOK) {
    zKeyword.clear();
    nItems = 0;
    zType.clear();
    return runOperation(cFILETYPE, "ReadRecordHeader", qOK, [&] {
        return readable(cFILETYPE, "ReadRecordHeader") && cFILETYPE.codec()->readHeader(zKeyword, nItems, zType);
    });
}

int32_t RecordIO::ReadItem(RecordFile& cFILETYPE, Variant& vItem, bool& qOK) {
    return runOperation(cFILETYPE, "ReadItem", qOK, [&] {
        if (!readable(cFILETYPE, "ReadItem")) return false;
        RecordCodec& codec = *cFILETYPE.codec();
        switch (codec.currentType()) {
            case ItemType::Inte: return readScalar<int32_t>(codec, vItem);
            case ItemType::Real: return readScalar<float>(codec, vItem);
            case ItemType::Doub: return readScalar<double>(codec, vItem);
            case ItemType::Logi: return readScalar<bool>(codec, vItem);
            case ItemType::Byte: {
                uint8_t value = 0;
                if (!codec.readValues(ItemType::Byte, &value, 1)) return false;
                vItem = Variant(static_cast<int16_t>(value));
                return true;
            }
            case ItemType::Char: {
                std::string text;
                if (!codec.readText(&text) || !codec.charge(static_cast<int64_t>(text.size()), "a string")) return false;
                vItem = Variant(std::move(text));
                return true;
            }
            default:
                return codec.failRecord(kRecordTypeMismatch, "its items are of a type this library cannot read");
        }
    });
}

int32_t RecordIO::ReadItem(RecordFile& cFILETYPE, std::string& zItem, bool& qOK) {
    return readConverted(*this, cFILETYPE, zItem, qOK, [](const Variant& v) { return v.toText(); });
}

int32_t RecordIO::ReadItem(RecordFile& cFILETYPE, int32_t& iItem, bool& qOK) {
    return readConverted(*this, cFILETYPE, iItem, qOK, [](const Variant& v) { return v.toLong(); });
}

int32_t RecordIO::ReadItem(RecordFile& cFILETYPE, float& sItem, bool& qOK) {
    return readConverted(*this, cFILETYPE, sItem, qOK, [](const Variant& v) { return v.toSingle(); });
}

int32_t RecordIO::ReadItem(RecordFile& cFILETYPE, bool& qItem, bool& qOK) {
    return readConverted(*this, cFILETYPE, qItem, qOK, [](const Variant& v) { return v.toBoolean(); });
}

int32_t RecordIO::ReadIntegerArray(int32_t nItems, const std::string&, RecordFile& cFILETYPE,
                                   Array<int32_t>& iData, bool& qOK) {
    return readArraySized("ReadIntegerArray", nItems, cFILETYPE, iData, qOK);
}

int32_t RecordIO::ReadIntegerArray(int32_t nItems, const std::string&, RecordFile& cFILETYPE,
                                   Array<int32_t>& iData, bool& qOK, size_t iOffset) {
    return readArrayInPlace("ReadIntegerArray", nItems, cFILETYPE, iData, qOK, iOffset);
}

int32_t RecordIO::ReadRealArray(int32_t nItems, const std::string&, RecordFile& cFILETYPE, Array<float>& sData,
                                bool& qOK) {
    return readArraySized("ReadRealArray", nItems, cFILETYPE, sData, qOK);
}

int32_t RecordIO::ReadRealArray(int32_t nItems, const std::string&, RecordFile& cFILETYPE, Array<float>& sData,
                                bool& qOK, size_t iOffset) {
    return readArrayInPlace("ReadRealArray", nItems, cFILETYPE, sData, qOK, iOffset);
}

int32_t RecordIO::ReadDoubleArray(int32_t nItems, const std::string&, RecordFile& cFILETYPE,
                                  Array<double>& dData, bool& qOK) {
    return readArraySized("ReadDoubleArray", nItems, cFILETYPE, dData, qOK);
}

int32_t RecordIO::ReadDoubleArray(int32_t nItems, const std::string&, RecordFile& cFILETYPE,
                                  Array<double>& dData, bool& qOK, size_t iOffset) {
    return readArrayInPlace("ReadDoubleArray", nItems, cFILETYPE, dData, qOK, iOffset);
}

int32_t RecordIO::ReadLogicalArray(int32_t nItems, const std::string&, RecordFile& cFILETYPE, Array<bool>& qData,
                                   bool& qOK) {
    return readArraySized("ReadLogicalArray", nItems, cFILETYPE, qData, qOK);
}

int32_t RecordIO::ReadLogicalArray(int32_t nItems, const std::string&, RecordFile& cFILETYPE, Array<bool>& qData,
                                   bool& qOK, size_t iOffset) {
    return readArrayInPlace("ReadLogicalArray", nItems, cFILETYPE, qData, qOK, iOffset);
}

int32_t RecordIO::ReadByteArray(int32_t nItems, RecordFile& cFILETYPE, Array<uint8_t>& bData, bool& qOK) {
    return readArraySized("ReadByteArray", nItems, cFILETYPE, bData, qOK);
}

int32_t RecordIO::ReadByteArray(int32_t nItems, RecordFile& cFILETYPE, Array<uint8_t>& bData, bool& qOK,
                                size_t iOffset) {
    return readArrayInPlace("ReadByteArray", nItems, cFILETYPE, bData, qOK, iOffset);
}

int32_t RecordIO::SkipRealArray(int32_t nItems, const std::string&, RecordFile& cFILETYPE, bool& qOK) {
    return skipArray<float>("SkipRealArray", nItems, cFILETYPE, qOK);
}

int32_t RecordIO::SkipDoubleArray(int32_t nItems, const std::string&, RecordFile& cFILETYPE, bool& qOK) {
    return skipArray<double>("SkipDoubleArray", nItems, cFILETYPE, qOK);
}

void checkRecordCall(int32_t code, const RecordFile& cFILETYPE) {
    if (code >= 0) return;
    if (cFILETYPE.LastError().empty()) raiseError(-code);
    raiseError(-code, cFILETYPE.LastError());
}

}  // namespace tkstream63
