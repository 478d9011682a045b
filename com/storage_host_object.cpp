// StreamStorageHost: how a COM host plugs in its own error reporter and duplicate-name dialog
// and reads the library's recent reports; and the ordered button collection the dialog gets.
#include <dispex.h>

#include <algorithm>
#include <vector>

#include "com/simple_object.hpp"
#include "com/windows_choice_dialog.hpp"
#include "common/shared_objects.hpp"

namespace tkstream63::com {
namespace {

constexpr std::string_view kSource = "StreamStorageHost";
// IID_IDispatchEx (MinGW's uuid library lacks it).
const IID kIDispatchEx = {0xa6ef9860, 0xc720, 0x11d0, {0x93, 0x37, 0x00, 0xa0, 0xc9, 0x0d, 0xca, 0xa9}};

// ---- the ordered collection of button captions ----

struct ChoiceCollection : SimpleObject<ChoiceCollection, IChoiceCollection> {
    std::vector<std::string> items;
    explicit ChoiceCollection(std::vector<std::string> captions);
};

HRESULT STDMETHODCALLTYPE get_Count(IChoiceCollection* self, LONG* value) {
    return runMember("Collection", "Count", [&] {
        *output(value) = static_cast<LONG>(ChoiceCollection::from(self)->items.size());
    });
}

HRESULT STDMETHODCALLTYPE get_Item(IChoiceCollection* self, LONG index, BSTR* value) {
    const auto& items = ChoiceCollection::from(self)->items;
    if (value == nullptr) return E_POINTER;
    if (index < 1 || static_cast<size_t>(index) > items.size()) return DISP_E_BADINDEX;
    return runMember("Collection", "Item", [&] { *value = toBSTR(items[static_cast<size_t>(index) - 1]); });
}

// For Each over the collection: an IEnumVARIANT over a copy of the captions (a handful of short
// strings), each handed out as a VT_BSTR.
struct CaptionEnumerator {
    IEnumVARIANT iface;  // first, so the interface pointer is the object's address
    std::atomic<LONG> refs{1};
    std::vector<std::string> items;
    size_t next = 0;

