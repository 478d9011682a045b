// Test helper for the Python module: C++ loads and saves of store files.
//
//   example_store_tool resave <in> <out> [formatted]   loads <in>, saves it to <out>
//   example_store_tool compare <expected> <actual>     exit 0 when both files hold the same
//                                                      store, else names the first difference
#include <iostream>
#include <string>

#include "examples/field_viewer_workflow.hpp"

using namespace tkstream63;

namespace {

bool load(const std::string& path, rvStreamStore& store) {
    RecordFile file;
    bool qOK = false;
    if (file.OpenForReading(path)) store.BINARYIMPORT(file, qOK);
    if (!qOK) std::cerr << path << " did not load: " << file.LastError() << "\n";
    return qOK;
}

int resave(const std::string& in, const std::string& out, bool formatted) {
    rvStreamStore store;
    if (!load(in, store)) return 1;
    RecordFile file;
    bool qOK = false;
    if (file.OpenForWriting(out, formatted ? RecordForm::Formatted : RecordForm::Binary)) {
        store.BINARYEXPORT(file, qOK);
    }
    if (!qOK || !file.Commit()) {
        std::cerr << "saving failed: " << file.LastError() << "\n";
        return 1;
    }
    return 0;
}

int compare(const std::string& expectedPath, const std::string& actualPath) {
    rvStreamStore expected, actual;
    if (!load(expectedPath, expected) || !load(actualPath, actual)) return 1;
    if (actual.NumberOfStreamSets() != expected.NumberOfStreamSets() ||
        actual.FolderKey() != expected.FolderKey()) {
        std::cerr << "datasets or keys differ\n";
        return 1;
    }
    for (int32_t k = 1; k <= expected.NumberOfStreamSets(); ++k) {
        std::shared_ptr<rvStreamSet> a, b;
        expected.GetItem(k, a);
        actual.GetItem(k, b);
        const std::string difference = field_viewer::firstDifference(*a, *b);
        if (!difference.empty()) {
            std::cerr << "dataset " << k << ": " << difference << "\n";
            return 1;
        }
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string command = argc > 3 ? argv[1] : "";
    if (command == "resave") {
        return resave(argv[2], argv[3], argc > 4 && std::string(argv[4]) == "formatted");
    }
    if (command == "compare") return compare(argv[2], argv[3]);
    std::cerr << "usage: example_store_tool resave <in> <out> [formatted] | compare <a> <b>\n";
    return 2;
}
