#include "examples/field_viewer_workflow.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace field_viewer {
namespace {

using namespace tkstream63;

// A small field (8 streamlines per layer) keeps these tests quick.
const five_spot::Field& smallField() {
    static const five_spot::Field field = five_spot::makeFiveSpot(1000.0, 8);
    return field;
}

const TimeStep kStep{1, 1000.0, 2500.0f};

std::shared_ptr<rvStreamSet> load(const five_spot::Field& field, const TimeStep& step,
                                  const TimeStep& allocationStep, Checks& checks) {
    return loadTimeStep(field, step, makeAllocationSet(field, allocationStep, checks), checks);
}

bool sameBits(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0; }

int scratchFolderCount() {
    int count = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::temp_directory_path()))
        if (entry.path().filename().string().rfind("field_viewer_", 0) == 0) ++count;
    return count;
}

TEST(FieldViewerWorkflow, RunsEndToEndTwiceWithoutFailuresAndLeavesNoFiles) {
    const int foldersBefore = scratchFolderCount();
    // The second run starts after the first one's CloseDown: the library must build its shared
    // objects afresh and give the same report.
    std::string firstReport;
    for (int run = 1; run <= 2; ++run) {
        std::ostringstream report;
        EXPECT_EQ(runWorkflow(report), 0) << report.str();
        const std::string text = report.str();
        for (const char* line :
             {"the store renamed the new dataset to FIVESPOT1",
              "Origin = fivespot                                    -> datasets 1 2\n",
              "DateStamp = 2030-11-05 among datasets 3 1            -> datasets 3 1\n",
              ": I1 -> P3, ", "  P3         4         250.0  25.0%          40",
              "whole store, every field of the record file: equal",
              "library message (code 0): tkstream63 v", "All checks passed."}) {
            EXPECT_NE(text.find(line), std::string::npos) << "missing: " << line;
        }
        EXPECT_EQ(text.find("FAILED"), std::string::npos);
        EXPECT_EQ(text.find("Error:"), std::string::npos);
        if (run == 1) {
            firstReport = text;
        } else {
            // Only the file size (large bodies are padded to their array's page offset) and the
            // version's file date may differ between the runs.
            const auto comparable = [](std::string t) {
                const size_t saved = t.find("  saved ");
                t.erase(saved, t.find('\n', saved) - saved);
                return t.substr(0, t.find("== 8."));
            };
            EXPECT_EQ(comparable(text), comparable(firstReport));
        }
    }
    EXPECT_EQ(scratchFolderCount(), foldersBefore);
}

TEST(FieldViewerWorkflow, ReaderKeepsEveryStreamlineWithItsWells) {
    const five_spot::Field& field = smallField();
    std::ostringstream report;
    Checks checks(report);
    const auto dataset = load(field, kStep, kStep, checks);
    ASSERT_EQ(checks.failures(), 0) << report.str();
    ASSERT_EQ(dataset->NumberStreamlines(), 40);

    // A producer's run holds the field's streamlines that reach it, in field order, from I1, with
    // every node value as traced.
    bool qOK = false;
    int32_t covered = 0;
    for (int32_t well = 2; well <= 5; ++well) {
        std::vector<const five_spot::Streamline*> expected;
        for (const five_spot::Streamline& line : field.streamlines)
            if (line.endWell == well) expected.push_back(&line);
        Array<int32_t> streams;
        int32_t nStreams = 0;
        dataset->getWellStreamLineNumbers(well, streams, nStreams, qOK);
        ASSERT_EQ(nStreams, static_cast<int32_t>(expected.size()));
        covered += nStreams;
        for (int32_t k = 1; k <= nStreams; ++k) {
            const five_spot::Streamline& line = *expected[static_cast<size_t>(k - 1)];
            std::string start, end;
            Array<float> rows;
            int32_t nCols = 0, nnodes = 0;
            dataset->getSingleStartNodeName(streams(k), start, qOK);
            dataset->getSingleEndNodeName(streams(k), end, qOK);
            EXPECT_EQ(start + " " + end, "I1 " + field.wells[static_cast<size_t>(well - 1)].name);
            dataset->getSingleStreamline(streams(k), rows, nCols, nnodes, qOK);
            ASSERT_EQ(nCols, 7);
            ASSERT_EQ(nnodes, static_cast<int32_t>(line.nodes.size()));
            for (int32_t n = 1; n <= nnodes; ++n) {
                const five_spot::Node& node = line.nodes[static_cast<size_t>(n - 1)];
                const float values[7] = {node.x,   node.y,   node.z,       node.cell,
                                         node.tof, node.drt, node.velocity};
                for (int32_t c = 1; c <= 7; ++c)
                    ASSERT_TRUE(sameBits(rows(n, c), values[c - 1]))
                        << "streamline " << streams(k) << " node " << n << " column " << c;
            }
        }
    }
    EXPECT_EQ(covered, dataset->NumberStreamlines());
}

TEST(FieldViewerWorkflow, DatasetComparisonFindsASingleChangedBit) {
    const five_spot::Field& field = smallField();
    std::ostringstream report;
    Checks checks(report);
    const auto reference = load(field, kStep, kStep, checks);
    EXPECT_EQ(firstDifference(*reference, *load(field, kStep, kStep, checks)), "");

    // -0.0 equals 0.0 as a number but not bit for bit: the first DRT of the first streamline
    // reaching P1 (dataset streamline 1).
    five_spot::Field signFlipped = field;
    for (five_spot::Streamline& line : signFlipped.streamlines) {
        if (line.endWell != 2) continue;
        ASSERT_EQ(line.nodes.front().drt, 0.0f);
        line.nodes.front().drt = -0.0f;
        break;
    }
    EXPECT_EQ(firstDifference(*reference, *load(signFlipped, kStep, kStep, checks)),
              "streamline 1");

    five_spot::Field renamed = field;
    renamed.wells[3].name = "P3X";
    EXPECT_EQ(firstDifference(*reference, *load(renamed, kStep, kStep, checks)), "wells");

    const TimeStep later{1, 1000.0, 4000.0f};
    EXPECT_EQ(firstDifference(*reference, *load(field, kStep, later, checks)),
              "allocation factors");
    EXPECT_EQ(firstDifference(*reference, *load(field, later, kStep, checks)), "attributes");
    EXPECT_EQ(checks.failures(), 0) << report.str();
}

TEST(FieldViewerWorkflow, DatesAndWaterArrival) {
    EXPECT_EQ((std::vector<std::string>{dateText(0), dateText(59), dateText(366), dateText(2500)}),
              (std::vector<std::string>{"2024-01-01", "2024-02-29", "2025-01-01", "2030-11-05"}));
    double fastest = 1e30;
    for (const five_spot::Streamline& line : smallField().streamlines)
        fastest = std::min(fastest, five_spot::transitTime(line));
    EXPECT_EQ(five_spot::waterFraction(fastest, fastest), 0.0);
    EXPECT_DOUBLE_EQ(five_spot::waterFraction(fastest, 4 * fastest), 0.75);
}

}  // namespace
}  // namespace field_viewer
