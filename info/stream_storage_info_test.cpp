#include "info/stream_storage_info.hpp"

#include <gtest/gtest.h>

#include <regex>

#include "common/shared_objects.hpp"

namespace tkstream63 {
namespace {

// Keeps the reporter alive across CloseDown so the test can read what was reported.
std::shared_ptr<ErrorReporter> installFreshReporter() {
    auto reporter = std::make_shared<ErrorReporter>();
    installErrorReporter(reporter);
    return reporter;
}

TEST(StorageInfo, VersionTextLogFileStartupLineAndUnknownDate) {
    auto reporter = installFreshReporter();
    rvStreamStorageInfo info;
    std::string logFile;
    const std::string version = info.DLLVersion(logFile, "", false);
    EXPECT_TRUE(std::regex_match(version, std::regex(R"(tkstream63 v\d+\.\d+\.\d+ \d{4}-\d\d-\d\d \d\d:\d\d:\d\d)")))
        << version;
    EXPECT_EQ(logFile, "tkstream63.txt");
    EXPECT_TRUE(reporter->recentMessages().empty());  // no start-up message, nothing logged
    EXPECT_FALSE(reporter->logToFile());
    EXPECT_EQ(reporter->logFileName(), "tkstream63.txt");
    EXPECT_EQ(reporter->versionText(), version);

    logFile = "viewer.log";
    const std::string again = info.DLLVersion(logFile, "Viewer", false);
    EXPECT_EQ(logFile, "viewer.log");
    ASSERT_EQ(reporter->recentMessages().size(), 1u);
    EXPECT_EQ(reporter->recentMessages()[0].message, again + " Viewer: OK");
    EXPECT_EQ(reporter->recentMessages()[0].code, -1);

    info.overrideLibraryFilePath("/nonexistent/tkstream63.so");
    EXPECT_EQ(info.DLLVersion(logFile, "", false),
              rvStreamStorageInfo::productVersion() + " (/nonexistent/tkstream63.so:Unknown Date)");
    releaseErrorReporter();
}

TEST(StorageInfo, WithoutAReporterTheFailureIsTrappedAndTheTextStillReturned) {
    releaseErrorReporter();
    rvStreamStorageInfo info;
    std::string logFile;
    const std::string version = info.DLLVersion(logFile, "Start", false);
    EXPECT_FALSE(version.empty());
    const auto messages = errorReporter().recentMessages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].message,
              "Error:Object variable or With block variable not set (No.91) In [rvStreamStorageInfo (Code) (DLLVersion)] ");
    releaseErrorReporter();
}

TEST(StorageInfo, CloseDownReportsOnceAndReleasesEverything) {
    auto reporter = installFreshReporter();
    gridIndexer();
    keyUtility();
    arrayHelper();
    rvStreamStorageInfo().CloseDown();
    ASSERT_EQ(reporter->recentMessages().size(), 1u);
    EXPECT_EQ(reporter->recentMessages()[0].message, rvStreamStorageInfo::productVersion() + " Close Down");
    EXPECT_EQ(reporter->recentMessages()[0].code, 0);
    EXPECT_FALSE(anySharedUtilityExists());
    EXPECT_EQ(existingErrorReporter(), nullptr);
    // Later calls start afresh.
    EXPECT_NE(&errorReporter(), reporter.get());
    releaseErrorReporter();
}

}  // namespace
}  // namespace tkstream63
