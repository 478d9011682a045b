// The example host's workflow: what a results viewer and its file readers do with the library.
#pragma once

#include <ostream>

namespace field_viewer {

// Runs the whole workflow, writing a readable report; returns the number of failed checks.
int runWorkflow(std::ostream& report);

}  // namespace field_viewer
