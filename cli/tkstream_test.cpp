// The tkstream program run in-process on store files the tests make: a store of three datasets
// with WAF sets (from the example's five-spot field), saved in both forms.
#include "cli/tkstream.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "cli/dataset_geometry.hpp"
#include "cli/cli_support.hpp"
#include "examples/field_viewer_workflow.hpp"
#include "recordfile/record_file_testing.hpp"
#include "recordfile/record_test_data.hpp"

namespace tkstream_cli {
namespace {

using namespace tkstream63;
namespace fs = std::filesystem;

struct Result {
    int code;
    std::string out;
    std::string err;
};

Result run(std::vector<std::string> args, bool progress = false) {
    args.insert(args.begin(), "tkstream");
    std::vector<const char*> argv;
    for (const std::string& arg : args) argv.push_back(arg.c_str());
    std::ostringstream out, err;
    const int code = runTkstream(static_cast<int>(argv.size()), argv.data(), Console{out, err, progress});
    return {code, out.str(), err.str()};
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

size_t occurrences(const std::string& text, const std::string& part) {
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
    return n;
}

// A scratch folder with the store in both forms, made once for all tests.
class Files {
public:
    static const Files& get() {
        static const Files files;
        return files;
    }
    std::string path(const std::string& name) const { return folder_.file(name); }
    std::string binary() const { return path("store.tks"); }
    std::string formatted() const { return path("store.txt"); }
    int32_t streamlines = 0;

    // Names left in the folder that are temporary files.
    std::vector<std::string> temporaries() const {
        std::vector<std::string> names = folder_.entries();
        std::erase_if(names, [](const std::string& name) { return name.find(".tmp-") == std::string::npos; });
        return names;
    }

private:
    Files() {
        std::ostringstream report;
        field_viewer::Checks checks(report);
        const five_spot::Field field = five_spot::makeFiveSpot(1000.0, 4);
        rvStreamStore store;
        for (int32_t k = 1; k <= 3; ++k) {
            const field_viewer::TimeStep step{k, 1000.0, 1000.0f * static_cast<float>(k)};
            store.AddItem(field_viewer::loadTimeStep(field, step, field_viewer::makeAllocationSet(field, step, checks),
                                                     checks));
        }
        streamlines = static_cast<int32_t>(field.streamlines.size());
        for (const auto& [name, form] : {std::pair{binary(), RecordForm::Binary}, {formatted(), RecordForm::Formatted}}) {
            RecordFile file;
            bool qOK = false;
            file.OpenForWriting(name, form);
            store.BINARYEXPORT(file, qOK);
            file.Commit();
        }
        EXPECT_EQ(checks.failures(), 0) << report.str();
    }
    tkstream63::testing::ScratchDirectory folder_;
};

TEST(Tkstream, EveryCommandWorksOnBothForms) {
    const Files& files = Files::get();
    for (const std::string& store : {files.binary(), files.formatted()}) {
        const std::string other = store == files.binary() ? files.formatted() : files.binary();
        const std::string svg = files.path("plan.svg"), coloured = files.path("coloured.svg");
        const std::string streamlines = std::to_string(files.streamlines);
        const struct {
            std::vector<std::string> args;
            std::string expected;     // part of the output
            std::string picture = {};  // part of the picture drawn
        } cases[] = {
            {{"info", store}, "3  FIVESPOT"},
            {{"info", store, "--json"}, "\"streamlines\": " + streamlines},
            {{"info", store, "--json"}, store == files.binary() ? "\"index\": true" : "\"index\": false"},
            {{"dump", store}, "<WAF"},
            {{"dump", store, "--dataset", "2", "--values", "--json"}, "\"keyword\": \"WAFDATA\""},
            {{"verify", store}, "OK\n"},
            {{"diff", store, other}, "equal: "},
            {{"convert", store, files.path("converted"), "--to", store == files.binary() ? "formatted" : "binary"}, ""},
            {{"diff", store, files.path("converted")}, "equal: "},
            {{"convert", files.path("converted"), files.path("back"), "--to",
              store == files.binary() ? "binary" : "formatted"},
             ""},
            {{"export-vtk", store, files.path("lines.vtp"), "--dataset", "3", "--streamlines", "2,4-5"},
             "3 streamlines, 5 wells"},
            {{"plot", store, svg, "--dataset", "1"}, "", ">mean TOF [days]</text>"},
            {{"plot", store, coloured, "--dataset", "2", "--color-by", "Producer"}, "",
             ">streamlines by producer</text>"},
            {{"plot", store, coloured, "--dataset", "3", "--color-by", "7"}, "", ">mean VELOCITY [m/day]</text>"},
            {{"plot", store, coloured, "--dataset", "3", "--color-by", "velocity"}, "",
             ">mean VELOCITY [m/day]</text>"},
            {{"plot", store, coloured, "--dataset", "3", "--color-by", "injector"}, "",
             ">I1 (" + streamlines + ")</text>"},
        };
        for (const auto& c : cases) {
            const Result result = run(c.args);
            EXPECT_EQ(result.code, 0) << c.args[0] << " " << store << ": " << result.err;
            EXPECT_NE(result.out.find(c.expected), std::string::npos) << c.args[0] << ": " << result.out;
            EXPECT_EQ(result.err, "") << c.args[0];
            if (!c.picture.empty()) {
                EXPECT_NE(readFile(c.args[2]).find(c.picture), std::string::npos) << c.args.back();
            }
        }
        // Bodies below 256 KiB carry no page padding, so the binary form is a function of the records.
        EXPECT_TRUE(readFile(files.path("back")) == readFile(store)) << "converted there and back";
        EXPECT_EQ(occurrences(readFile(svg), "<path class=\"streamline\""), static_cast<size_t>(files.streamlines));
        EXPECT_EQ(occurrences(run({"dump", store, "--dataset", "3"}).out, "WAFDATA"), 1u);
    }
    // The progress bar is drawn only when asked for (the program asks when stderr is a terminal).
    const std::string bar = run({"verify", files.binary()}, true).err;
    EXPECT_NE(bar.find("\rverifying " + files.binary() + " [#"), std::string::npos) << bar;
    EXPECT_EQ(files.temporaries(), std::vector<std::string>{});
}

TEST(Tkstream, BadInputAndUsageGiveOneLineNamingTheProblemAndNoOutputFile) {
    const Files& files = Files::get();
    const std::string notRecords = files.path("notes.txt");
    writeFile(notRecords, "just some text\n");
    const std::string out = files.path("never-written.svg");
    const std::string store = files.binary();
    const struct {
        std::vector<std::string> args;
        std::string expected;  // part of the one line on stderr
    } cases[] = {
        {{"info", files.path("missing.tks")}, "cannot open '" + files.path("missing.tks") + "'"},
        {{"verify", notRecords}, "'" + notRecords + "' is not a tkstream63 record file"},
        {{"dump", store, "--dataset", "9"}, "no dataset 9 (the file holds 3)"},
        {{"diff", store, store, "--dataset", "4"}, "no dataset 4"},
        {{"plot", store, out, "--dataset", "4"}, "no dataset 4 (the file holds 3)"},
        {{"plot", store, out, "--dataset", "1", "--color-by", "SALINITY"}, "has no column 'SALINITY'"},
        {{"export-vtk", store, out, "--dataset", "1", "--streamlines", "3-999"}, "streamline 999"},
        {{"export-vtk", store, files.path("no-such-folder/x.vtp"), "--dataset", "1"}, "cannot write '"},
        {{"convert", store, out, "--to", "sideways"}, "--to"},
        {{"diff", store}, "B is required"},
        {{"frobnicate"}, "unknown subcommand 'frobnicate'"},
        {{}, "subcommand"},
    };
    for (const auto& c : cases) {
        const Result result = run(c.args);
        const std::string what = c.args.empty() ? "(no arguments)" : c.args[0] + " " + c.args.back();
        EXPECT_EQ(result.code, 2) << what;
        EXPECT_NE(result.err.find(c.expected), std::string::npos) << what << ": " << result.err;
        EXPECT_EQ(occurrences(result.err, "\n"), 1u) << what << ": " << result.err;
        EXPECT_EQ(result.out, "") << what;
    }
    EXPECT_FALSE(fs::exists(out));
    EXPECT_EQ(files.temporaries(), std::vector<std::string>{});

    const Result version = run({"--version"});
    EXPECT_EQ(version.code, 0);
    EXPECT_EQ(version.out.rfind("tkstream 6.3.0", 0), 0u) << version.out;
    const Result help = run({"diff", "--help"});
    EXPECT_EQ(help.code, 0);
    EXPECT_NE(help.out.find("--abs-tol"), std::string::npos);
}

TEST(Tkstream, VerifyReportsDamageAndTruncationAndOtherCommandsRefuseSuchFiles) {
    const Files& files = Files::get();
    const std::string binary = readFile(files.binary());
    const std::string text = readFile(files.formatted());
    const auto spans = tkstream63::testing::recordSpans(files.binary(), {binary.begin(), binary.end()});
    const auto startOf = [&](const std::string& keyword, int nth) {  // of the nth record (from 0) so named
        for (size_t k = 0; k < spans.keywords.size(); ++k)
            if (spans.keywords[k] == keyword && nth-- == 0) return spans.starts[k];
        return int64_t{-1};
    };
    const int64_t nodeTable = startOf("SLINEDATA", 1), lastRecord = startOf("<STREAMSTORE", 0);
    std::string flipped = binary;
    flipped[static_cast<size_t>(nodeTable + 200)] ^= 0x10;
    const struct {
        std::string name;
        std::string content;
        std::string expected;  // part of verify's report
    } cases[] = {
        {"flipped.tks", flipped, "checksum mismatch"},
        {"half.tks", binary.substr(0, binary.size() / 2), "truncated"},
        {"boundary.tks", binary.substr(0, static_cast<size_t>(lastRecord)),
         "it is truncated"},
        {"half.txt", text.substr(0, text.size() / 2), "record "},
    };
    for (const auto& c : cases) {
        const std::string path = files.path(c.name);
        writeFile(path, c.content);
        const Result verify = run({"verify", path});
        EXPECT_EQ(verify.code, 1) << c.name << ": " << verify.out;
        EXPECT_NE(verify.out.find(c.expected), std::string::npos) << c.name << ": " << verify.out;
        EXPECT_NE(verify.out.find("DAMAGED: "), std::string::npos) << c.name;
        for (const std::vector<std::string>& args :
             {std::vector<std::string>{"info", path}, {"convert", path, files.path("salvage"), "--to", "binary"},
              {"diff", path, files.binary()}}) {
            const Result refused = run(args);
            EXPECT_EQ(refused.code, 2) << args[0] << " " << c.name << ": " << refused.out;
            EXPECT_NE(refused.err.find(path), std::string::npos) << args[0] << " " << c.name << ": " << refused.err;
        }
        EXPECT_FALSE(fs::exists(files.path("salvage"))) << c.name;
    }
}

TEST(Tkstream, DiffFindsOneChangedNodeValueAndNamesItsStreamlineAndNode) {
    const Files& files = Files::get();
    // Dataset 2's first X value, changed by 0.1 % in a copy of the formatted file.
    std::string text = readFile(files.formatted());
    size_t at = text.find("'SLINEDATA'");
    at = text.find('\n', text.find("'SLINEDATA'", at + 1)) + 1;
    const size_t end = text.find(' ', at);
    const float original = std::stof(text.substr(at, end - at));
    const float changed = original * 1.001f;
    text.replace(at, end - at, numberText(changed));
    const size_t trailer = text.rfind("END records=");  // made whole again with a new trailer line
    text = tkstream63::testing::withTrailer(text.substr(0, trailer), std::stoi(text.substr(trailer + 12)));
    const std::string edited = files.path("edited.txt");
    writeFile(edited, text);
    const Result result = run({"diff", files.binary(), edited});
    EXPECT_EQ(result.code, 1) << result.out << result.err;
    EXPECT_NE(result.out.find("dataset 2: node table: SLINEDATA row 1 (streamline 1 node 1) column 1 (X): " +
                              numberText(original) + " | " + numberText(changed) + "\n"),
              std::string::npos)
        << result.out;
    EXPECT_NE(result.out.find("1 difference: dataset 2 node table 1 "), std::string::npos) << result.out;
    EXPECT_EQ(occurrences(result.out, "\n"), 2u) << result.out;
}

// A formatted record file written by hand: the records as their text lines.
std::string handWritten(const std::string& name, const std::string& records) {
    const std::string path = Files::get().path(name);
    writeFile(path, "TKSTREAM63 FORMATTED RECORDS 1\n" + records);
    return path;
}

TEST(Tkstream, DiffMatchesRecordsByKeywordAndRowAndNamesEachValue) {
    const auto store = [](const std::string& dataset, const std::string& wells, const std::string& more = "") {
        return "'STREAMSTORE>' 0 CHAR\n'STREAMSET>' 0 CHAR\n" + dataset +
               "'WELLINFO>' 0 CHAR\n'CNT' 1 INTE\n1\n" + wells + "'<WELLINFO' 0 CHAR\n'<STREAMSET' 0 CHAR\n" + more +
               "'<STREAMSTORE' 0 CHAR\n";
    };
    const std::string attributes = "'SETREAL' 3 REAL\n1.5 0 NaN(0x7FC00000)\n";
    const std::string headers = "'CNT' 1 INTE\n2\n'ZHEADERS' 2 CHAR\n'Y'\n'm'\n";
    const std::string well = "'WPOS' 3 REAL\n10 20 30\n";
    const std::string a = handWritten("a.txt", store(attributes + headers, well));
    const std::string moved = store(attributes + headers, "'WPOS' 3 REAL\n10 20.5 30\n");
    const std::string twoSets = store(attributes + headers, well, "'STREAMSET>' 0 CHAR\n'<STREAMSET' 0 CHAR\n");
    const struct {
        std::string name;
        std::string b;
        int code;
        std::string expected;  // part of the report
        std::vector<std::string> options = {};
    } cases[] = {
        {"reordered, -0 for 0, same NaN", store(headers + "'SETREAL' 3 REAL\n1.5 -0 NaN(0x7FC00000)\n", well), 0,
         "equal: 3 records compared"},
        {"one value", moved, 1, "dataset 1 wells: wells: WPOS of row 1 item 2 (Y): 20 | 20.5\n"},
        {"within --abs-tol", moved, 0, "equal: 3 records compared", {"--abs-tol", "0.75"}},
        {"beyond --abs-tol", moved, 1, "20 | 20.5\n", {"--abs-tol", "0.25"}},
        {"within --rel-tol", moved, 0, "equal: 3 records compared", {"--rel-tol", "0.05"}},
        {"beyond --rel-tol", moved, 1, "20 | 20.5\n", {"--rel-tol", "0.01"}},
        {"a header", store(attributes + "'CNT' 1 INTE\n2\n'ZHEADERS' 2 CHAR\n'Y'\n'ft'\n", well), 1,
         "dataset 1: node table: ZHEADERS of row 2 item 2 (unit): 'm' | 'ft'\n"},
        {"a count", store("'SETREAL' 2 REAL\n1.5 0\n" + headers, well), 1,
         "dataset 1: attributes: SETREAL: 3 REAL values | 2 REAL values\n"},
        {"a record", store(attributes + headers, ""), 1, "dataset 1 wells: wells: WPOS of row 1: record only in A\n"},
        {"a dataset", twoSets, 1, "dataset 2: dataset: the whole section: only in B\n"},
        {"another dataset", twoSets, 0, "equal: ", {"--dataset", "1"}},
    };
    for (const auto& c : cases) {
        std::vector<std::string> args = {"diff", a, handWritten("b.txt", c.b)};
        args.insert(args.end(), c.options.begin(), c.options.end());
        const Result result = run(args);
        EXPECT_EQ(result.code, c.code) << c.name << ": " << result.out << result.err;
        EXPECT_NE(result.out.find(c.expected), std::string::npos) << c.name << ": " << result.out;
    }
}

TEST(Tkstream, VerifyInfoAndDumpFollowTheSectionsOfHandWrittenFiles) {
    const std::string dataset = "'STREAMSET>' 0 CHAR\n'SETCHAR' 7 CHAR\n''\n''\n''\n''\n'a.sln'\n''\n'ORIGIN'\n"
                                "'<STREAMSET' 0 CHAR\n";
    const struct {
        std::string name, records, command;
        int code;
        std::string expected, absent;  // a part of the report, and one it must not have
    } cases[] = {
        {"stray closing", "'<STREAMSET' 0 CHAR\n", "verify", 1,
         "record '<STREAMSET' at byte 31 closes a section that is not open", "OK"},
        {"inner left open", "'STREAMSTORE>' 0 CHAR\n'WAF>' 0 CHAR\n'<STREAMSTORE' 0 CHAR\n", "verify", 1,
         "section 'WAF' opened at byte 53 is never closed (its outer section closes at byte 67)", "OK"},
        {"unknown item type", "'NEWS' 2 ABCD\n1 2\n'NUMSETS' 1 INTE\n0\n", "verify", 0, "OK\n", "DAMAGED"},
        {"bare", dataset + dataset, "info", 0, "datasets  2\n", "written by"},
        {"short store", "'STREAMSTORE>' 0 CHAR\n'NUMSETS' 1 INTE\n2\n" + dataset + "'<STREAMSTORE' 0 CHAR\n", "info",
         0, "datasets  1 (the store's NUMSETS record says 2)\n", "settings"},
        {"dataset line", dataset, "info", 0, "1  ORIGIN  a.sln", "WAF  yes"},
    };
    for (const auto& c : cases) {
        const Result result = run({c.command, handWritten(c.name, c.records)});
        EXPECT_EQ(result.code, c.code) << c.name << ": " << result.out << result.err;
        EXPECT_NE(result.out.find(c.expected), std::string::npos) << c.name << ": " << result.out;
        EXPECT_EQ(result.out.find(c.absent), std::string::npos) << c.name << ": " << result.out;
    }
    EXPECT_NE(run({"info", Files::get().path("bare"), "--json"}).out.find("\"store\": null"), std::string::npos);
    // A record of a type the library cannot write stops a conversion.
    const Result convert = run({"convert", Files::get().path("unknown item type"), Files::get().path("x"), "--to",
                                "binary"});
    EXPECT_EQ(convert.code, 2);
    EXPECT_NE(convert.err.find("has item type 'ABCD', which this library cannot write"), std::string::npos);

    const std::string values = handWritten(
        "values.txt", "'STREAMSET>' 0 CHAR\n'SETCHAR' 2 CHAR\n'it''s'\n''\n'BIG' 20 INTE\n1 2 3 4 5 6 7 8\n9 10 11 "
                      "12 13 14 15 16\n17 18 19 20\n'<STREAMSET' 0 CHAR\n");
    const std::string listing = run({"dump", values, "--values"}).out;
    EXPECT_NE(listing.find("      'it''s'\n                        ''\n"), std::string::npos) << listing;
    EXPECT_NE(listing.find("9 10 11 12 13 14 15 16\n                        ... 4 more of 20 (--all shows them)\n"),
              std::string::npos)
        << listing;
    EXPECT_NE(run({"dump", values, "--values", "--all"}).out.find(" 17 18 19 20\n"), std::string::npos);
    const std::string json = run({"dump", values, "--dataset", "1", "--values", "--json"}).out;
    EXPECT_NE(json.find("\"values\": [\"it's\", \"\"]"), std::string::npos) << json;
    EXPECT_NE(json.find(", 16], \"abbreviated\": true}"), std::string::npos) << json;
}

TEST(Tkstream, StreamlineListsAreNumbersAndRangesWithinTheDataset) {
    const struct {
        std::string text;
        std::vector<int32_t> numbers;  // empty: refused
    } cases[] = {
        {"2", {2}}, {"1,3-4", {1, 3, 4}}, {"4-4,1", {4, 1}}, {"", {}}, {"0", {}},
        {"3-1", {}}, {"1,,2", {}}, {"x", {}}, {"5", {}}, {"2-", {}},
    };
    for (const auto& c : cases) {
        std::vector<int32_t> numbers;
        try {
            numbers = parseNumberList(c.text, 4);
        } catch (const CommandError&) {
        }
        EXPECT_EQ(numbers, c.numbers) << "'" << c.text << "'";
    }
}

}  // namespace
}  // namespace tkstream_cli
