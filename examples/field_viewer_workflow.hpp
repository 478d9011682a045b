// The example host's workflow: what a results viewer and its file readers do with the library.
//
// A reader turns each time step of a simulated five-spot field into a dataset with its wells,
// connections, node table, pointers and allocation factors; the viewer adds the datasets to a
// store, searches them, reads a streamline and an injector's allocation back, saves the store to
// a record file, loads it into a fresh store, checks that nothing changed, and shuts down.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>

#include <tkstream63.hpp>

#include "examples/five_spot_field.hpp"

namespace field_viewer {

// Counts failed checks and names each one in the report.
class Checks {
public:
    explicit Checks(std::ostream& report) : report_(report) {}
    // True when condition holds; otherwise counts a failure and reports what was expected.
    bool expect(bool condition, const std::string& what);
    // The same for the qOK a library member answered.
    bool ok(bool qOK, const std::string& member) {
        return expect(qOK, member + " answered qOK True");
    }
    int failures() const { return failures_; }

private:
    std::ostream& report_;
    int failures_ = 0;
};

// One simulated time step: the injection rate the field was traced with and the time reached.
struct TimeStep {
    int32_t number;
    double injectionRate;  // m3/day
    float simulationTime;  // days since 2024-01-01
};

// "YYYY-MM-DD" of a day count since 2024-01-01.
std::string dateText(int32_t days);

// The file reader's part: a dataset holding the field's wells, connections, node table (X, Y, Z,
// CELL, TOF, DRT, VELOCITY), pointers, and the allocation factors given (made by
// makeAllocationSet). Streamlines are ordered by the producer they reach, so each producer's
// streamlines are consecutive.
std::shared_ptr<tkstream63::rvStreamSet> loadTimeStep(
    const five_spot::Field& field, const TimeStep& step,
    std::shared_ptr<tkstream63::rvWAFSet> allocation, Checks& checks);

// The allocation factors of a time step. Its wells are P1..P4 then I1 (numbered apart from the
// dataset's). WAF data columns: 1 partner well, 2 rate, 3 share of the well's total, 4 oil rate,
// 5 water rate, 6 oil fraction, 7 water cut, 8 pore volumes injected, 9 oil per volume injected.
std::shared_ptr<tkstream63::rvWAFSet> makeAllocationSet(const five_spot::Field& field,
                                                        const TimeStep& step, Checks& checks);

// Compares two datasets through the public getters a viewer uses (attributes, grid and limits,
// wells, connections, headers, every streamline's rows and end wells, the allocation factors of
// every WAF well). Floats are compared bit for bit. "" when equal, else the first part that
// differs.
std::string firstDifference(tkstream63::rvStreamSet& a, tkstream63::rvStreamSet& b);

// Runs the whole workflow, writing a readable report; returns the number of failed checks. The
// store is saved to keepStorePath when one is given (and kept there), else to a scratch folder.
int runWorkflow(std::ostream& report, const std::string& keepStorePath = "");

}  // namespace field_viewer
