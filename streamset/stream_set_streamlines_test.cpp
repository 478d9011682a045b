// The node and pointer tables: storing them, the per-streamline extractions and their refusals.
#include <tuple>

#include "common/test_support.hpp"
#include "streamset/stream_set.hpp"

namespace tkstream63 {
namespace {

constexpr int32_t kRows = 10;
constexpr int32_t kColumns = 8;

// Node value at (row, column); column 4 holds the cell, rows 1..10 are cells 1..10.
float nodeValue(int32_t row, int32_t column) {
    return column == 4 ? static_cast<float>(row) : static_cast<float>(100 * column + row);
}

using testing_support::lastReport;
using testing_support::values;

Array<std::string> texts(const std::vector<std::string>& values) { return testing_support::list(values); }

// Three streamlines over a 10 x 8 node table: 1 = rows 1-4 from well 1 to well 2,
// 2 = no nodes, 3 = rows 5-10 from well 2 to well 1.
class Streamlines : public ::testing::Test {
protected:
    void SetUp() override {
        errorReporter().clearRecentMessages();
        Array<float> nodes(1, kRows, 1, kColumns);
        for (int32_t c = 1; c <= kColumns; ++c)
            for (int32_t r = 1; r <= kRows; ++r) nodes(r, c) = nodeValue(r, c);
        set.setStreamLineData(nodes, kColumns, kRows, qOK);
        ASSERT_TRUE(qOK);
        const int32_t pointers[3][8] = {{1, 4, 0, 0, 0, 0, 1, 2}, {5, 0, 0, 0, 0, 0, 1, 1},
                                        {5, 6, 0, 0, 0, 0, 2, 1}};
        Array<int32_t> table(1, 8, 1, 6);
        for (int32_t s = 1; s <= 3; ++s)
            for (int32_t c = 1; c <= 8; ++c) table(c, s) = pointers[s - 1][c - 1];
        set.setStreamLinePointers(table, 8, 3, qOK);
        ASSERT_TRUE(qOK);
        set.setHeaders(texts({"X", "Y", "Z", "CELL", "TOF", "DRT", "P7", "P8"}),
                       texts({"m", "m", "m", "", "d", "", "", ""}), 8, qOK);
        ASSERT_TRUE(qOK);
    }

