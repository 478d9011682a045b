// tkstream info: what a store file holds, one line per dataset.
#include <algorithm>
#include <sstream>

#include "cli/commands.hpp"
#include "cli/store_reader.hpp"

namespace tkstream_cli {

using namespace tkstream63;

namespace {

const char* const kFlagNames[] = {"AutomaticOverWrite", "qModified", "AutomaticRename", "CheckDataSetNames",
                                  "AutomaticCancel"};

// One dataset's line: the fields a user tells datasets apart by, and how big it is.
struct DataSetLine {
    int32_t number;
    std::string Origin, FileName, DataClass, DateStamp;
    float SimulationTime;
    int32_t streamlines, nodes, columns, wells;
    bool WAF;
};

DataSetLine lineOf(const LoadedDataSet& loaded) {
    rvStreamSet& set = *loaded.set;
    return {loaded.number,         set.Origin(),          set.FileName(),
            set.DataClass(),       set.DateStamp(),       set.SimulationTime(),
            set.NumberStreamlines(), set.MaxRows(),       set.NumCols(),
            std::max(set.NumberWells(), 0), set.WAF()};
}

std::string versionText(const std::vector<int32_t>& version) {
    std::string text;
    for (const int32_t part : version) {
        if (!text.empty()) text += '.';
        text += std::to_string(part);
    }
    return text;
}

void writeText(const LoadedStore& store, const std::vector<DataSetLine>& lines, std::ostream& out) {
    const FileFacts& facts = store.facts;
    const StoreSettings& settings = store.settings;
    std::vector<std::vector<std::string>> about = {
        {"file", facts.path},
        {"form", std::string(formName(facts.form)) + ", format version " + std::to_string(facts.formatVersion)},
        {"size", std::to_string(facts.bytes) + " bytes"},
        {"records", std::to_string(facts.records)},
        {"index", facts.indexed ? "yes" : "no"},
    };
    if (settings.isStore) {
        if (!settings.app.empty())
            about.push_back({"written by", settings.app + " v" + versionText(settings.appVersion)});
        about.push_back({"keys", "MainKey " + inQuotes(settings.mainKey) + ", RootKey " + inQuotes(settings.rootKey) +
                                     ", FolderKey " + inQuotes(settings.folderKey)});
        std::string flags;
        for (size_t k = 0; k < settings.flags.size() && k < std::size(kFlagNames); ++k)
            flags += (k > 0 ? ", " : "") + std::string(kFlagNames[k]) + (settings.flags[k] ? " True" : " False");
        if (!flags.empty()) about.push_back({"settings", flags});
    }
    std::string count = std::to_string(store.dataSetCount);
    if (settings.numSets && *settings.numSets != store.dataSetCount)
        count += " (the store's NUMSETS record says " + std::to_string(*settings.numSets) + ")";
    about.push_back({"datasets", count});
    out << textTable(about, {});
    if (lines.empty()) return;

    std::vector<std::vector<std::string>> table = {{"#", "Origin", "FileName", "DataClass", "DateStamp",
                                                    "SimulationTime", "streamlines", "nodes", "columns", "wells",
                                                    "WAF"}};
    for (const DataSetLine& d : lines)
        table.push_back({std::to_string(d.number), d.Origin, d.FileName, d.DataClass, d.DateStamp,
                         numberText(d.SimulationTime), std::to_string(d.streamlines), std::to_string(d.nodes),
                         std::to_string(d.columns), std::to_string(d.wells), d.WAF ? "yes" : "no"});
    out << "\n" << textTable(table, {true, false, false, false, false, true, true, true, true, true, false});
}

void writeJson(const LoadedStore& store, const std::vector<DataSetLine>& lines, std::ostream& out) {
    const FileFacts& facts = store.facts;
    const StoreSettings& settings = store.settings;
    out << "{\n  \"file\": " << jsonString(facts.path) << ",\n  \"form\": " << jsonString(formName(facts.form))
        << ",\n  \"formatVersion\": " << facts.formatVersion << ",\n  \"bytes\": " << facts.bytes
        << ",\n  \"records\": " << facts.records << ",\n  \"index\": " << (facts.indexed ? "true" : "false")
        << ",\n  \"store\": ";
    if (!settings.isStore) {
        out << "null";
    } else {
        out << "{\"APP\": " << jsonString(settings.app) << ", \"APPVERSION\": "
            << jsonString(versionText(settings.appVersion)) << ", \"MainKey\": " << jsonString(settings.mainKey)
            << ", \"RootKey\": " << jsonString(settings.rootKey) << ", \"FolderKey\": "
            << jsonString(settings.folderKey);
        for (size_t k = 0; k < settings.flags.size() && k < std::size(kFlagNames); ++k)
            out << ", " << jsonString(kFlagNames[k]) << ": " << (settings.flags[k] ? "true" : "false");
        out << ", \"NUMSETS\": " << (settings.numSets ? std::to_string(*settings.numSets) : "null") << "}";
    }
    out << ",\n  \"datasets\": [";
    for (size_t k = 0; k < lines.size(); ++k) {
        const DataSetLine& d = lines[k];
        out << (k > 0 ? "," : "") << "\n    {\"number\": " << d.number << ", \"Origin\": " << jsonString(d.Origin)
            << ", \"FileName\": " << jsonString(d.FileName) << ", \"DataClass\": " << jsonString(d.DataClass)
            << ", \"DateStamp\": " << jsonString(d.DateStamp) << ", \"SimulationTime\": "
            << jsonNumber(d.SimulationTime) << ", \"streamlines\": " << d.streamlines << ", \"nodes\": " << d.nodes
            << ", \"columns\": " << d.columns << ", \"wells\": " << d.wells
            << ", \"WAF\": " << (d.WAF ? "true" : "false") << "}";
    }
    out << (lines.empty() ? "]\n}\n" : "\n  ]\n}\n");
}

}  // namespace

int runInfo(const InfoOptions& options, const Console& console) {
    const LoadedStore store = loadStore(options.file, console);
    std::vector<DataSetLine> lines;
    for (const LoadedDataSet& loaded : store.datasets) lines.push_back(lineOf(loaded));
    (options.json ? writeJson : writeText)(store, lines, console.out);
    return kExitOK;
}

}  // namespace tkstream_cli
