#include "common/error_reporter.hpp"

#include <fstream>

namespace tkstream63 {

void ErrorReporter::report(const std::string& message, int32_t code) {
    recent_.push_back({message, code});
    while (recent_.size() > kRecentLimit) recent_.pop_front();
    if (logToFile_ && !logFileName_.empty()) {
        std::ofstream log(logFileName_, std::ios::app);
        if (log) log << code << '\t' << message << '\n';
    }
}

}  // namespace tkstream63
