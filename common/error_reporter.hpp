// The shared error reporter: every trapped failure and every log line goes through report().
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace tkstream63 {

struct ReportedMessage {
    std::string message;
    int32_t code;
};

// Default reporter: keeps the most recent messages in memory and, when logging to a file is on,
// appends one line per report ("<code>\t<message>") to the log file. Hosts may derive their own.
class ErrorReporter {
public:
    static constexpr size_t kRecentLimit = 1000;

    virtual ~ErrorReporter() = default;
    virtual void setLogToFile(bool logToFile) { logToFile_ = logToFile; }
    virtual void setLogFileName(const std::string& fileName) { logFileName_ = fileName; }
    virtual void setVersionText(const std::string& versionText) { versionText_ = versionText; }
    virtual void report(const std::string& message, int32_t code);

    bool logToFile() const { return logToFile_; }
    const std::string& logFileName() const { return logFileName_; }
    const std::string& versionText() const { return versionText_; }
    // Most recent messages, oldest first (at most kRecentLimit).
    std::vector<ReportedMessage> recentMessages() const { return {recent_.begin(), recent_.end()}; }
    void clearRecentMessages() { recent_.clear(); }

private:
    bool logToFile_ = false;
    std::string logFileName_;
    std::string versionText_;
    std::deque<ReportedMessage> recent_;
};

}  // namespace tkstream63
