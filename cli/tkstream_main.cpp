// tkstream: the command-line program over the tkstream63 library.
#include <unistd.h>

#include <iostream>

#include "cli/tkstream.hpp"

int main(int argc, char** argv) {
    const tkstream_cli::Console console{std::cout, std::cerr, isatty(STDERR_FILENO) == 1};
    return tkstream_cli::runTkstream(argc, argv, console);
}
