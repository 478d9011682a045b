// tkstream verify: reads every record of a file, so that every checksum is checked, and checks
// that the sections close. Prints "OK" or each problem with its record and byte offset.
#include "cli/commands.hpp"
#include "cli/progress.hpp"
#include "cli/record_scan.hpp"

namespace tkstream_cli {

int runVerify(const VerifyOptions& options, const Console& console) {
    tkstream63::RecordFile file;
    openForReading(file, options.file);
    ProgressBar bar(file, console, "verifying " + options.file);
    int64_t records = 0;
    const std::vector<ScanProblem> problems = scanRecords(file, [&](const ScannedRecord&) {
        ++records;
        return true;
    });
    if (problems.empty()) {
        console.out << "OK\n";
        return kExitOK;
    }
    for (const ScanProblem& problem : problems)
        console.out << (problem.record > 0 ? "record " + std::to_string(problem.record) + ": " : "")
                    << problem.message << "\n";
    console.out << "DAMAGED: " << problems.size() << (problems.size() == 1 ? " problem" : " problems") << ", "
                << records << " records read sound\n";
    return kExitFindings;
}

}  // namespace tkstream_cli
