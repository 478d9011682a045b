// Reading a saved store for the commands that need its datasets as objects (info, export-vtk,
// plot): what the file is, the store's own settings, and each dataset loaded through the
// library's own import. Everything that depends on how the library lets a file be opened lives
// here, so the commands do not change when it offers faster ways to do so.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <tkstream63.hpp>

#include "cli/cli_support.hpp"

namespace tkstream_cli {

struct FileFacts {
    std::string path;
    tkstream63::RecordForm form = tkstream63::RecordForm::Binary;
    int32_t formatVersion = 0;
    int64_t bytes = 0;
    int64_t records = 0;
    bool indexed = false;  // whether the file carries an index of its records
};

// The store's own records ("APP", "APPVERSION", "STRMLOGI", the keys and "NUMSETS").
struct StoreSettings {
    bool isStore = false;  // the file opens with "STREAMSTORE>" (else it holds bare datasets)
    std::string app;
    std::vector<int32_t> appVersion;
    std::vector<bool> flags;  // AutomaticOverWrite, qModified, AutomaticRename, CheckDataSetNames, AutomaticCancel
    std::string mainKey, rootKey, folderKey;
    std::optional<int32_t> numSets;
};

struct LoadedDataSet {
    int32_t number = 0;  // 1-based, in file order
    std::shared_ptr<tkstream63::rvStreamSet> set;
    std::vector<std::string> units;  // per node column (the dataset keeps only the names)
};

struct LoadedStore {
    FileFacts facts;
    StoreSettings settings;
    int32_t dataSetCount = 0;           // datasets in the file
    std::vector<LoadedDataSet> datasets;  // all of them, or only the one asked for
};

// Reads the file. With onlyDataSet only that dataset is loaded (the others are passed over).
// Throws CommandError naming the file and its first problem when it cannot be read whole, and
// when onlyDataSet names no dataset of the file.
LoadedStore loadStore(const std::string& path, const Console& console,
                      std::optional<int32_t> onlyDataSet = std::nullopt);

// "binary" or "formatted".
const char* formName(tkstream63::RecordForm form);

}  // namespace tkstream_cli
