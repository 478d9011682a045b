// A progress bar on the error stream while a record file is read, driven by the file's progress
// callback (ticked after every tenth record). It draws nothing unless the console allows it,
// which the program does only when stderr is a terminal.
#pragma once

#include <string>

#include <tkstream63.hpp>

#include "cli/cli_support.hpp"

namespace tkstream_cli {

class ProgressBar {
public:
    // The bar must not outlive the file.
    ProgressBar(tkstream63::RecordFile& file, const Console& console, std::string label);
    // Clears the bar's line.
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

private:
    void draw();

    tkstream63::RecordFile& file_;
    std::ostream& err_;
    bool enabled_;
    std::string label_;
    int shownPercent_ = -1;
};

}  // namespace tkstream_cli
