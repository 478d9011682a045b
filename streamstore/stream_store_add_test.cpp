// Adding and everything else that touches the list: long random sequences of operations, checked
// step by step against the published procedures written as plain scans.
#include <algorithm>
#include <random>
#include <unordered_map>
#include <unordered_set>

#include "common/text.hpp"
#include "streamstore/persistence_test_support.hpp"
#include "streamstore/stream_store_test_support.hpp"

namespace tkstream63::store_test {
namespace {

using Strings = std::vector<std::string>;

// ---- the published procedures as scans: the reference for the random sequences ----

// Answers from a fixed cycle and keeps every message it was shown; the buttons, style and title
// never change.
struct CycleDialog : DuplicateNameDialog {
    explicit CycleDialog(std::vector<int32_t> cycle) : answers(std::move(cycle)) {}
    void ShowChoice(const std::string& message, const Strings& buttons, int32_t style, const std::string& title,
                    int32_t& choice) override {
        EXPECT_EQ(buttons, (Strings{"&Overwrite all", "&Rename all", "&Cancel all", "&Overwrite", "&Rename", "&Cancel"}));
        EXPECT_EQ(std::make_pair(style, title), std::make_pair(32, std::string("Duplicate Name")));
        messages.push_back(message);
        choice = answers[(messages.size() - 1) % answers.size()];
    }
    std::vector<int32_t> answers;
    Strings messages;
};

using DataSet = std::shared_ptr<rvStreamSet>;

struct ScanStore {
    explicit ScanStore(std::vector<int32_t> answers) : dialog(std::move(answers)) {}
    std::vector<DataSet> slots = {std::make_shared<rvStreamSet>()};  // the last is the spare
    bool overwrite = false, rename = false, cancel = false, checkNames = true;
    bool overwritten = false, failed = false;
    int32_t added = 0;
    std::string folderKey;
    CycleDialog dialog;

    int32_t n() const { return static_cast<int32_t>(slots.size()) - 1; }
    static bool same(const std::string& a, const std::string& b) { return keyUtility().TextEquals(a, b); }
    void empty() { slots.assign(1, nullptr); }

