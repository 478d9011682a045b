// The fuzz targets as plain functions, so the fuzzers and the test that replays the committed
// corpora and crash inputs run exactly the same code.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace tkstream63 {
class rvStreamStore;
class rvWAFSet;
}

namespace tkstream63::fuzz {

// How a target's mutated inputs are made whole again before they run.
enum class Seal { Binary, Formatted, None };

struct Target {
    const char* name;  // also the corpus folder: fuzz/corpus/<name>, fuzz/regressions/<name>
    void (*run)(const uint8_t* data, size_t size);
    Seal seal;
};

// Store import of the binary form; dataset import; WAF-set import; store import of the
// formatted form; the write path (a store built from the input, saved, loaded, compared).
std::span<const Target> targets();

// The write path's interpreter: fills store with the datasets, wells, streamlines and WAF sets
// that the bytes describe (any bytes describe some store). Also used to make the seeds.
void buildStore(const uint8_t* data, size_t size, rvStreamStore& store);
// A WAF set described by the bytes the same way.
std::shared_ptr<rvWAFSet> buildWafSet(const uint8_t* data, size_t size);

}  // namespace tkstream63::fuzz
