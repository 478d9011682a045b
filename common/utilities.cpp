#include "common/utilities.hpp"

#include <unistd.h>

#include <iostream>
#include <string_view>

#include "common/text.hpp"

namespace tkstream63 {

void GridIndexer::CellsToIJK(const Array<int32_t>& cells, int32_t NX, int32_t NY, int32_t NZ,
                             Array<int32_t>& iPos, Array<int32_t>& jPos,
                             Array<int32_t>& kPos) const {
    const size_t n = cells.size();
    iPos.checkRun(0, n);
    jPos.checkRun(0, n);
    kPos.checkRun(0, n);
    const int64_t layer = int64_t{NX} * NY;
    const int64_t total = layer * NZ;
    const bool gridValid = NX > 0 && NY > 0 && NZ > 0;
    for (size_t e = 0; e < n; ++e) {
        const int64_t cell = cells.data()[e];
        int32_t i = 0, j = 0, k = 0;
        if (gridValid && cell >= 1 && cell <= total) {
            const int64_t zeroBased = cell - 1;
            k = static_cast<int32_t>(zeroBased / layer) + 1;
            const int64_t inLayer = zeroBased % layer;
            j = static_cast<int32_t>(inLayer / NX) + 1;
            i = static_cast<int32_t>(inLayer % NX) + 1;
        }
        iPos.data()[e] = i;
        jPos.data()[e] = j;
        kPos.data()[e] = k;
    }
}

namespace {

std::string_view trimBlanks(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    const auto last = text.find_last_not_of(" \t");
    return text.substr(first, last - first + 1);
}

unsigned char upperAscii(unsigned char c) { return c >= 'a' && c <= 'z' ? c - 32 : c; }

bool isAscii(std::string_view text) {
    for (char c : text)
        if (static_cast<unsigned char>(c) >= 0x80) return false;
    return true;
}

}  // namespace

void KeyUtility::JoinKey(const std::string& parent, const std::string& child, bool /*flag*/,
                         std::string& result) const {
    std::string_view head = parent;
    std::string_view tail = child;
    if (head.empty() || tail.empty()) {
        result = std::string(head.empty() ? tail : head);
        return;
    }
    while (!head.empty() && head.back() == '\\') head.remove_suffix(1);
    while (!tail.empty() && tail.front() == '\\') tail.remove_prefix(1);
    result.assign(head);
    result += '\\';
    result += tail;
}

std::string KeyUtility::JoinKey(const std::string& parent, const std::string& child,
                                bool flag) const {
    std::string result;
    JoinKey(parent, child, flag, result);
    return result;
}

bool KeyUtility::TextEquals(const std::string& a, const std::string& b) const {
    const std::string_view x = trimBlanks(a);
    const std::string_view y = trimBlanks(b);
    // Plain ASCII (the usual case) compares without building upper-case copies.
    bool ascii = true;
    if (x.size() == y.size()) {
        for (size_t k = 0; k < x.size(); ++k) {
            const auto p = static_cast<unsigned char>(x[k]);
            const auto q = static_cast<unsigned char>(y[k]);
            if ((p | q) >= 0x80) {
                ascii = false;
                break;
            }
            if (p != q && upperAscii(p) != upperAscii(q)) return false;
        }
        if (ascii) return true;
    } else if (isAscii(x) && isAscii(y)) {
        return false;
    }
    return UCase(x) == UCase(y);
}

std::string KeyUtility::TextKey(std::string_view text) const { return UCase(trimBlanks(text)); }

void ConsoleDialog::ShowChoice(const std::string& message, const std::vector<std::string>& buttons,
                               int32_t /*style*/, const std::string& title, int32_t& choice) {
    choice = 0;
    if (!isatty(STDIN_FILENO)) return;
    std::cout << "\n== " << title << " ==\n" << message << "\n";
    for (size_t b = 0; b < buttons.size(); ++b) std::cout << "  " << b + 1 << ") " << buttons[b] << "\n";
    std::cout << "Choice (1-" << buttons.size() << ", anything else cancels): " << std::flush;
    std::string line;
    if (!std::getline(std::cin, line)) return;
    try {
        const int32_t picked = textToLong(line);
        if (picked >= 1 && static_cast<size_t>(picked) <= buttons.size()) choice = picked;
    } catch (const RuntimeError&) {
        choice = 0;
    }
}

void ScriptedDialog::ShowChoice(const std::string& message, const std::vector<std::string>& buttons,
                                int32_t style, const std::string& title, int32_t& choice) {
    questions_.push_back({message, buttons, style, title});
    choice = 0;
    if (!answers_.empty()) {
        choice = answers_.front();
        answers_.pop_front();
    }
}

}  // namespace tkstream63
