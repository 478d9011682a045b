// The tkstream program: inspect, verify, compare, convert and draw saved stores.
#pragma once

#include "cli/cli_support.hpp"

namespace tkstream_cli {

// Parses the arguments, runs the chosen subcommand and returns the exit code (see ExitCode).
// Nothing escapes: every failure becomes one line on console.err.
int runTkstream(int argc, const char* const* argv, const Console& console) noexcept;

}  // namespace tkstream_cli
