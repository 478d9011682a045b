// Replays the fuzzing seeds and every input the fuzzer ever crashed on through the store import:
// each must load or fail cleanly, with any failure reported.

#include <cstdlib>
#include <filesystem>

#include "streamstore/persistence_test_support.hpp"

namespace tkstream63 {
namespace {

using namespace persistence_test;

std::filesystem::path fuzzDirectory() {
    if (const char* source = std::getenv("TKSTREAM63_SOURCE_DIR")) return std::filesystem::path(source) / "fuzz";
    return std::filesystem::path(__FILE__).parent_path().parent_path() / "fuzz";
}

std::vector<std::filesystem::path> inputsIn(const std::string& folder) {
    std::vector<std::filesystem::path> files;
    const auto directory = fuzzDirectory() / folder;
    if (!std::filesystem::is_directory(directory)) return files;
    for (const auto& entry : std::filesystem::directory_iterator(directory))
        if (entry.is_regular_file() && entry.path().filename().string()[0] != '.') files.push_back(entry.path());
    return files;
}

class FuzzRegressionsTest : public PersistenceTest {};

TEST_F(FuzzRegressionsTest, EverySeedAndCrashInputImportsWithoutHarm) {
    const auto seeds = inputsIn("corpus");
    ASSERT_FALSE(seeds.empty()) << "no seeds under " << fuzzDirectory();
    for (const auto& folder : {"corpus", "regressions"}) {
        for (const auto& input : inputsIn(folder)) {
            SCOPED_TRACE(input.string());
            errorReporter().clearRecentMessages();
            rvStreamStore store;
            bool qOK = false;
            if (!loadStore(store, input.string(), qOK)) continue;
            // A clean load reports nothing; anything else says what went wrong.
            if (!qOK) {
                EXPECT_FALSE(reports().empty());
            }
        }
    }
    // The seeds are whole stores.
    for (const auto& seed : seeds) {
        errorReporter().clearRecentMessages();
        rvStreamStore store;
        bool qOK = false;
        ASSERT_TRUE(loadStore(store, seed.string(), qOK));
        const auto texts = reports();
        EXPECT_TRUE(qOK) << seed << ": " << (texts.empty() ? std::string() : texts.front());
    }
}

}  // namespace
}  // namespace tkstream63
