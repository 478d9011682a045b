#include "cli/record_fields.hpp"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <vector>

namespace tkstream_cli {

namespace {

struct NamedItems {
    std::string_view keyword;
    std::vector<std::string_view> names;
};

const std::vector<NamedItems>& namedItems() {
    static const std::vector<NamedItems> records = {
        {"SETLOGI",
         {"AllData", "Formatted", "GridSet", "Initialised", "IsDirty", "internal flag", "Unified", "WAF",
          "WellListSet", "UseWellList"}},
        {"SETREAL",
         {"DRT maximum", "DRT minimum", "internal", "SimulationTime", "TOF maximum", "TOF minimum", "x maximum",
          "x minimum", "y maximum", "y minimum", "z maximum", "z minimum"}},
        {"SETCHAR",
         {"UCaseTVDisplayRoot", "DataClass", "DataRootPath", "DateStamp", "FileName", "GroupName", "Origin",
          "SourceType", "TreeViewKey", "TVDisplayRoot", "TVGroupName", "UCaseGroupName", "UCaseOrigin",
          "UniqueKey"}},
        {"SETINTE",
         {"internal", "internal", "internal", "row capacity", "pointer count", "well-table capacity", "internal",
          "start day", "internal", "iEnd", "FileType", "index", "internal", "iStart", "internal", "internal",
          "internal", "Units", "internal", "internal", "start year", "internal", "internal", "start month",
          "NumCols", "MaxRows", "NumberInjectors", "NumberProducers", "internal", "NumberStreamlines",
          "nDataColumns", "NumberWells", "NX", "NY", "NZ", "injector sinks", "producer sources",
          "MaximumNumberWells", "LoadEverySL", "row capacity", "WAFType", "MaxZones"}},
        {"SIMEND", {"SimulationEndTime"}},
        {"STRMLOGI",
         {"AutomaticOverWrite", "qModified", "AutomaticRename", "CheckDataSetNames", "AutomaticCancel"}},
        {"APP", {"product"}},
        {"APPVERSION", {"major", "minor", "revision"}},
        {"MAINKEY", {"MainKey"}},
        {"ROOTKEY", {"RootKey"}},
        {"FOLDERKEY", {"FolderKey"}},
        {"NUMSETS", {"datasets"}},
        {"NWELLLIST", {"well list numbers"}},
        {"NZWELLLIST", {"well list names"}},
        {"NUMHEADERS", {"headers"}},
        {"STREAMLINE", {"rows", "columns"}},
        {"ISTREAMLINE", {"columns", "streamline columns"}},
        {"INJECTOR", {"columns", "entries"}},
        {"INJSINKS", {"columns", "sinks"}},
        {"PRODUCERS", {"columns", "entries"}},
        {"PRODSOURCES", {"columns", "sources"}},
        {"ZHEADERS", {"name", "unit"}},
        {"WINTE", {"source/sink index", "type"}},
        {"WLOGI", {"defined", "location defined"}},
        {"WPOS", {"X", "Y", "Z"}},
        {"WNAME", {"name"}},
        {"WAFINTE",
         {"reserved", "NumberWells", "well rows", "NumberProducers", "producer capacity", "NumberInjectors",
          "injector capacity", "nCols", "nData", "nData (copy)", "start day", "start month", "start year",
          "simulation day", "simulation month", "simulation year", "TimeStep", "defined wells",
          "well-list count"}},
        {"WAFINIT", {"reserved", "start date set", "simulation date set", "well list active"}},
        {"WAFFILE", {"file name"}},
        {"WAFTIME", {"SimulationTime"}},
        {"WELLINTE", {"WellIndex", "WellType"}},
        {"WELLLOGI", {"defined", "in well list"}},
        {"WELLNAME", {"name"}},
        {"PRODINTE", {"iOther", "iSink", "iTotal", "nSinks"}},
        {"PRODRATE", {"rate"}},
        {"INJINTE", {"iOther", "iSource", "iTotal", "nSources"}},
        {"INJRATE", {"rate"}},
        {"WAFDIMS", {"columns", "rows"}},
    };
    return records;
}

struct NamedTable {
    std::string_view dataKeyword;
    TableLayout layout;
};

const std::array<NamedTable, 7> kTables = {{
    {"SLINEDATA", {"STREAMLINE", "row", "column"}},
    {"ISLINEDATA", {"ISTREAMLINE", "column", "streamline"}},
    {"INJDATA", {"INJECTOR", "row", "entry"}},
    {"INJSINKDATA", {"INJSINKS", "row", "sink"}},
    {"PRODDATA", {"PRODUCERS", "row", "entry"}},
    {"PRODSOURCEDATA", {"PRODSOURCES", "row", "source"}},
    {"WAFDATA", {"WAFDIMS", "column", "row"}},
}};

bool among(std::string_view keyword, std::initializer_list<std::string_view> keywords) {
    return std::find(keywords.begin(), keywords.end(), keyword) != keywords.end();
}

}  // namespace

std::string_view groupOfDataSetRecord(std::string_view keyword) {
    if (among(keyword, {"SETLOGI", "SETREAL", "SETCHAR", "SETINTE", "SIMEND"})) return "attributes";
    if (among(keyword, {"NWELLLIST", "IWELLLIST", "NZWELLLIST", "ZWELLLIST"})) return "lists";
    if (among(keyword, {"STREAMLINE", "SLINEDATA", "NUMHEADERS", "ZHEADERS"})) return "node table";
    if (among(keyword, {"ISTREAMLINE", "ISLINEDATA"})) return "pointers";
    if (among(keyword, {"INJECTOR", "INJDATA", "INJSINKS", "INJSINKDATA", "PRODUCERS", "PRODDATA", "PRODSOURCES",
                        "PRODSOURCEDATA"}))
        return "connections";
    return "";
}

std::string_view itemName(std::string_view keyword, size_t item) {
    for (const NamedItems& record : namedItems())
        if (record.keyword == keyword) return item >= 1 && item <= record.names.size() ? record.names[item - 1] : "";
    return "";
}

bool isPerRowRecord(std::string_view keyword) {
    return among(keyword, {"ZHEADERS", "WINTE", "WLOGI", "WPOS", "WNAME", "WELLINTE", "WELLLOGI", "WELLNAME",
                           "PRODINTE", "PRODRATE", "INJINTE", "INJRATE"});
}

const TableLayout* tableLayout(std::string_view dataKeyword) {
    for (const NamedTable& table : kTables)
        if (table.dataKeyword == dataKeyword) return &table.layout;
    return nullptr;
}

}  // namespace tkstream_cli
