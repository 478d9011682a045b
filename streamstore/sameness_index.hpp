// Lookup tables behind the store's two sameness tests, so that neither test scans the list.
//
// Each stored slot is filed under two hashes of its dataset's identifying texts, each taken over
// the texts in the form its test compares them (TextKey for the TextEquals comparisons, the tree
// group as it is): "same" over (DateStamp, Origin, TVGroupName) and "clash" over (GroupName,
// Origin). A hash leads to the ascending list of the slots filed under it.
//
// Why an answer is always the one a scan of slots 1 .. n would give:
// - In step: the index watches every dataset it files (rvStreamSet::IdentityWatcher), and every
//   member that can change one of the four texts tells it so before returning; the slot is then
//   marked pending, and each lookup refiles the pending slots first. The store reports each slot
//   it writes before writing it. So when a lookup runs, every slot is filed under the hash of
//   its dataset's current texts, and every slot whose dataset passes the test lies in the list
//   of the probe's hash.
// - Verified: the lookup walks that list upwards and checks each slot with the scan's own test
//   on the dataset's current texts, returning the first that passes. No lower slot can pass
//   (it would be in the list, below), so this is the scan's answer; a hash collision costs one
//   failed check and nothing else.
// - Dropped, never half-kept: whenever the index cannot keep up (memory ran out while filing
//   or while noting a change), it forgets everything and the next lookup files the whole list
//   afresh.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "streamset/stream_set.hpp"

namespace tkstream63 {

class SamenessIndex final : public rvStreamSet::IdentityWatcher {
public:
    // The store's list: element k - 1 is slot k, the last element is the spare slot.
    using Slots = std::vector<std::shared_ptr<rvStreamSet>>;
    enum Test { kSame, kClash };

    explicit SamenessIndex(const Slots& slots) : slots_(slots) {}
    ~SamenessIndex() { clear(); }
    SamenessIndex(const SamenessIndex&) = delete;
    SamenessIndex& operator=(const SamenessIndex&) = delete;

    static uint64_t sameHash(const std::string& dateStamp, const std::string& origin,
                             const std::string& tvGroupName);
    static uint64_t clashHash(const std::string& groupName, const std::string& origin);

    // Slot `slot` (1 .. n, or n + 1 to append) is about to hold dataSet. Called before the store
    // writes the slot, while the dataset it replaces is still held.
    void put(int32_t slot, rvStreamSet& dataSet) noexcept;
    // Forgets everything; the next lookup files the list afresh. Called before the store empties
    // or renumbers its list, while the datasets are still held.
    void clear() noexcept;

    // The lowest slot filed under hash for which passes(slot) holds, or -1. Raises the failure
    // (Out of memory, as a rule) when the index cannot be brought in step; it is then empty and
    // the next lookup tries again.
    template <class Passes>
    int32_t lowest(Test test, uint64_t hash, Passes&& passes) {
        bringInStep();
        const auto& lists = test == kSame ? same_ : clash_;
        const auto found = lists.find(hash);
        if (found == lists.end()) return -1;
        for (const int32_t slot : found->second) {
            if (passes(slot)) return slot;
        }
        return -1;
    }

    void identityChanged(int32_t slot) noexcept override;

private:
    struct Entry {
        rvStreamSet* dataSet = nullptr;
        uint64_t same = 0;
        uint64_t clash = 0;
        bool pending = false;
    };
    using Lists = std::unordered_map<uint64_t, std::vector<int32_t>>;

    void bringInStep();
    void fileAll();
    void refile(int32_t slot);
    static void insertSlot(Lists& lists, uint64_t hash, int32_t slot);
    static void eraseSlot(Lists& lists, uint64_t hash, int32_t slot) noexcept;

    const Slots& slots_;
    bool inStep_ = false;     // false: nothing is filed or watched
    bool lostTrack_ = false;  // a change could not be noted
    std::vector<Entry> entries_;  // entry k - 1 for slot k
    std::vector<int32_t> pending_;
    Lists same_;
    Lists clash_;
};

}  // namespace tkstream63
