#include "cli/tkstream.hpp"

#include <CLI/CLI.hpp>

#include <functional>

#include "cli/commands.hpp"
#include "common/version.hpp"

namespace tkstream_cli {

namespace {

std::string versionText() {
    return "tkstream " + std::to_string(tkstream63::kVersionMajor) + "." + std::to_string(tkstream63::kVersionMinor) +
           "." + std::to_string(tkstream63::kVersionRevision) + " (" + tkstream63::kProductName + ")";
}

const char* const kExitCodes =
    "Exit codes: 0 done (verify: sound; diff: equal within tolerance), 1 verify: damaged / diff: different, "
    "2 usage error, unusable input or unwritable output.";

}  // namespace

int runTkstream(int argc, const char* const* argv, const Console& console) noexcept {
    try {
        CLI::App app("Inspect, verify, compare, convert and draw tkstream63 store files.", "tkstream");
        app.footer(kExitCodes);
        app.set_version_flag("--version", versionText());
        app.require_subcommand(1);
        std::function<int()> run;

        InfoOptions info;
        auto* infoCommand = app.add_subcommand("info", "What a store file holds: form, size, records, datasets.");
        infoCommand->add_option("FILE", info.file, "store file")->required();
        infoCommand->add_flag("--json", info.json, "machine-readable output");
        infoCommand->callback([&] { run = [&] { return runInfo(info, console); }; });

        DumpOptions dump;
        auto* dumpCommand = app.add_subcommand("dump", "The record sequence: offset, keyword, type, count, nesting.");
        dumpCommand->add_option("FILE", dump.file, "record file")->required();
        dumpCommand->add_option("--dataset", dump.dataset, "only the records of dataset K (from 1)")
            ->check(CLI::PositiveNumber);
        dumpCommand->add_flag("--values", dump.values, "show the values");
        dumpCommand->add_flag("--all", dump.all, "every value of long arrays (with --values)");
        dumpCommand->add_flag("--json", dump.json, "machine-readable output");
        dumpCommand->callback([&] { run = [&] { return runDump(dump, console); }; });

        VerifyOptions verify;
        auto* verifyCommand = app.add_subcommand(
            "verify", "Read every record and check every checksum and the sections; prints OK or each problem.");
        verifyCommand->add_option("FILE", verify.file, "record file")->required();
        verifyCommand->callback([&] { run = [&] { return runVerify(verify, console); }; });

        ConvertOptions convert;
        auto* convertCommand = app.add_subcommand("convert", "The same records in the other form.");
        convertCommand->add_option("IN", convert.input, "record file to read")->required();
        convertCommand->add_option("OUT", convert.output, "record file to write")->required();
        convertCommand->add_option("--to", convert.to, "form of OUT")
            ->required()
            ->check(CLI::IsMember({"binary", "formatted"}));
        convertCommand->callback([&] { run = [&] { return runConvert(convert, console); }; });

        DiffOptions diff;
        auto* diffCommand = app.add_subcommand(
            "diff", "Compare two stores dataset by dataset and field by field; prints each difference.");
        diffCommand->add_option("A", diff.first, "first store file")->required();
        diffCommand->add_option("B", diff.second, "second store file")->required();
        diffCommand->add_option("--abs-tol", diff.absTol, "absolute tolerance for Single and Double values")
            ->check(CLI::NonNegativeNumber);
        diffCommand->add_option("--rel-tol", diff.relTol, "relative tolerance for Single and Double values")
            ->check(CLI::NonNegativeNumber);
        diffCommand->add_option("--dataset", diff.dataset, "compare only dataset K (from 1)")
            ->check(CLI::PositiveNumber);
        diffCommand->callback([&] { run = [&] { return runDiff(diff, console); }; });

        ExportVtkOptions vtk;
        auto* vtkCommand = app.add_subcommand(
            "export-vtk", "A dataset's streamlines (polylines with every node column) and wells as VTK PolyData.");
        vtkCommand->add_option("FILE", vtk.file, "store file")->required();
        vtkCommand->add_option("OUT", vtk.output, "VTK XML PolyData file to write (.vtp)")->required();
        vtkCommand->add_option("--dataset", vtk.dataset, "dataset K (from 1)")->required()->check(CLI::PositiveNumber);
        vtkCommand->add_option("--streamlines", vtk.streamlines, "only these streamlines, e.g. 1,4,10-20");
        vtkCommand->add_option("--encoding", vtk.encoding, "raw (appended binary, the default) or ascii")
            ->check(CLI::IsMember({"raw", "ascii"}));
        vtkCommand->callback([&] { run = [&] { return runExportVtk(vtk, console); }; });

        PlotOptions plot;
        auto* plotCommand = app.add_subcommand("plot", "A plan view of a dataset's streamlines and wells as SVG.");
        plotCommand->add_option("FILE", plot.file, "store file")->required();
        plotCommand->add_option("OUT", plot.output, "SVG file to write")->required();
        plotCommand->add_option("--dataset", plot.dataset, "dataset K (from 1)")->required()->check(CLI::PositiveNumber);
        plotCommand->add_option("--color-by", plot.colorBy,
                                "a node column (name or number; each streamline takes its mean), injector or "
                                "producer; default TOF");
        plotCommand->callback([&] { run = [&] { return runPlot(plot, console); }; });

        try {
            app.parse(argc, argv);
        } catch (const CLI::ParseError& e) {
            if (e.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) return app.exit(e, console.out, console.err);
            std::string problem = e.what();
            if (argc > 1 && argv[1][0] != '-') {
                try {
                    app.get_subcommand(argv[1]);
                } catch (const CLI::OptionNotFound&) {
                    problem = "unknown subcommand '" + std::string(argv[1]) + "'";
                }
            }
            console.err << "tkstream: " << problem << " (tkstream --help shows the usage)\n";
            return kExitError;
        }
        return run ? run() : kExitError;
    } catch (const CommandError& e) {
        console.err << "tkstream: " << e.what() << "\n";
    } catch (const std::exception& e) {
        console.err << "tkstream: " << e.what() << "\n";
    } catch (...) {
        console.err << "tkstream: an unexpected failure\n";
    }
    return kExitError;
}

}  // namespace tkstream_cli
