// Test helper for the Python module: the example viewer's store, saved from C++ or checked
// against a file the Python module wrote.
//
//   example_store_tool write <path> [formatted]   saves the store
//   example_store_tool check <path>               loads <path>; exit 0 when it holds the same
//                                                 store, else names the first difference
#include <deque>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

#include "examples/field_viewer_workflow.hpp"

using namespace tkstream63;

namespace {

// The store the example viewer builds: the two time steps of the five-spot field, then step 1
// again, renamed by the duplicate dialog.
std::shared_ptr<rvStreamStore> exampleStore() {
    std::ostringstream report;
    field_viewer::Checks checks(report);
    const field_viewer::TimeStep steps[2] = {{1, 1000.0, 2500.0f}, {2, 1500.0, 3000.0f}};
    auto store = std::make_shared<rvStreamStore>();
    store->RootKey("Fields");
    store->MainKey("FiveSpot");
    for (const int k : {0, 1, 0}) {
        const five_spot::Field field = five_spot::makeFiveSpot(steps[k].injectionRate, 32);
        installDuplicateNameDialog(std::make_shared<ScriptedDialog>(std::deque<int32_t>{5}));
        store->AddItem(field_viewer::loadTimeStep(
            field, steps[k], field_viewer::makeAllocationSet(field, steps[k], checks), checks));
    }
    return store;
}

int write(const std::string& path, bool formatted) {
    RecordFile file;
    bool qOK = false;
    if (!file.OpenForWriting(path, formatted ? RecordForm::Formatted : RecordForm::Binary)) {
        std::cerr << file.LastError() << "\n";
        return 1;
    }
    exampleStore()->BINARYEXPORT(file, qOK);
    if (!qOK || !file.Commit()) {
        std::cerr << "saving failed: " << file.LastError() << "\n";
        return 1;
    }
    return 0;
}

int check(const std::string& path) {
    rvStreamStore loaded;
    RecordFile file;
    bool qOK = false;
    if (!file.OpenForReading(path)) {
        std::cerr << file.LastError() << "\n";
        return 1;
    }
    loaded.BINARYIMPORT(file, qOK);
    const auto expected = exampleStore();
    if (!qOK || loaded.NumberOfStreamSets() != expected->NumberOfStreamSets()) {
        std::cerr << "loaded " << loaded.NumberOfStreamSets() << " datasets, expected "
                  << expected->NumberOfStreamSets() << "\n";
        return 1;
    }
    for (int32_t k = 1; k <= expected->NumberOfStreamSets(); ++k) {
        std::shared_ptr<rvStreamSet> a, b;
        expected->GetItem(k, a);
        loaded.GetItem(k, b);
        const std::string difference = field_viewer::firstDifference(*a, *b);
        if (!difference.empty()) {
            std::cerr << "dataset " << k << ": " << difference << "\n";
            return 1;
        }
    }
    if (loaded.FolderKey() != expected->FolderKey()) {
        std::cerr << "folder key " << loaded.FolderKey() << "\n";
        return 1;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string command = argc > 2 ? argv[1] : "";
    if (command == "write") return write(argv[2], argc > 3 && std::string(argv[3]) == "formatted");
    if (command == "check") return check(argv[2]);
    std::cerr << "usage: example_store_tool write <path> [formatted] | check <path>\n";
    return 2;
}