    std::pair<int32_t, bool> check(rvStreamSet& d) const {
        if (!checkNames) return {-1, false};
        for (int32_t i = 1; i <= n(); ++i) {
            rvStreamSet& s = *slots[i - 1];
            if (same(s.DateStamp(), d.DateStamp()) && same(s.Origin(), d.Origin()) &&
                s.TVGroupName() == d.TVGroupName())
                return {i, true};
        }
        return {-1, true};
    }
    std::pair<int32_t, bool> check2(rvStreamSet& d) const {
        int32_t found = -1;
        for (int32_t i = 1; i <= n() && found < 0; ++i)
            if (same(slots[i - 1]->GroupName(), d.GroupName()) && same(slots[i - 1]->Origin(), d.Origin())) found = i;
        if (found < 0) return {-1, true};
        const std::string origin = d.Origin(), key = d.UniqueKey(), root = d.TVDisplayRoot();
        bool q = false;
        for (int32_t k = 1;; ++k) {
            const std::string suffix = std::to_string(k);
            d.Origin(origin + suffix);
            d.UniqueKey(key + suffix);
            d.DataRootPath(keyUtility().JoinKey(keyUtility().JoinKey(folderKey, d.UniqueKey()), d.GroupName()));
            d.TVDisplayRoot(root + suffix);
            const auto [j, checked] = check(d);
            q = checked;
            if (!(j >= 0 && q && k + 1 < 100001)) break;
        }
        return {found, q};
    }
    void append(const DataSet& d, bool fresh) {
        slots.back() = d;
        slots.push_back(fresh ? std::make_shared<rvStreamSet>() : nullptr);
        added = n();
        overwritten = false;
    }
    void put(int32_t i, const DataSet& d) {
        slots[i - 1] = d;
        added = i;
        overwritten = true;
    }
    void add(const DataSet& d) {
        const int32_t i = check(*d).first;
        if (i >= 1 && i <= n()) {
            int32_t choice = 0;
            if (!overwrite && !rename && !cancel) {
                dialog.messages.push_back(d->Origin() + " [" + d->GroupName() + "]\r\n\r\n Name currently in use.");
                choice = dialog.answers[(dialog.messages.size() - 1) % dialog.answers.size()];
            }
            if (overwrite || choice == 1 || choice == 4) {
                overwrite = overwrite || choice == 1;
                return put(i, d);
            }
            if (!rename && !(choice == 2 || choice == 5)) {
                cancel = cancel || choice == 3;
                return;
            }
            rename = rename || choice == 2;
            check2(*d);
        }
        append(d, true);
    }
    void addAuto(const DataSet& d) {
        check2(*d);
        append(d, false);
    }
    bool setItem(int32_t i, const DataSet& d) {
        const bool valid = i >= 1 && i <= n() + 1;
        if (valid) put(i, d);
        return valid;
    }
    void deleteItem(int32_t i) {
        if (i < 1 || i > n() + 1) return;
        if (n() < 2) return empty();
        failed = i == n() + 1;  // n survivors do not fit n - 1 places
        if (failed) return;
        std::vector<DataSet> survivors(slots.begin(), slots.end() - 1);
        survivors.erase(survivors.begin() + (i - 1));
        empty();
        for (const auto& s : survivors) add(s);
    }
    void deleteItems(const std::vector<int32_t>& listed) {
        if (n() < 2) return empty();
        std::vector<DataSet> kept;
        for (int32_t i = 2; i <= n(); ++i)
            if (std::find(listed.begin(), listed.end(), i) == listed.end()) kept.push_back(slots[i - 1]);
        if (kept.empty()) return empty();
        kept.push_back(nullptr);
        slots = kept;
    }
};

class StoreAgainstScan : public StoreTest, public ::testing::WithParamInterface<uint32_t> {};

TEST_P(StoreAgainstScan, EveryAnswerAndTheListStayTheSame) {
    std::mt19937 rng(GetParam());
    const auto pick = [&](const auto& values) { return values[rng() % values.size()]; };
    const auto chance = [&](int percent) { return static_cast<int>(rng() % 100) < percent; };
    const Strings origins = {"run", "Run ", " RUN", "run1", "Run2", "x", "\xc3\xa4rger", "\xc3\x84RGER "};
    const Strings groups = {"g", " G", "h"}, dates = {"d1", "D1 ", "d2"}, trees = {"t", "T"};
    std::vector<int32_t> answers(97);
    for (auto& a : answers) a = static_cast<int32_t>(rng() % 8);
    auto storeDialog = std::make_shared<CycleDialog>(answers);
    installDuplicateNameDialog(storeDialog);
    ScanStore scan(answers);
    store.RootKey("Root");
    store.MainKey("Main");
    scan.folderKey = store.FolderKey();

    // Each dataset comes in twins, one for the store and one for the scan.
    std::vector<std::pair<DataSet, DataSet>> twins;
    std::unordered_map<const rvStreamSet*, int32_t> twinOf;
    const auto makeTwins = [&] {
        const std::string o = pick(origins), g = pick(groups), d = pick(dates), t = pick(trees);
        for (auto* side : {&twins.emplace_back().first, &twins.back().second}) {
            *side = makeDataSet(o, g, d, t);
            (*side)->UniqueKey("K");
            twinOf[side->get()] = static_cast<int32_t>(twins.size()) - 1;
        }
        return twins.back();
    };
    const auto twinIn = [&](const DataSet& d) { return twins[twinOf.at(d.get())]; };
    const auto names = [](rvStreamSet& d) {
        return Strings{d.Origin(), d.UCaseOrigin(), d.GroupName(), d.DateStamp(), d.TVGroupName(), d.UniqueKey(),
                       d.DataRootPath(), d.TVDisplayRoot()};
    };
    const auto id = [&](const DataSet& d) { return !d ? -2 : twinOf.contains(d.get()) ? twinOf.at(d.get()) : -1; };

    // Attribute sources that reach a stored dataset around the properties.
    testing::ScratchDirectory scratch;
    std::vector<std::string> files;
    std::vector<DataSet> templates;
    for (int32_t k = 0; k < 3; ++k) {
        templates.push_back(makeTwins().first);
        files.push_back(scratch.file("set" + std::to_string(k) + ".rec"));
        ASSERT_TRUE(persistence_test::saveStore(*templates.back(), files.back()));
    }
    const auto change = [&](rvStreamSet& d, int32_t path, std::string value) {
        const int32_t codes[] = {1, 4, 18, 19};
        switch (path) {
            case 0: return d.Origin(value);
            case 1: return d.GroupName(value);
            case 2: return d.TVGroupName(value);
            case 3: return d.DateStamp(value);
            case 4: return d.SetDataSetAttribute(codes[value.size() % 4], value);
            case 5: {
                Array<Variant> vector(1, 55);
                vector(1) = value;
                vector(4) = dates[value.size() % dates.size()];
                vector(18) = trees[value.size() % trees.size()];
                vector(19) = groups[value.size() % groups.size()];
                d.SetClassVarsFromAttributes(vector);
                return;
            }
            case 6: {
                bool qOK = false;
                persistence_test::loadStore(d, files[value.size() % files.size()], qOK);
                return;
            }
            default: d = *templates[value.size() % templates.size()];
        }
    };

    const auto setFlags = [&](bool overwrite, bool rename, bool cancel, bool checkNames) {
        store.AutomaticOverWrite(scan.overwrite = overwrite);
        store.AutomaticRename(scan.rename = rename);
        store.AutomaticCancel(scan.cancel = cancel);
        store.CheckDataSetNames(scan.checkNames = checkNames);
    };

    int32_t duplicateSlot = 0;  // a slot holding the same object as an earlier slot
    for (int step = 0; step < 1200; ++step) {
        SCOPED_TRACE("step " + std::to_string(step));
        errorReporter().clearRecentMessages();
        scan.failed = false;
        const int32_t n = scan.n();
        int op = static_cast<int>(rng() % 100);
        const int32_t someSlot = static_cast<int32_t>(rng() % (n + 3));
        std::vector<int32_t> listed(rng() % 4);
        for (auto& i : listed) i = static_cast<int32_t>(rng() % (n + 2));
        // A stored dataset again. Renaming it clashes with itself for all 100000 attempts, so
        // that is done once, in the first sequence; otherwise it is appended again or
        // overwrites, and every second copy is deleted at the next step.
        const bool renameItself = GetParam() == 1 && step == 40 && n > 0 && duplicateSlot == 0;
        const bool again = renameItself || (n > 0 && duplicateSlot == 0 && chance(4));
        const auto both = again ? twinIn(scan.slots[rng() % n]) : makeTwins();
        if (again) {
            setFlags(op % 2 == 0 && !renameItself, renameItself, false, op % 2 == 0 || renameItself);
            op = op % 3 == 0 && !renameItself ? 40 : 0;
        }
        if (duplicateSlot > 0) {
            op = 52;
            listed = {duplicateSlot};
        }
        if (op < 35) {
            bool qOK = chance(50), before = qOK;
            store.AddDataSet(both.first, qOK);
            EXPECT_EQ(qOK, before);
            scan.add(both.second);
        } else if (op < 40) {
            store.AddItemAuto(both.first);
            scan.addAuto(both.second);
        } else if (op < 46) {
            EXPECT_EQ(store.SetItem(someSlot, both.first), scan.setItem(someSlot, both.second));
        } else if (op < 52 || n > 40) {
            store.DeleteItem(someSlot);
            scan.deleteItem(someSlot);
        } else if (op < 54) {
            store.DeleteItems(testing_support::list(listed));
            scan.deleteItems(listed);
        } else if (op < 72) {
            const int32_t i = static_cast<int32_t>(rng() % (n + 1)) + 1;  // the spare slot too
            const DataSet stored = item(i);
            const int32_t path = static_cast<int32_t>(rng() % 8);
            const std::string value = pick(path == 1 ? groups : path == 2 ? trees : path == 3 ? dates : origins);
            if (stored) {
                change(*stored, path, value);
                change(id(stored) >= 0 ? *twinIn(stored).second : *scan.slots[i - 1], path, value);
            }
        } else if (op < 78) {
            const bool overwrite = chance(20), rename = chance(30), cancel = chance(20);
            setFlags(overwrite, rename, cancel, chance(85));
        } else if (op < 99) {
            int32_t found = 0;
            bool qOK = false;
            if (op % 2 == 0) {
                store.CheckPreviouslyLoaded(both.first, found, qOK);
                EXPECT_EQ(std::make_pair(found, qOK), scan.check(*both.second));
            } else {
                store.CheckPreviouslyLoaded2(both.first, found, qOK);
                EXPECT_EQ(std::make_pair(found, qOK), scan.check2(*both.second));
            }
        } else {
            store.ReInitialise();
            const int32_t added = scan.added;  // kept by ReInitialise
            scan = ScanStore(answers);
            scan.added = added;
            scan.folderKey = store.FolderKey();
            storeDialog->messages.clear();
        }
        EXPECT_EQ(!reports().empty(), scan.failed) << (reports().empty() ? "" : reports().back());
        ASSERT_EQ(store.NumberOfStreamSets(), scan.n());
        // Fetching the spare slot counts as reaching it, so it is looked at now and then only.
        for (int32_t i = 1; i <= scan.n() + (chance(10) ? 1 : 0); ++i) {
            const DataSet mine = item(i), theirs = scan.slots[i - 1];
            ASSERT_EQ(id(mine), id(theirs)) << "slot " << i;
            if (id(mine) == -1) {
                ASSERT_EQ(names(*mine), names(*theirs)) << "the spare";
            }
        }
        ASSERT_EQ(storeDialog->messages, scan.dialog.messages);
        EXPECT_EQ(store.AddedDataSetPos(), scan.added);
        EXPECT_EQ(store.OverWrittenDataSet(), scan.overwritten);
        EXPECT_EQ(std::vector<bool>({store.AutomaticOverWrite(), store.AutomaticRename(), store.AutomaticCancel()}),
                  std::vector<bool>({scan.overwrite, scan.rename, scan.cancel}));
        ASSERT_EQ(names(*both.first), names(*both.second));
        std::unordered_set<const rvStreamSet*> seen;
        duplicateSlot = 0;
        for (int32_t i = 1; i <= scan.n() && duplicateSlot == 0; ++i)
            if (!seen.insert(item(i).get()).second) duplicateSlot = i;
    }
    for (const auto& [mine, theirs] : twins) EXPECT_EQ(names(*mine), names(*theirs));
}

INSTANTIATE_TEST_SUITE_P(Seeds, StoreAgainstScan, ::testing::Values(1u, 2u, 3u, 4u, 5u));

}  // namespace
}  // namespace tkstream63::store_test
