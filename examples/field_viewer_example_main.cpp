// Example host program: builds a five-spot streamline field and runs a viewer's workflow on it.
//
//   field_viewer_example [--keep-store PATH]
//
// With --keep-store the saved store is written to PATH and kept, a real file to try the tkstream
// program on (tkstream info PATH).
#include <cstring>
#include <iostream>
#include <string>

#include "examples/field_viewer_workflow.hpp"

int main(int argc, char** argv) {
    std::string keepStorePath;
    if (argc == 3 && std::strcmp(argv[1], "--keep-store") == 0) {
        keepStorePath = argv[2];
    } else if (argc != 1) {
        std::cerr << "usage: " << argv[0] << " [--keep-store PATH]\n";
        return 2;
    }
    const int failures = field_viewer::runWorkflow(std::cout, keepStorePath);
    return failures == 0 ? 0 : 1;
}
