// The tkstream subcommands. Each takes its parsed options, writes to the console and returns the
// program's exit code; a CommandError thrown by one is turned into a one-line message by the
// caller.
#pragma once

#include <cstdint>
#include <string>

#include "cli/cli_support.hpp"

namespace tkstream_cli {

struct InfoOptions {
    std::string file;
    bool json = false;
};
int runInfo(const InfoOptions& options, const Console& console);

struct DumpOptions {
    std::string file;
    int32_t dataset = 0;  // 0: every record
    bool values = false;
    bool all = false;  // every value, however long the array
    bool json = false;
};
int runDump(const DumpOptions& options, const Console& console);

struct VerifyOptions {
    std::string file;
};
int runVerify(const VerifyOptions& options, const Console& console);

struct ConvertOptions {
    std::string input;
    std::string output;
    std::string to;  // "binary" or "formatted"
};
int runConvert(const ConvertOptions& options, const Console& console);

struct DiffOptions {
    std::string first;
    std::string second;
    double absTol = 0;
    double relTol = 0;
    int32_t dataset = 0;  // 0: the whole store
};
int runDiff(const DiffOptions& options, const Console& console);

struct ExportVtkOptions {
    std::string file;
    std::string output;
    int32_t dataset = 1;
    std::string streamlines;      // "1,4,10-20"; empty for all
    std::string encoding = "raw";  // "raw" (appended binary) or "ascii"
};
int runExportVtk(const ExportVtkOptions& options, const Console& console);

struct PlotOptions {
    std::string file;
    std::string output;
    int32_t dataset = 1;
    std::string colorBy;  // a column name or number, "injector" or "producer"; empty: TOF
};
int runPlot(const PlotOptions& options, const Console& console);

}  // namespace tkstream_cli
