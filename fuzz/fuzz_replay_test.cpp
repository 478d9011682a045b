// Replays every committed corpus input and every input a fuzzer ever failed on through the same
// target functions the fuzzers run: each must end without a crash, a sanitizer report, a load
// over its memory budget or (for the write path) a difference after a save and a load.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/fuzz_targets.hpp"

namespace tkstream63::fuzz {
namespace {

std::filesystem::path fuzzFolder() {
    if (const char* source = std::getenv("TKSTREAM63_SOURCE_DIR")) return std::filesystem::path(source) / "fuzz";
    return std::filesystem::path(__FILE__).parent_path();
}

TEST(FuzzReplayTest, EveryCorpusAndRegressionInputRunsCleanly) {
    for (const Target& target : targets()) {
        size_t seeds = 0;
        for (const char* kind : {"corpus", "regressions"}) {
            const auto folder = fuzzFolder() / kind / target.name;
            if (!std::filesystem::is_directory(folder)) continue;
            for (const auto& entry : std::filesystem::directory_iterator(folder)) {
                if (!entry.is_regular_file() || entry.path().filename().string()[0] == '.') continue;
                SCOPED_TRACE(entry.path().string());
                std::ifstream in(entry.path(), std::ios::binary);
                const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(in), {}};
                target.run(bytes.data(), bytes.size());
                seeds += std::string(kind) == "corpus";
            }
        }
        EXPECT_GT(seeds, 0u) << "no corpus for " << target.name << " under " << fuzzFolder();
    }
}

}  // namespace
}  // namespace tkstream63::fuzz