    rvStreamSet set;
    bool qOK = false;
};

TEST(StreamlineTable, FreshDatasetAndHeaderQuirks) {
    rvStreamSet set;
    EXPECT_EQ(set.NumCols(), 0);
    Array<std::string> headers = texts({"keep"}), units = texts({"keep"});
    int32_t nHeaders = 99;
    bool qOK = true;
    set.getHeaders(headers, units, nHeaders, qOK);
    EXPECT_FALSE(qOK || nHeaders != 99);

    set.setHeaders(texts({"A", "B", "C"}), texts({"ua", "ub", "uc"}), 3, qOK);
    EXPECT_TRUE(qOK);
    set.setHeaders(texts({"Z"}), texts({"uz"}), 0, qOK);  // no headers: nothing changes
    EXPECT_FALSE(qOK);
    set.getHeaders(headers, units, nHeaders, qOK);
    EXPECT_TRUE(qOK && nHeaders == 3);
    EXPECT_EQ(values(units), values(headers));  // units receive the header names
    EXPECT_EQ(values(headers), (std::vector<std::string>{"A", "B", "C"}));

    // NumCols is the header count, whatever the node table holds.
    Array<float> nodes(1, 2, 1, 10);
    set.setStreamLineData(nodes, 10, 2, qOK);
    EXPECT_EQ(std::make_pair(set.NumCols(), set.MaxRows()), std::make_pair(3, 2));
}

TEST_F(Streamlines, ShortCallerArraysKeepWhatIsStored) {
    Array<float> shortNodes(1, 5, 1, kColumns);  // fewer rows than claimed
    set.setStreamLineData(shortNodes, kColumns, 6, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(lastReport(),
              "Error:Subscript out of range (No.9) In [rvStreamSet (Code) (setStreamLineData)] ");
    EXPECT_EQ(set.MaxRows(), kRows);

    // The pointer table must hold twice the streamline count.
    Array<int32_t> singleSize(1, 8, 1, 3);
    set.setStreamLinePointers(singleSize, 8, 3, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_NE(lastReport().find("(setStreamLinePointers)"), std::string::npos);

    set.setHeaders(texts({"A", "B"}), texts({"u"}), 2, qOK);
    EXPECT_FALSE(qOK || set.NumCols() != 8);

    // Counts of 0 change nothing and succeed.
    bool pointersOK = false;
    set.setStreamLineData(shortNodes, 0, 5, qOK);
    set.setStreamLinePointers(singleSize, 8, 0, pointersOK);
    EXPECT_TRUE(qOK && pointersOK && set.NumberStreamlines() == 3);

    Array<float> tof;
    int32_t nnodes = 0;
    set.getSingleStreamlineTOF(3, tof, nnodes, qOK);
    ASSERT_TRUE(qOK && nnodes == 6);
    EXPECT_EQ(std::make_pair(tof(1), tof(6)), std::make_pair(nodeValue(5, 5), nodeValue(10, 5)));
}

TEST_F(Streamlines, ColumnRunsAndUntouchedOutputs) {
    Array<float> x, y, z;
    int32_t nnodes = 0;
    set.getSingleStreamlinePositions(1, x, y, z, nnodes, qOK);
    ASSERT_TRUE(qOK && nnodes == 4 && x.lbound() == 1);
    EXPECT_EQ(std::make_pair(x(4), z(1)), std::make_pair(nodeValue(4, 1), nodeValue(1, 3)));

    Array<float> drt = x;
    set.getSingleStreamlineDRT(3, drt, nnodes, qOK);
    EXPECT_EQ(drt(2), nodeValue(6, 6));

    // Out of range streamline numbers, the empty streamline and an unknown property answer
    // qOK True and leave the outputs alone (the empty one reports its 0 nodes).
    for (int32_t iStream : {0, 4}) {
        nnodes = 77;
        set.getSingleStreamlineTOF(iStream, drt, nnodes, qOK);
        EXPECT_TRUE(qOK && nnodes == 77) << iStream;
    }
    set.getSingleStreamlineTOF(2, drt, nnodes, qOK);
    EXPECT_TRUE(qOK && nnodes == 0);
    for (int32_t iProp : {0, 9}) {
        nnodes = 77;
        set.getSingleStreamlineProperty(1, iProp, drt, nnodes, qOK);
        EXPECT_TRUE(qOK && nnodes == 77) << iProp;
    }
    EXPECT_EQ(drt.size(), 6u);
    set.getSingleStreamlineProperty(1, 8, drt, nnodes, qOK);
    EXPECT_EQ(drt(4), nodeValue(4, 8));

    Array<float> all;
    int32_t nCols = 0;
    set.getSingleStreamline(3, all, nCols, nnodes, qOK);
    ASSERT_TRUE(qOK && nCols == 8);
    EXPECT_EQ(std::make_pair(all(6, 8), all(1, 2)), std::make_pair(nodeValue(10, 8), nodeValue(5, 2)));
}

TEST_F(Streamlines, PointersOutsideTheNodeTableFail) {
    // Streamline 1 runs past the last row, streamline 2 starts at row 0.
    Array<int32_t> table(1, 8, 1, 4);
    table(1, 1) = 8;
    table(2, 1) = 4;
    table(2, 2) = 2;
    set.setStreamLinePointers(table, 8, 2, qOK);
    Array<float> tof(1, 1);
    tof(1) = 5;
    int32_t nnodes = 0;
    for (int32_t iStream : {1, 2}) {
        set.getSingleStreamlineTOF(iStream, tof, nnodes, qOK);
        EXPECT_FALSE(qOK);
        EXPECT_EQ(tof(1), 5);
    }
    EXPECT_EQ(lastReport(), "Error:Subscript out of range (No.9) In [rvStreamSet (Code) "
                            "(extractSingleStreamLineTOF)] ");

    // More headers than node columns: the whole-streamline copy fails too.
    set.setHeaders(texts(std::vector<std::string>(9, "H")), texts(std::vector<std::string>(9)),
                   9, qOK);
    Array<int32_t> twoColumns(1, 2, 1, 2);
    twoColumns(1, 1) = 1;
    twoColumns(2, 1) = 4;
    set.setStreamLinePointers(twoColumns, 2, 1, qOK);
    Array<float> all;
    int32_t nCols = 0;
    set.getSingleStreamline(1, all, nCols, nnodes, qOK);
    EXPECT_FALSE(qOK);
    // Pointer table without end-node columns.
    int32_t iWell = -5;
    set.getSingleStartNodeIndex(1, iWell, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_EQ(iWell, -5);
}

TEST_F(Streamlines, CellsRoundHalfToEvenAndIJKNeedsTheGrid) {
    Array<float> nodes(1, 4, 1, 6);
    const float cells[4] = {2.5f, 3.5f, -2.5f, 12.4f};
    for (int32_t r = 1; r <= 4; ++r) nodes(r, 4) = cells[r - 1];
    set.setStreamLineData(nodes, 6, 4, qOK);
    Array<int32_t> iCell;
    int32_t nnodes = 0;
    set.getSingleStreamlineCells(1, iCell, nnodes, qOK);
    ASSERT_TRUE(qOK);
    EXPECT_EQ(values(iCell), (std::vector<int32_t>{2, 4, -2, 12}));

    Array<int32_t> i, j, k;
    set.getSingleStreamlineIJK(1, i, j, k, nnodes, qOK);
    EXPECT_FALSE(qOK);
    set.setGridDimension(3, 2, 2, qOK);
    set.getSingleStreamlineIJK(1, i, j, k, nnodes, qOK);
    ASSERT_TRUE(qOK);
    // Cell 4 is (1, 2, 1), cell 12 (3, 2, 2).
    EXPECT_EQ((std::vector<int32_t>{i(2), j(2), k(2), i(4), j(4), k(4)}), (std::vector<int32_t>{1, 2, 1, 3, 2, 2}));

    nodes(1, 4) = 1e10f;
    set.setStreamLineData(nodes, 6, 4, qOK);
    set.getSingleStreamlineCells(1, iCell, nnodes, qOK);
    EXPECT_FALSE(qOK);
    EXPECT_NE(lastReport().find("(No.6) In [rvStreamSet (Code) (extractSingleStreamLineCells)]"),
              std::string::npos);
}

TEST_F(Streamlines, DataTableLeavesIJKAtZeroWithoutGrid) {
    Array<float> data;
    int32_t nCols = 0, nnodes = 0;
    set.getSingleStreamlineData(1, data, nCols, nnodes, qOK);
    ASSERT_TRUE(qOK && nCols == 8 && nnodes == 4);
    EXPECT_EQ((std::vector<float>{data(3, 1), data(3, 4), data(3, 6), data(3, 7), data(3, 8)}),
              (std::vector<float>{nodeValue(3, 1), 0, 0, nodeValue(3, 5), nodeValue(3, 6)}));

    set.setGridDimension(5, 2, 1, qOK);
    set.getSingleStreamlineData(3, data, nCols, nnodes, qOK);
    ASSERT_TRUE(qOK);
    EXPECT_EQ((std::vector<float>{data(6, 4), data(6, 5), data(6, 6)}), (std::vector<float>{5, 2, 1}));  // cell 10

    set.getSingleStreamlineData(9, data, nCols, nnodes, qOK);  // no nodes: a failure here
    EXPECT_FALSE(qOK);
}

TEST_F(Streamlines, EndNodesReadTheWellTable) {
    const std::string longName(45, 'W');
    set.setWellNames(texts({"P1", longName}), 2, qOK);
    set.setWellIndex(testing_support::list<int32_t>({11, 22}), 2, qOK);
    using IndexMember = void (rvStreamSet::*)(int32_t, int32_t&, bool&) const;
    const std::vector<std::tuple<IndexMember, int32_t, int32_t>> indexes = {
        {&rvStreamSet::getSingleStartNodeIndex, 3, 2}, {&rvStreamSet::getSingleEndNodeIndex, 3, 1},
        {&rvStreamSet::getSingleSourceIndex, 1, 11},   {&rvStreamSet::getSingleSinkIndex, 1, 22},
        {&rvStreamSet::getSingleSinkIndex, 4, 42}};  // out of range: untouched
    for (const auto& [member, iStream, expected] : indexes) {
        int32_t iWell = 42;
        (set.*member)(iStream, iWell, qOK);
        EXPECT_TRUE(qOK);
        EXPECT_EQ(iWell, expected) << iStream;
    }
    // Names are cut to 40 characters; out of range empties the name.
    using NameMember = void (rvStreamSet::*)(int32_t, std::string&, bool&) const;
    const std::vector<std::tuple<NameMember, int32_t, std::string>> names = {
        {&rvStreamSet::getSingleEndNodeName, 1, longName.substr(0, 40)},
        {&rvStreamSet::getSingleStartNodeName, 3, longName.substr(0, 40)},
        {&rvStreamSet::getSingleEndNodeName, 3, "P1"}, {&rvStreamSet::getSingleStartNodeName, 0, ""}};
    for (const auto& [member, iStream, expected] : names) {
        std::string name = "old";
        (set.*member)(iStream, name, qOK);
        EXPECT_TRUE(qOK);
        EXPECT_EQ(name, expected) << iStream;
    }
}

}  // namespace
}  // namespace tkstream63