    CaptionEnumerator(std::vector<std::string> captions, size_t position);
    ~CaptionEnumerator() { objectDestroyed(); }
    static CaptionEnumerator* from(IEnumVARIANT* e) { return reinterpret_cast<CaptionEnumerator*>(e); }
};

HRESULT STDMETHODCALLTYPE enumQueryInterface(IEnumVARIANT* self, REFIID iid, void** object) {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (!IsEqualIID(iid, IID_IUnknown) && !IsEqualIID(iid, IID_IEnumVARIANT)) return E_NOINTERFACE;
    ++CaptionEnumerator::from(self)->refs;
    *object = self;
    return S_OK;
}

ULONG STDMETHODCALLTYPE enumAddRef(IEnumVARIANT* self) { return static_cast<ULONG>(++CaptionEnumerator::from(self)->refs); }

ULONG STDMETHODCALLTYPE enumRelease(IEnumVARIANT* self) {
    auto* e = CaptionEnumerator::from(self);
    const LONG left = --e->refs;
    if (left == 0) delete e;
    return static_cast<ULONG>(left);
}

HRESULT STDMETHODCALLTYPE enumNext(IEnumVARIANT* self, ULONG wanted, VARIANT* values, ULONG* fetched) {
    auto* e = CaptionEnumerator::from(self);
    if (values == nullptr && wanted > 0) return E_POINTER;
    ULONG n = 0;
    for (; n < wanted && e->next < e->items.size(); ++n, ++e->next) {
        VariantInit(&values[n]);
        V_VT(&values[n]) = VT_BSTR;
        V_BSTR(&values[n]) = toBSTR(e->items[e->next]);
    }
    if (fetched != nullptr) *fetched = n;
    return n == wanted ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE enumSkip(IEnumVARIANT* self, ULONG count) {
    auto* e = CaptionEnumerator::from(self);
    const size_t left = e->items.size() - e->next;
    e->next += std::min<size_t>(count, left);
    return count <= left ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE enumReset(IEnumVARIANT* self) {
    CaptionEnumerator::from(self)->next = 0;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE enumClone(IEnumVARIANT* self, IEnumVARIANT** copy) {
    if (copy == nullptr) return E_POINTER;
    const auto* e = CaptionEnumerator::from(self);
    *copy = &(new CaptionEnumerator(e->items, e->next))->iface;
    return S_OK;
}

const IEnumVARIANTVtbl enumeratorVtable = {enumQueryInterface, enumAddRef, enumRelease, enumNext,
                                           enumSkip,           enumReset,  enumClone};

CaptionEnumerator::CaptionEnumerator(std::vector<std::string> captions, size_t position)
    : items(std::move(captions)), next(position) {
    iface.lpVtbl = &enumeratorVtable;
    objectCreated();
}

HRESULT STDMETHODCALLTYPE get__NewEnum(IChoiceCollection* self, IUnknown** value) {
    return runMember("Collection", "_NewEnum", [&] {
        *output(value) = reinterpret_cast<IUnknown*>(&(new CaptionEnumerator(ChoiceCollection::from(self)->items, 0))->iface);
    });
}

const IChoiceCollectionVtbl& collectionVtable() {
    static const IChoiceCollectionVtbl table = [] {
        IChoiceCollectionVtbl v{};
        DispatchMembers<ChoiceCollection, IChoiceCollection>::fill(v);
        v.get_Count = &get_Count;
        v.get_Item = &get_Item;
        v.get__NewEnum = &get__NewEnum;
        noteEmptySlots(emptySlots(v));
        return v;
    }();
    return table;
}

ChoiceCollection::ChoiceCollection(std::vector<std::string> captions) : items(std::move(captions)) {
    iface.lpVtbl = &collectionVtable();
}

// ---- the host's objects seen as the library's ----

// Every report goes to the host's Report(zMessage, iCode) and is also kept in memory, so the
// recent messages stay readable whichever reporter is plugged in.
class HostReporter : public ErrorReporter {
public:
    explicit HostReporter(IDispatch* host) : host_(host) { host_->lpVtbl->AddRef(host_); }
    ~HostReporter() override { host_->lpVtbl->Release(host_); }
    void report(const std::string& message, int32_t code) override {
        ErrorReporter::report(message, code);
        VARIANT args[2];
        VariantInit(&args[0]);
        VariantInit(&args[1]);
        V_VT(&args[0]) = VT_BSTR;
        V_BSTR(&args[0]) = SysAllocString(toWide(message).c_str());
        V_VT(&args[1]) = VT_I4;
        V_I4(&args[1]) = code;
        callHostObject(host_, L"Report", args, 2, nullptr);
        VariantClear(&args[0]);
    }
    IDispatch* host() const { return host_; }

private:
    IDispatch* host_;
};

// The host's ShowChoice(zMessage, cButtons, iStyle, zTitle, iChoice): the choice comes back in
// iChoice or, from hosts that cannot write an argument (JScript), as the result.
class HostDialog : public DuplicateNameDialog {
public:
    explicit HostDialog(IDispatch* host) : host_(host) { host_->lpVtbl->AddRef(host_); }
    ~HostDialog() override { host_->lpVtbl->Release(host_); }
    void ShowChoice(const std::string& message, const std::vector<std::string>& buttons,
                    int32_t style, const std::string& title, int32_t& choice) override {
        choice = 0;
        auto* collection = new ChoiceCollection(buttons);
        LONG answer = 0;
        VARIANT args[5];
        for (auto& a : args) VariantInit(&a);
        V_VT(&args[0]) = VT_BSTR;
        V_BSTR(&args[0]) = SysAllocString(toWide(message).c_str());
        V_VT(&args[1]) = VT_DISPATCH;
        V_DISPATCH(&args[1]) = reinterpret_cast<IDispatch*>(&collection->iface);
        V_VT(&args[2]) = VT_I4;
        V_I4(&args[2]) = style;
        V_VT(&args[3]) = VT_BSTR;
        V_BSTR(&args[3]) = SysAllocString(toWide(title).c_str());
        // The choice as a variant by reference: what script hosts can write to.
        VARIANT answerVariant;
        VariantInit(&answerVariant);
        V_VT(&answerVariant) = VT_I4;
        V_I4(&answerVariant) = 0;
        V_VT(&args[4]) = VT_BYREF | VT_VARIANT;
        V_VARIANTREF(&args[4]) = &answerVariant;
        VARIANT result;
        VariantInit(&result);
        if (SUCCEEDED(callHostObject(host_, L"ShowChoice", args, 5, &result))) {
            if (SUCCEEDED(VariantChangeType(&answerVariant, &answerVariant, 0, VT_I4))) answer = V_I4(&answerVariant);
            if (answer == 0 && SUCCEEDED(VariantChangeType(&result, &result, 0, VT_I4))) answer = V_I4(&result);
            choice = answer;
        }
        VariantClear(&answerVariant);
        VariantClear(&result);
        for (int k = 0; k < 4; ++k) VariantClear(&args[k]);  // releases the collection too
    }
    IDispatch* host() const { return host_; }

private:
    IDispatch* host_;
};

// What the host plugged in on this thread. The library drops its shared objects at CloseDown;
// prepareCall puts these back before the next call.
struct HostHooks {
    std::shared_ptr<HostReporter> reporter;
    std::shared_ptr<DuplicateNameDialog> dialog = makeWindowsChoiceDialog();
};
thread_local HostHooks hooks;

// ---- StreamStorageHost ----

struct StorageHost : SimpleObject<StorageHost, IStreamStorageHost> {
    StorageHost();
};

HRESULT STDMETHODCALLTYPE get_ErrorReporter(IStreamStorageHost*, IDispatch** value) {
    return runMember(kSource, "ErrorReporter", [&] {
        IDispatch* host = hooks.reporter ? hooks.reporter->host() : nullptr;
        if (host != nullptr) host->lpVtbl->AddRef(host);
        *output(value) = host;
    });
}

HRESULT STDMETHODCALLTYPE put_ErrorReporter(IStreamStorageHost*, IDispatch* value) {
    return runMember(kSource, "ErrorReporter", [&] {
        hooks.reporter = value != nullptr ? std::make_shared<HostReporter>(value) : nullptr;
        installErrorReporter(hooks.reporter ? hooks.reporter : std::make_shared<ErrorReporter>());
    });
}

HRESULT STDMETHODCALLTYPE get_DuplicateNameDialog(IStreamStorageHost*, IDispatch** value) {
    return runMember(kSource, "DuplicateNameDialog", [&] {
        auto* hostDialog = dynamic_cast<HostDialog*>(hooks.dialog.get());
        IDispatch* host = hostDialog != nullptr ? hostDialog->host() : nullptr;
        if (host != nullptr) host->lpVtbl->AddRef(host);
        *output(value) = host;
    });
}

HRESULT STDMETHODCALLTYPE put_DuplicateNameDialog(IStreamStorageHost*, IDispatch* value) {
    return runMember(kSource, "DuplicateNameDialog", [&] {
        hooks.dialog = value != nullptr ? std::shared_ptr<DuplicateNameDialog>(std::make_shared<HostDialog>(value))
                                        : makeWindowsChoiceDialog();
        installDuplicateNameDialog(hooks.dialog);
    });
}

HRESULT STDMETHODCALLTYPE get_RecentMessages(IStreamStorageHost*, SAFEARRAY** value) {
    return runMember(kSource, "RecentMessages", [&] {
        const auto recent = errorReporter().recentMessages();
        Array<std::string> messages(1, static_cast<int32_t>(recent.size()));
        for (size_t k = 0; k < recent.size(); ++k) messages(static_cast<int32_t>(k) + 1) = recent[k].message;
        *output(value) = newSafeArray(messages);
    });
}

HRESULT STDMETHODCALLTYPE get_LastMessage(IStreamStorageHost*, BSTR* value) {
    return runMember(kSource, "LastMessage", [&] {
        const auto recent = errorReporter().recentMessages();
        *output(value) = toBSTR(recent.empty() ? std::string() : recent.back().message);
    });
}

HRESULT STDMETHODCALLTYPE ClearMessages(IStreamStorageHost*) {
    return runMember(kSource, "ClearMessages", [] { errorReporter().clearRecentMessages(); });
}

const IStreamStorageHostVtbl& hostVtable() {
    static const IStreamStorageHostVtbl table = [] {
        IStreamStorageHostVtbl v{};
        DispatchMembers<StorageHost, IStreamStorageHost>::fill(v);
        v.get_ErrorReporter = &get_ErrorReporter;
        v.put_ErrorReporter = &put_ErrorReporter;
        v.putref_ErrorReporter = &put_ErrorReporter;
        v.get_DuplicateNameDialog = &get_DuplicateNameDialog;
        v.put_DuplicateNameDialog = &put_DuplicateNameDialog;
        v.putref_DuplicateNameDialog = &put_DuplicateNameDialog;
        v.get_RecentMessages = &get_RecentMessages;
        v.get_LastMessage = &get_LastMessage;
        v.ClearMessages = &ClearMessages;
        noteEmptySlots(emptySlots(v));
        return v;
    }();
    return table;
}

StorageHost::StorageHost() { iface.lpVtbl = &hostVtable(); }

}  // namespace

void prepareCall() {
    if (&duplicateNameDialog() != hooks.dialog.get()) installDuplicateNameDialog(hooks.dialog);
    if (hooks.reporter && existingErrorReporter() != hooks.reporter) installErrorReporter(hooks.reporter);
}

HRESULT callHostObject(IDispatch* object, const wchar_t* name, VARIANT* args, UINT count, VARIANT* result) {
    // Script objects answer IDispatchEx (Wine's VBScript classes answer nothing else).
    IDispatchEx* scripted = nullptr;
    object->lpVtbl->QueryInterface(object, kIDispatchEx, reinterpret_cast<void**>(&scripted));
    DISPID member = DISPID_VALUE;
    HRESULT hr = S_OK;
    if (name != nullptr) {
        if (scripted != nullptr) {
            BSTR text = SysAllocString(name);
            hr = scripted->lpVtbl->GetDispID(scripted, text, fdexNameCaseInsensitive, &member);
            SysFreeString(text);
        } else {
            LPOLESTR names[1] = {const_cast<LPOLESTR>(name)};
            hr = object->lpVtbl->GetIDsOfNames(object, IID_NULL, names, 1, LOCALE_USER_DEFAULT, &member);
        }
    }
    if (SUCCEEDED(hr)) {
        // IDispatch takes the arguments last first.
        std::vector<VARIANT> reversed(args, args + count);
        std::reverse(reversed.begin(), reversed.end());
        DISPPARAMS params{reversed.data(), nullptr, count, 0};
        EXCEPINFO exception{};
        hr = scripted != nullptr
                 ? scripted->lpVtbl->InvokeEx(scripted, member, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &params,
                                             result, &exception, nullptr)
                 : object->lpVtbl->Invoke(object, member, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD,
                                          &params, result, &exception, nullptr);
        SysFreeString(exception.bstrSource);
        SysFreeString(exception.bstrDescription);
        SysFreeString(exception.bstrHelpFile);
    }
    if (scripted != nullptr) scripted->lpVtbl->Release(scripted);
    return hr;
}

IUnknown* createStreamStorageHost() { return reinterpret_cast<IUnknown*>(&(new StorageHost)->iface); }

}  // namespace tkstream63::com
