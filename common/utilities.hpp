// The utility objects shared by the classes: grid indexer, key utility, duplicate-name dialog and
// the array helper that sizes output arrays.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "common/bounded_array.hpp"

namespace tkstream63 {

// Converts cell indexes to I, J, K. Cells are numbered from 1 with I varying fastest, then J,
// then K: cell = I + (J - 1) * NX + (K - 1) * NX * NY. The outputs must already be dimensioned
// like cells; a cell outside 1 .. NX*NY*NZ (or a non-positive dimension) gives I = J = K = 0.
class GridIndexer {
public:
    void CellsToIJK(const Array<int32_t>& cells, int32_t NX, int32_t NY, int32_t NZ,
                    Array<int32_t>& iPos, Array<int32_t>& jPos, Array<int32_t>& kPos) const;
};

// Keys and texts compared the way the store needs them.
class KeyUtility {
public:
    // Joins parent and child with a backslash: "parent\child". An empty part is left out (no
    // doubled or dangling separator); a trailing backslash on parent and a leading one on child
    // are not doubled. The flag is accepted for the callers' sake (they always pass True) and
    // changes nothing.
    void JoinKey(const std::string& parent, const std::string& child, bool flag,
                 std::string& result) const;
    std::string JoinKey(const std::string& parent, const std::string& child, bool flag = true) const;
    // Texts are equal when they match ignoring case and surrounding blanks.
    bool TextEquals(const std::string& a, const std::string& b) const;
    // The form TextEquals compares (upper-cased, surrounding blanks removed): two texts have the
    // same TextKey exactly when TextEquals calls them equal, so texts can be indexed by it.
    std::string TextKey(std::string_view text) const;
};

// Modal choice between buttons. choice is the 1-based button pressed, 0 when closed without one.
class DuplicateNameDialog {
public:
    virtual ~DuplicateNameDialog() = default;
    virtual void ShowChoice(const std::string& message, const std::vector<std::string>& buttons,
                            int32_t style, const std::string& title, int32_t& choice) = 0;
};

// Asks on the terminal when standard input is one; otherwise answers 0 (cancel) at once.
class ConsoleDialog : public DuplicateNameDialog {
public:
    void ShowChoice(const std::string& message, const std::vector<std::string>& buttons,
                    int32_t style, const std::string& title, int32_t& choice) override;
};

// Answers from a queue given in advance (0 once the queue is empty) and records each question.
class ScriptedDialog : public DuplicateNameDialog {
public:
    struct Question {
        std::string message;
        std::vector<std::string> buttons;
        int32_t style;
        std::string title;
    };
    explicit ScriptedDialog(std::deque<int32_t> answers = {}) : answers_(std::move(answers)) {}
    void ShowChoice(const std::string& message, const std::vector<std::string>& buttons,
                    int32_t style, const std::string& title, int32_t& choice) override;
    void addAnswer(int32_t answer) { answers_.push_back(answer); }
    const std::vector<Question>& questions() const { return questions_; }

private:
    std::deque<int32_t> answers_;
    std::vector<Question> questions_;
};

// Sizes output arrays: a plain redimension to 1..n with cleared contents.
class ArrayHelper {
public:
    template <class T>
    void redimension(Array<T>& array, int32_t n) const {
        array.redim(1, n);
    }
};

}  // namespace tkstream63
