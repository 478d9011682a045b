#include "com/windows_choice_dialog.hpp"

#include <windows.h>

#include <algorithm>
#include <string>
#include <vector>

#include "com/com_convert.hpp"

namespace tkstream63::com {
namespace {

constexpr WORD kFirstButton = 1000;
constexpr WORD kMessageText = 999;
// Dialog units.
constexpr short kMargin = 7;
constexpr short kButtonWidth = 64;
constexpr short kButtonHeight = 14;
constexpr short kGap = 4;
constexpr short kLineHeight = 9;

// An in-memory dialog template: DWORD-aligned items after a header, strings as UTF-16.
class DialogTemplate {
public:
    void header(DWORD style, WORD items, short cx, short cy, const std::wstring& title) {
        DLGTEMPLATE t{};
        t.style = style;
        t.cdit = items;
        t.cx = cx;
        t.cy = cy;
        append(&t, sizeof t);
        word(0);  // no menu
        word(0);  // the standard dialog class
        text(title);
        word(8);  // point size of DS_SETFONT
        text(L"MS Shell Dlg");
    }
    void item(DWORD style, short x, short y, short cx, short cy, WORD id, WORD windowClass,
              const std::wstring& caption) {
        align();
        DLGITEMTEMPLATE t{};
        t.style = style | WS_CHILD | WS_VISIBLE;
        t.x = x;
        t.y = y;
        t.cx = cx;
        t.cy = cy;
        t.id = id;
        append(&t, sizeof t);
        word(0xFFFF);
        word(windowClass);
        text(caption);
        word(0);  // no creation data
    }
    const DLGTEMPLATE* get() const { return reinterpret_cast<const DLGTEMPLATE*>(bytes_.data()); }

private:
    void append(const void* data, size_t n) {
        const auto* p = static_cast<const unsigned char*>(data);
        bytes_.insert(bytes_.end(), p, p + n);
    }
    void word(WORD w) { append(&w, sizeof w); }
    void text(const std::wstring& s) { append(s.c_str(), (s.size() + 1) * sizeof(wchar_t)); }
    void align() {
        while (bytes_.size() % 4 != 0) bytes_.push_back(0);
    }
    std::vector<unsigned char> bytes_;
};

INT_PTR CALLBACK choiceProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_INITDIALOG: {
            SetWindowLongPtrW(dialog, DWLP_USER, lParam);
            return TRUE;
        }
        case WM_COMMAND: {
            const WORD id = LOWORD(wParam);
            const auto buttons = static_cast<WORD>(GetWindowLongPtrW(dialog, DWLP_USER));
            if (id >= kFirstButton && id < kFirstButton + buttons) EndDialog(dialog, id - kFirstButton + 1);
            else if (id == IDCANCEL) EndDialog(dialog, 0);
            return TRUE;
        }
        case WM_CLOSE:
            EndDialog(dialog, 0);
            return TRUE;
        default:
            return FALSE;
    }
}

class WindowsChoiceDialog : public DuplicateNameDialog {
public:
    void ShowChoice(const std::string& message, const std::vector<std::string>& buttons,
                    int32_t /*style*/, const std::string& title, int32_t& choice) override {
        choice = 0;
        const auto n = static_cast<short>(std::min<size_t>(buttons.size(), 32));
        const short rowWidth = static_cast<short>(n * kButtonWidth + (n > 0 ? (n - 1) * kGap : 0));
        const short width = static_cast<short>(std::max<short>(rowWidth, 200) + 2 * kMargin);
        const short lines = static_cast<short>(1 + std::count(message.begin(), message.end(), '\n'));
        const short textHeight = static_cast<short>(lines * kLineHeight);
        const short height = static_cast<short>(kMargin + textHeight + kGap * 2 + kButtonHeight + kMargin);

        DialogTemplate dialog;
        dialog.header(DS_MODALFRAME | DS_CENTER | DS_SETFONT | WS_POPUP | WS_CAPTION | WS_SYSMENU,
                      static_cast<WORD>(n + 1), width, height, toWide(title));
        dialog.item(SS_LEFT, kMargin, kMargin, static_cast<short>(width - 2 * kMargin), textHeight,
                    kMessageText, 0x0082, toWide(message));
        short x = static_cast<short>((width - rowWidth) / 2);
        const short y = static_cast<short>(kMargin + textHeight + kGap * 2);
        for (short b = 0; b < n; ++b) {
            const DWORD style = WS_TABSTOP | (b == 0 ? BS_DEFPUSHBUTTON | WS_GROUP : BS_PUSHBUTTON);
            dialog.item(style, x, y, kButtonWidth, kButtonHeight, static_cast<WORD>(kFirstButton + b), 0x0080,
                        toWide(buttons[static_cast<size_t>(b)]));
            x = static_cast<short>(x + kButtonWidth + kGap);
        }
        const INT_PTR pressed = DialogBoxIndirectParamW(GetModuleHandleW(nullptr), dialog.get(),
                                                        GetActiveWindow(), choiceProc, n);
        choice = pressed > 0 ? static_cast<int32_t>(pressed) : 0;
    }
};

}  // namespace

std::shared_ptr<DuplicateNameDialog> makeWindowsChoiceDialog() {
    return std::make_shared<WindowsChoiceDialog>();
}

}  // namespace tkstream63::com
