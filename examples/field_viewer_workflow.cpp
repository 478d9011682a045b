#include "examples/field_viewer_workflow.hpp"

#include <tkstream63.hpp>

namespace field_viewer {

int runWorkflow(std::ostream& report) {
    tkstream63::rvStreamSet dataset;
    dataset.Origin("BASE");
    report << "dataset origin " << dataset.UCaseOrigin() << "\n";
    return 0;
}

}  // namespace field_viewer
