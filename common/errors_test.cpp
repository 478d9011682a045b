#include "common/errors.hpp"

#include <cstdio>
#include <fstream>
#include <functional>
#include <stdexcept>

#include "common/test_support.hpp"

namespace tkstream63 {
namespace {

using testing_support::lastReport;
using testing_support::values;

class ErrorTrap : public testing_support::ReportClearingTest {};

// Raised errors and foreign failures alike are reported with the classic number and text, code -1.
TEST_F(ErrorTrap, ReportsTheExactTextWithCodeMinusOneAndSwallowsTheFailure) {
    bool reachedEnd = false;
    const std::pair<std::function<void()>, std::string> cases[] = {
        {[&] {
             raiseError(kErrSubscript);
             reachedEnd = true;
         },
         "Subscript out of range (No.9)"},
        {[] { throw std::bad_alloc(); }, "Out of memory (No.7)"},
        {[] { throw std::runtime_error("disk gone"); }, "disk gone (No.5)"},
        {[] { raiseError(kErrObjectNotSet); }, "Object variable or With block variable not set (No.91)"},
        {[] { checkedLong(int64_t{1} << 31); }, "Overflow (No.6)"},
    };
    for (const auto& [action, text] : cases) {
        EXPECT_FALSE(runTrapped("rvStreamSet", "setGridDimension", action));
        EXPECT_EQ(lastReport(), "Error:" + text + " In [rvStreamSet (Code) (setGridDimension)] ");
        EXPECT_EQ(errorReporter().recentMessages().back().code, -1);
    }
    EXPECT_FALSE(reachedEnd);
    EXPECT_TRUE(runTrapped("rvStreamSet", "x", [] {}));
    EXPECT_EQ(errorReporter().recentMessages().size(), 5u);
}

TEST_F(ErrorTrap, ReporterAppendsToItsLogFileOnlyWhenLoggingIsOn) {
    const std::string path = ::testing::TempDir() + "tkstream63_log_test.txt";
    std::remove(path.c_str());
    ErrorReporter reporter;
    reporter.setLogFileName(path);
    reporter.report("not logged", -1);
    reporter.setLogToFile(true);
    reporter.report("first", -1);
    reporter.report("second", 0);
    std::ifstream log(path);
    std::string line1, line2, line3;
    std::getline(log, line1);
    std::getline(log, line2);
    EXPECT_EQ(line1, "-1\tfirst");
    EXPECT_EQ(line2, "0\tsecond");
    EXPECT_FALSE(std::getline(log, line3));
    EXPECT_EQ(reporter.recentMessages().size(), 3u);
    std::remove(path.c_str());
}

TEST(SharedObjects, CreatedOnFirstUseReleasedTogetherAndReplaceable) {
    releaseSharedUtilities();
    EXPECT_FALSE(anySharedUtilityExists());
    GridIndexer* first = &gridIndexer();
    keyUtility();
    EXPECT_TRUE(anySharedUtilityExists());
    EXPECT_EQ(first, &gridIndexer());
    releaseSharedUtilities();
    EXPECT_FALSE(anySharedUtilityExists());

    auto mine = std::make_shared<ErrorReporter>();
    installErrorReporter(mine);
    EXPECT_EQ(&errorReporter(), mine.get());
    releaseErrorReporter();
    EXPECT_EQ(existingErrorReporter(), nullptr);
    EXPECT_NE(&errorReporter(), mine.get());  // a fresh default on next use
}

TEST(SharedObjects, GridIndexerKeysAndDialogs) {
    // I=2, J=2, K=3 is cell 2 + 3 * 1 + 12 * 2 in a 3 x 4 x 5 grid; cell 61 lies outside it.
    Array<int32_t> i(1, 4), j(1, 4), k(1, 4);
    gridIndexer().CellsToIJK(testing_support::list({1, 29, 60, 61}), 3, 4, 5, i, j, k);
    EXPECT_EQ(values(i), (std::vector<int32_t>{1, 2, 3, 0}));
    EXPECT_EQ(values(j), (std::vector<int32_t>{1, 2, 4, 0}));
    EXPECT_EQ(values(k), (std::vector<int32_t>{1, 3, 5, 0}));

    EXPECT_EQ(keyUtility().JoinKey("ROOT", "MAIN"), "ROOT\\MAIN");
    EXPECT_EQ(keyUtility().JoinKey("ROOT\\", "\\MAIN"), "ROOT\\MAIN");
    EXPECT_EQ(keyUtility().JoinKey("", "MAIN"), "MAIN");
    EXPECT_EQ(keyUtility().JoinKey("ROOT", ""), "ROOT");
    EXPECT_TRUE(keyUtility().TextEquals(" base ", "BASE"));
    EXPECT_TRUE(keyUtility().TextEquals("\xC3\xA9tape", " \xC3\x89TAPE"));  // é / É
    for (const char* other : {"BASE1", "BASF", "\xC3\xA9"})
        EXPECT_FALSE(keyUtility().TextEquals(other, other[0] == 'B' ? "BASE" : "e")) << other;

    auto scripted = std::make_shared<ScriptedDialog>(std::deque<int32_t>{3});
    installDuplicateNameDialog(scripted);
    int32_t choice = -5;
    duplicateNameDialog().ShowChoice("m", {"a", "b", "c"}, 32, "t", choice);
    EXPECT_EQ(choice, 3);
    duplicateNameDialog().ShowChoice("m", {"a"}, 32, "t", choice);
    EXPECT_EQ(choice, 0);  // no more answers: cancel
    EXPECT_EQ(scripted->questions().size(), 2u);
    releaseSharedUtilities();
}

}  // namespace
}  // namespace tkstream63
