// Example host program: builds a five-spot streamline field and runs a viewer's workflow on it.
#include <iostream>

#include "examples/field_viewer_workflow.hpp"

int main() {
    const int failures = field_viewer::runWorkflow(std::cout);
    return failures == 0 ? 0 : 1;
}
