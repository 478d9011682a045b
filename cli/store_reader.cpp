#include "cli/store_reader.hpp"

#include <filesystem>
#include <fstream>

#include "cli/progress.hpp"
#include "cli/record_scan.hpp"
#include "streamstore/store_file_view.hpp"

namespace tkstream_cli {

using namespace tkstream63;

namespace {

constexpr int64_t kRecordsPerTick = 10;

[[noreturn]] void fail(const std::string& path, const std::string& problem) {
    throw CommandError(problem.find(path) != std::string::npos ? problem : inQuotes(path) + ": " + problem);
}

// The record file does not report its format version, so it is read from the file's opening
// bytes: a binary file's preamble ends with it, a formatted file's first line ends with it.
int32_t formatVersionOf(const std::string& path, RecordForm form) {
    std::ifstream in(path, std::ios::binary);
    if (form == RecordForm::Binary) {
        unsigned char preamble[12] = {};
        in.read(reinterpret_cast<char*>(preamble), sizeof preamble);
        return static_cast<int32_t>(preamble[8] | preamble[9] << 8 | preamble[10] << 16 |
                                    static_cast<uint32_t>(preamble[11]) << 24);
    }
    std::string line;
    std::getline(in, line);
    const size_t blank = line.find_last_of(' ');
    return blank == std::string::npos ? 0 : std::atoi(line.c_str() + blank + 1);
}

// Reads records by their headers only, one after the other, stopping at the end of the file.
// step gets each header and reads whatever body it needs; false from step stops the walk.
template <class Step>
void walkHeaders(RecordFile& file, const std::string& path, Step step) {
    RecordIO io;
    std::string keyword, type;
    for (int64_t n = 1;; ++n) {
        int32_t bytesRead = 0, bytesTotal = 0;
        bool endOfFile = false;
        file.GetReadState(bytesRead, bytesTotal, endOfFile);
        if (endOfFile) return;
        int32_t count = 0;
        bool qOK = false;
        io.ReadRecordHeader(file, keyword, count, type, qOK);
        if (!qOK) fail(path, file.LastError());
        if (!step(io, keyword, count, type)) return;
        if (n % kRecordsPerTick == 0) file.ProgressTick();
    }
}

std::vector<int32_t> readLongs(RecordIO& io, RecordFile& file, int32_t count) {
    Array<int32_t> values;
    bool qOK = false;
    io.ReadIntegerArray(count, "'", file, values, qOK);
    if (!qOK) fail(file.Path(), file.LastError());
    return {values.data(), values.data() + values.size()};
}

std::string readText(RecordIO& io, RecordFile& file) {
    std::string text;
    bool qOK = false;
    io.ReadItem(file, text, qOK);
    if (!qOK) fail(file.Path(), file.LastError());
    return text;
}

// First pass: the record count and each dataset's column units, read from the headers and the
// few small records that carry them.
void readFacts(const std::string& path, const Console& console, LoadedStore& store,
               std::vector<std::vector<std::string>>& units) {
    RecordFile file;
    openForReading(file, path);
    ProgressBar bar(file, console, "scanning " + path);
    store.facts.path = path;
    store.facts.form = file.Form();
    store.facts.bytes = file.TotalBytes();
    store.facts.formatVersion = formatVersionOf(path, file.Form());
    int32_t column = 0;
    walkHeaders(file, path, [&](RecordIO& io, const std::string& keyword, int32_t count, const std::string& type) {
        ++store.facts.records;
        if (type == "CHAR" && keyword == "STREAMSET>") {
            units.emplace_back();
        } else if (type == "INTE" && keyword == "CNT" && count >= 1) {
            column = readLongs(io, file, count).front();
        } else if (type == "CHAR" && keyword == "ZHEADERS" && count >= 2 && !units.empty() && column >= 1) {
            readText(io, file);
            std::vector<std::string>& dataSetUnits = units.back();
            if (dataSetUnits.size() < static_cast<size_t>(column)) dataSetUnits.resize(static_cast<size_t>(column));
            dataSetUnits[static_cast<size_t>(column - 1)] = readText(io, file);
        }
        return true;
    });
    // A binary store written by this version ends with an index of its datasets; "indexed" means
    // the view opens the file from it (the records were checked by the walk above).
    if (store.facts.form == RecordForm::Binary) {
        StoreFileView view;
        store.facts.indexed = view.Open(path) && view.FromIndex();
    }
}

// Passes over the rest of a dataset section whose opening record was just read.
void skipDataSet(RecordFile& file, const std::string& path, int32_t number) {
    bool closed = false;
    walkHeaders(file, path, [&](RecordIO&, const std::string& keyword, int32_t, const std::string& type) {
        closed = type == "CHAR" && keyword == "<STREAMSET";
        return !closed;
    });
    if (!closed) fail(path, "the file ends inside dataset " + std::to_string(number) + ": it is truncated");
}

}  // namespace

const char* formName(RecordForm form) { return form == RecordForm::Binary ? "binary" : "formatted"; }

// Second pass: the store's own records are read here and every dataset is loaded in full, its
// section handed to the dataset's own import as the store's import does, but without the store's
// duplicate handling, so every dataset of the file is kept as it is (none is renamed, dropped or
// asked about).
LoadedStore loadStore(const std::string& path, const Console& console, std::optional<int32_t> onlyDataSet) {
    LoadedStore store;
    std::vector<std::vector<std::string>> units;
    readFacts(path, console, store, units);

    RecordFile file;
    openForReading(file, path);
    ProgressBar bar(file, console, "loading " + path);
    StoreSettings& settings = store.settings;
    bool storeClosed = false;
    walkHeaders(file, path, [&](RecordIO& io, const std::string& keyword, int32_t count, const std::string& type) {
        if (type == "CHAR" && keyword == "STREAMSET>") {
            const int32_t number = ++store.dataSetCount;
            if (onlyDataSet && *onlyDataSet != number) {
                skipDataSet(file, path, number);
                return true;
            }
            LoadedDataSet loaded{number, std::make_shared<rvStreamSet>(), {}};
            bool qOK = false;
            loaded.set->BINARYIMPORT(file, qOK);
            if (!qOK)
                fail(path, file.LastError().empty()
                               ? "the file ends inside dataset " + std::to_string(number) + ": it is truncated"
                               : file.LastError());
            if (static_cast<size_t>(number) <= units.size()) loaded.units = units[static_cast<size_t>(number - 1)];
            store.datasets.push_back(std::move(loaded));
        } else if (type == "CHAR" && keyword == "STREAMSTORE>") {
            settings.isStore = true;
        } else if (type == "CHAR" && keyword == "<STREAMSTORE") {
            storeClosed = true;
            return false;
        } else if (type == "CHAR" && count >= 1 &&
                   (keyword == "APP" || keyword == "MAINKEY" || keyword == "ROOTKEY" || keyword == "FOLDERKEY")) {
            const std::string text = readText(io, file);
            (keyword == "APP" ? settings.app : keyword == "MAINKEY" ? settings.mainKey
                                           : keyword == "ROOTKEY" ? settings.rootKey
                                                                  : settings.folderKey) = text;
        } else if (type == "LOGI" && keyword == "STRMLOGI") {
            Array<bool> flags;
            bool qOK = false;
            io.ReadLogicalArray(count, "'", file, flags, qOK);
            if (!qOK) fail(path, file.LastError());
            settings.flags.assign(flags.data(), flags.data() + flags.size());
        } else if (type == "INTE" && keyword == "APPVERSION") {
            settings.appVersion = readLongs(io, file, count);
        } else if (type == "INTE" && keyword == "NUMSETS" && count >= 1) {
            settings.numSets = readLongs(io, file, count).front();
        }
        return true;
    });
    if (settings.isStore && !storeClosed)
        fail(path, "the file ends before the store's closing record '<STREAMSTORE': it is truncated");
    if (onlyDataSet && store.datasets.empty())
        fail(path, "no dataset " + std::to_string(*onlyDataSet) + " (the file holds " +
                       std::to_string(store.dataSetCount) + ")");
    return store;
}

}  // namespace tkstream_cli
