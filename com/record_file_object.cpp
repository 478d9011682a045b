// RecordFile as a COM object: the file a host opens and hands to BINARYEXPORT and BINARYIMPORT.
#include "com/simple_object.hpp"
#include "recordfile/record_file.hpp"

namespace tkstream63::com {
namespace {

constexpr std::string_view kSource = "RecordFile";

struct RecordFileObject : SimpleObject<RecordFileObject, IRecordFile> {
    RecordFile file;
    IDispatch* progressSink = nullptr;

    RecordFileObject();
    ~RecordFileObject() { holdDispatch(progressSink, nullptr); }
};

HRESULT STDMETHODCALLTYPE OpenForWriting(IRecordFile* self, BSTR path, LONG form, VARIANT_BOOL* result) {
    return runMember(kSource, "OpenForWriting", [&] {
        if (form != 0 && form != 1) raiseError(kErrInvalidCall);
        const RecordForm chosen = form == 1 ? RecordForm::Formatted : RecordForm::Binary;
        *output(result) = toVariantBool(RecordFileObject::from(self)->file.OpenForWriting(fromBSTR(path), chosen));
    });
}

HRESULT STDMETHODCALLTYPE OpenForReading(IRecordFile* self, BSTR path, VARIANT_BOOL* result) {
    return runMember(kSource, "OpenForReading", [&] {
        *output(result) = toVariantBool(RecordFileObject::from(self)->file.OpenForReading(fromBSTR(path)));
    });
}

HRESULT STDMETHODCALLTYPE Commit(IRecordFile* self, VARIANT_BOOL* result) {
    return runMember(kSource, "Commit", [&] {
        *output(result) = toVariantBool(RecordFileObject::from(self)->file.Commit());
    });
}

HRESULT STDMETHODCALLTYPE Abandon(IRecordFile* self) {
    return runMember(kSource, "Abandon", [&] { RecordFileObject::from(self)->file.Abandon(); });
}

HRESULT STDMETHODCALLTYPE get_IsOpen(IRecordFile* self, VARIANT_BOOL* value) {
    return runMember(kSource, "IsOpen", [&] {
        *output(value) = toVariantBool(RecordFileObject::from(self)->file.IsOpen());
    });
}

HRESULT STDMETHODCALLTYPE get_Path(IRecordFile* self, BSTR* value) {
    return runMember(kSource, "Path", [&] { *output(value) = toBSTR(RecordFileObject::from(self)->file.Path()); });
}

HRESULT STDMETHODCALLTYPE get_LastError(IRecordFile* self, BSTR* value) {
    return runMember(kSource, "LastError", [&] {
        *output(value) = toBSTR(RecordFileObject::from(self)->file.LastError());
    });
}

HRESULT STDMETHODCALLTYPE get_LastErrorCode(IRecordFile* self, LONG* value) {
    return runMember(kSource, "LastErrorCode", [&] { *output(value) = RecordFileObject::from(self)->file.LastErrorCode(); });
}

HRESULT STDMETHODCALLTYPE get_BytesRead(IRecordFile* self, double* value) {
    return runMember(kSource, "BytesRead", [&] {
        *output(value) = static_cast<double>(RecordFileObject::from(self)->file.BytesRead());
    });
}

HRESULT STDMETHODCALLTYPE get_TotalBytes(IRecordFile* self, double* value) {
    return runMember(kSource, "TotalBytes", [&] {
        *output(value) = static_cast<double>(RecordFileObject::from(self)->file.TotalBytes());
    });
}

HRESULT STDMETHODCALLTYPE get_ProgressSink(IRecordFile* self, IDispatch** value) {
    return runMember(kSource, "ProgressSink", [&] {
        IDispatch* sink = RecordFileObject::from(self)->progressSink;
        if (sink != nullptr) sink->lpVtbl->AddRef(sink);
        *output(value) = sink;
    });
}

HRESULT STDMETHODCALLTYPE put_ProgressSink(IRecordFile* self, IDispatch* value) {
    return runMember(kSource, "ProgressSink", [&] { holdDispatch(RecordFileObject::from(self)->progressSink, value); });
}

const IRecordFileVtbl& recordFileVtable() {
    static const IRecordFileVtbl table = [] {
        IRecordFileVtbl v{};
        DispatchMembers<RecordFileObject, IRecordFile>::fill(v);
        v.OpenForWriting = &OpenForWriting;
        v.OpenForReading = &OpenForReading;
        v.Commit = &Commit;
        v.Abandon = &Abandon;
        v.get_IsOpen = &get_IsOpen;
        v.get_Path = &get_Path;
        v.get_LastError = &get_LastError;
        v.get_LastErrorCode = &get_LastErrorCode;
        v.get_BytesRead = &get_BytesRead;
        v.get_TotalBytes = &get_TotalBytes;
        v.get_ProgressSink = &get_ProgressSink;
        v.put_ProgressSink = &put_ProgressSink;
        v.putref_ProgressSink = &put_ProgressSink;
        noteEmptySlots(emptySlots(v));
        return v;
    }();
    return table;
}

RecordFileObject::RecordFileObject() {
    iface.lpVtbl = &recordFileVtable();
    // The host's sink hears of every tenth record read; a failing sink does not stop the import.
    file.SetProgressCallback([this] {
        if (progressSink != nullptr) callHostObject(progressSink, nullptr, nullptr, 0, nullptr);
    });
}

}  // namespace

RecordFile& recordFileOf(IRecordFile* object) {
    if (object == nullptr) raiseError(kErrObjectNotSet);
    if (object->lpVtbl != &recordFileVtable()) raiseError(kErrTypeMismatch);
    return RecordFileObject::from(object)->file;
}

IUnknown* createRecordFile() { return reinterpret_cast<IUnknown*>(&(new RecordFileObject)->iface); }

}  // namespace tkstream63::com
