// Small helpers shared by every test program: literal lists as 1-based arrays and back, the texts
// the error trap reported, and the error number an action raises.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "common/bounded_array.hpp"
#include "common/errors.hpp"
#include "common/shared_objects.hpp"
#include "common/utilities.hpp"

namespace tkstream63::testing_support {

// The values in order as an Array(lower To lower + n - 1), lower 1 unless given.
template <class T>
Array<T> list(const std::vector<T>& values, int32_t lower = 1) {
    Array<T> array(lower, lower + static_cast<int32_t>(values.size()) - 1);
    for (size_t k = 0; k < values.size(); ++k) array(lower + static_cast<int32_t>(k)) = values[k];
    return array;
}
template <class T>
Array<T> list(std::initializer_list<T> values, int32_t lower = 1) {
    return list(std::vector<T>(values), lower);
}

// The first n elements of a one-dimensional array from its lower bound (all of them when n is left
// out), so that a whole output list is compared in one expectation.
template <class T>
std::vector<T> values(const Array<T>& array, int64_t n = -1) {
    if (n < 0) n = array.extent();
    std::vector<T> result;
    for (int64_t k = 0; k < n; ++k) result.push_back(array(array.lbound() + static_cast<int32_t>(k)));
    return result;
}

// Messages reported since the last clear, oldest first.
inline std::vector<std::string> reports() {
    std::vector<std::string> texts;
    for (const auto& reported : errorReporter().recentMessages()) texts.push_back(reported.message);
    return texts;
}
// The last reported message, or "" when nothing was reported.
inline std::string lastReport() {
    const auto texts = reports();
    return texts.empty() ? std::string() : texts.back();
}
// True when any reported message contains the text.
inline bool anyReportContains(const std::string& text) {
    const auto texts = reports();
    return std::any_of(texts.begin(), texts.end(),
                       [&](const std::string& t) { return t.find(text) != std::string::npos; });
}

// Runs the action and returns the number of the RuntimeError it raised, or 0 if it raised none.
template <class Action>
int32_t errorNumberOf(Action&& action) {
    try {
        action();
    } catch (const RuntimeError& e) {
        return e.number();
    }
    return 0;
}

// Fixture base: every test starts with an empty list of reported messages.
class ReportClearingTest : public ::testing::Test {
protected:
    void SetUp() override { errorReporter().clearRecentMessages(); }
};

// ... and with a duplicate-name dialog that answers from a script (cancel once it runs dry), so
// that no test ever waits on a console.
class ScriptedDialogTest : public ReportClearingTest {
protected:
    void SetUp() override {
        ReportClearingTest::SetUp();
        installDuplicateNameDialog(dialog);
    }
    std::shared_ptr<ScriptedDialog> dialog = std::make_shared<ScriptedDialog>();
};

}  // namespace tkstream63::testing_support
