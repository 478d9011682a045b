// Reads the type library embedded in tkstream63.dll back through ITypeLib/ITypeInfo and compares
// every member (order, dispid, kind, argument names and types, optional defaults) with the
// checked-in table tk174StreamStorage_members.txt, one line per member.
//
//   typelib_test <dll> <table>    compare; prints "N passed, N failed"
//   typelib_test <dll>            print the table
#include <windows.h>
#include <oleauto.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "com/com_test_support.hpp"

using com_test::narrow;

namespace {

std::string typeName(ITypeInfo* info, const TYPEDESC& type) {
    switch (type.vt) {
        case VT_I2: return "short";
        case VT_I4: return "long";
        case VT_R4: return "float";
        case VT_R8: return "double";
        case VT_BOOL: return "VARIANT_BOOL";
        case VT_BSTR: return "BSTR";
        case VT_VARIANT: return "VARIANT";
        case VT_DISPATCH: return "IDispatch*";
        case VT_UNKNOWN: return "IUnknown*";
        case VT_HRESULT: return "HRESULT";
        case VT_VOID: return "void";
        case VT_PTR: return typeName(info, *type.lptdesc) + "*";
        case VT_SAFEARRAY: return "SAFEARRAY(" + typeName(info, *type.lptdesc) + ")";
        case VT_USERDEFINED: {
            ITypeInfo* target = nullptr;
            std::string name = "?";
            if (SUCCEEDED(info->GetRefTypeInfo(type.hreftype, &target))) {
                BSTR text = nullptr;
                target->GetDocumentation(MEMBERID_NIL, &text, nullptr, nullptr, nullptr);
                name = narrow(text);
                SysFreeString(text);
                target->Release();
            }
            return name;
        }
        default: return "vt" + std::to_string(type.vt);
    }
}

std::string defaultText(const VARIANT& value) {
    VARIANT text;
    VariantInit(&text);
    if (V_VT(&value) == VT_BSTR) return "\"" + narrow(V_BSTR(&value)) + "\"";
    if (FAILED(VariantChangeType(&text, const_cast<VARIANT*>(&value), 0, VT_BSTR))) return "?";
    std::string result = narrow(V_BSTR(&text));
    VariantClear(&text);
    return result;
}

const char* kindText(INVOKEKIND kind) {
    switch (kind) {
        case INVOKE_PROPERTYGET: return "get";
        case INVOKE_PROPERTYPUT: return "let";
        case INVOKE_PROPERTYPUTREF: return "set";
        default: return "method";
    }
}

// "Interface index dispid kind Name(flags type name, ...)" for every member of the vtable view.
void describeInterface(ITypeInfo* info, const std::string& interfaceName, std::vector<std::string>& lines) {
    TYPEATTR* attributes = nullptr;
    info->GetTypeAttr(&attributes);
    for (UINT f = 0; f < attributes->cFuncs; ++f) {
        FUNCDESC* fd = nullptr;
        info->GetFuncDesc(f, &fd);
        BSTR names[32] = {};
        UINT count = 0;
        info->GetNames(fd->memid, names, 32, &count);
        std::ostringstream line;
        line << interfaceName << " " << f + 1 << " " << fd->memid << " " << kindText(fd->invkind) << " "
             << narrow(names[0]) << "(";
        for (SHORT a = 0; a < fd->cParams; ++a) {
            const ELEMDESC& p = fd->lprgelemdescParam[a];
            const USHORT flags = p.paramdesc.wParamFlags;
            std::string attributesText;
            auto add = [&](const std::string& text) { attributesText += (attributesText.empty() ? "" : ",") + text; };
            if (flags & PARAMFLAG_FIN) add("in");
            if (flags & PARAMFLAG_FOUT) add("out");
            if (flags & PARAMFLAG_FRETVAL) add("retval");
            if (flags & PARAMFLAG_FOPT) add("optional");
            if ((flags & PARAMFLAG_FHASDEFAULT) && p.paramdesc.pparamdescex != nullptr)
                add("default=" + defaultText(p.paramdesc.pparamdescex->varDefaultValue));
            // Property lets have no name for their value in the type library.
            const std::string name = static_cast<UINT>(a + 1) < count ? narrow(names[a + 1]) : "value";
            line << (a > 0 ? ", " : "") << "[" << attributesText << "] " << typeName(info, p.tdesc) << " " << name;
        }
        line << ")";
        lines.push_back(line.str());
        for (UINT n = 0; n < count; ++n) SysFreeString(names[n]);
        info->ReleaseFuncDesc(fd);
    }
    info->ReleaseTypeAttr(attributes);
}

std::vector<std::string> describeLibrary(ITypeLib* library) {
    std::vector<std::string> lines;
    for (UINT t = 0; t < library->GetTypeInfoCount(); ++t) {
        ITypeInfo* info = nullptr;
        library->GetTypeInfo(t, &info);
        TYPEATTR* attributes = nullptr;
        info->GetTypeAttr(&attributes);
        const TYPEKIND kind = attributes->typekind;
        const bool dual = (attributes->wTypeFlags & TYPEFLAG_FDUAL) != 0;
        info->ReleaseTypeAttr(attributes);
        BSTR name = nullptr;
        info->GetDocumentation(MEMBERID_NIL, &name, nullptr, nullptr, nullptr);
        if (kind == TKIND_DISPATCH && dual) {
            HREFTYPE vtableView = 0;
            ITypeInfo* view = nullptr;
            if (SUCCEEDED(info->GetRefTypeOfImplType(static_cast<UINT>(-1), &vtableView)) &&
                SUCCEEDED(info->GetRefTypeInfo(vtableView, &view))) {
                describeInterface(view, narrow(name), lines);
                view->Release();
            }
        } else if (kind == TKIND_COCLASS) {
            lines.push_back("coclass " + narrow(name));
        }
        SysFreeString(name);
        info->Release();
    }
    return lines;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: typelib_test <dll> [table]\n");
        return 2;
    }
    ITypeLib* library = nullptr;
    if (FAILED(LoadTypeLibEx(com_test::wide(argv[1]).c_str(), REGKIND_NONE, &library))) {
        std::printf("0 passed, 1 failed\n");
        return 1;
    }
    const std::vector<std::string> actual = describeLibrary(library);
    library->Release();
    if (argc == 2) {
        for (const std::string& line : actual) std::printf("%s\n", line.c_str());
        return 0;
    }
    std::vector<std::string> expected;
    std::ifstream table(argv[2]);
    for (std::string line; std::getline(table, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!line.empty() && line[0] != '#') expected.push_back(line);
    }
    com_test::Checks checks;
    checks.expect(actual.size() == expected.size(), "member count " + std::to_string(actual.size()) + ", table has " +
                                                         std::to_string(expected.size()));
    for (size_t k = 0; k < std::min(actual.size(), expected.size()); ++k)
        checks.expect(actual[k] == expected[k], "\n  type library: " + actual[k] + "\n  table:        " + expected[k]);
    return checks.summary();
}
