// Helpers shared by the store's tests: datasets with the attributes the sameness tests read, a
// scripted duplicate-name dialog, and access to the reported error texts.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "common/shared_objects.hpp"
#include "common/test_support.hpp"
#include "streamstore/stream_store.hpp"

namespace tkstream63::store_test {

inline std::shared_ptr<rvStreamSet> makeDataSet(const std::string& origin,
                                                const std::string& groupName = "FIELD",
                                                const std::string& dateStamp = "01/01/2024",
                                                const std::string& tvGroupName = "Runs") {
    auto dataSet = std::make_shared<rvStreamSet>();
    dataSet->Origin(origin);
    dataSet->GroupName(groupName);
    dataSet->DateStamp(dateStamp);
    dataSet->TVGroupName(tvGroupName);
    return dataSet;
}

using testing_support::anyReportContains;
using testing_support::reports;

inline Array<int32_t> longArray(const std::vector<int32_t>& values, int32_t lower = 1) {
    return testing_support::list(values, lower);
}
inline Array<std::string> textArray(const std::vector<std::string>& values) {
    return testing_support::list(values);
}

class StoreTest : public testing_support::ScriptedDialogTest {
protected:
    std::shared_ptr<rvStreamSet> item(int32_t iDataSet) {
        std::shared_ptr<rvStreamSet> dataSet;
        store.GetItem(iDataSet, dataSet);
        return dataSet;
    }
    // Origins of datasets 1 .. NumberOfStreamSets, in order.
    std::vector<std::string> origins() {
        std::vector<std::string> result;
        for (int32_t i = 1; i <= store.NumberOfStreamSets(); ++i)
            result.push_back(item(i)->Origin());
        return result;
    }
    // Adds one dataset per origin through AddItem (as long as the origins differ, nothing clashes).
    void fill(const std::vector<std::string>& names) {
        for (const auto& name : names) store.AddItem(makeDataSet(name));
    }

    rvStreamStore store;
};

}  // namespace tkstream63::store_test
