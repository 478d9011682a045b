// The allocation factors of a five-spot, shared by the WAF set's tests and the dataset's WAF tests.
#pragma once

#include <memory>
#include <string>

#include "common/test_support.hpp"
#include "wafset/waf_set.hpp"

namespace tkstream63::testing_support {

// Wells: 1 I1 (injector 1), 2..5 P1..P4 (producers 1..4). WAF rows, 9 columns:
//   1-4   I1's partners P1..P4: column 2 = 100 k, column 3 = 10 k
//   5     I1's other rate (2: 5, 3: 0.5);  6 I1's total (2: 1005, 3: 100.5, 5: 900, 6-9: 0.6-0.9)
//   7-10  producer k's partner I1: column 2 = 100 k
//   11-14 producer k's total: column 2 = 100 k, 5 = 10 k, 6-9 = k + 0.1 .. k + 0.4
inline std::shared_ptr<rvWAFSet> fiveSpotWafSet() {
    auto set = std::make_shared<rvWAFSet>();
    bool qOK = false;
    set->setWellNames(list<std::string>({"I1", "P1", "P2", "P3", "P4"}), 5, qOK);
    set->setWellTypes(list<int32_t>({2, 1, 1, 1, 1}), 5, qOK);
    set->setWellIndices(list<int32_t>({1, 1, 2, 3, 4}), 5, qOK);
    set->setInjectorsData(list<int32_t>({1}), list<int32_t>({4}), list<int32_t>({5}),
                          list<int32_t>({6}), list<float>({1005}), 1, qOK);
    set->setProducersData(list<int32_t>({7, 8, 9, 10}), list<int32_t>({1, 1, 1, 1}),
                          list<int32_t>({0, 0, 0, 0}), list<int32_t>({11, 12, 13, 14}),
                          list<float>({100, 200, 300, 400}), 4, qOK);
    Array<float> table(1, 9, 1, 14);
    for (int32_t k = 1; k <= 4; ++k) {
        table(1, k) = static_cast<float>(k + 1);
        table(2, k) = 100.0f * k;
        table(3, k) = 10.0f * k;
        table(1, 6 + k) = 1;
        table(2, 6 + k) = 100.0f * k;
        table(2, 10 + k) = 100.0f * k;
        table(5, 10 + k) = 10.0f * k;
        for (int32_t e = 6; e <= 9; ++e) table(e, 10 + k) = k + 0.1f * (e - 5);
    }
    table(2, 5) = 5;
    table(3, 5) = 0.5f;
    table(2, 6) = 1005;
    table(3, 6) = 100.5f;
    table(5, 6) = 900;
    for (int32_t e = 6; e <= 9; ++e) table(e, 6) = 0.1f * e;
    set->setWAFData(table, 9, 14, qOK);
    EXPECT_TRUE(qOK);
    return set;
}

}  // namespace tkstream63::testing_support
