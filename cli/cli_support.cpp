#include "cli/cli_support.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace tkstream_cli {
namespace {

template <class T>
std::string shortestText(T value) {
    if (std::isnan(value)) return "nan";
    if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
    char text[64];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return std::string(text, result.ptr);
}

template <class T>
std::string jsonNumberOf(T value) {
    if (std::isnan(value)) return "\"NaN\"";
    if (std::isinf(value)) return value < 0 ? "\"-inf\"" : "\"inf\"";
    return shortestText(value);
}

// Removes the temporary file unless it was put in place.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& target) {
        static int serial = 0;
        path_ = target + ".tmp-" + std::to_string(getpid()) + "-" + std::to_string(++serial);
        fd_ = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    }
    ~TemporaryFile() {
        if (fd_ >= 0) ::close(fd_);
        if (!placed_) ::unlink(path_.c_str());
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    bool write(std::string_view content) {
        if (fd_ < 0) return false;
        while (!content.empty()) {
            const ssize_t n = ::write(fd_, content.data(), content.size());
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) return false;
            content.remove_prefix(static_cast<size_t>(n));
        }
        return true;
    }
    bool placeAt(const std::string& target) {
        if (::fsync(fd_) != 0) return false;
        const int fd = fd_;
        fd_ = -1;
        if (::close(fd) != 0) return false;
        placed_ = ::rename(path_.c_str(), target.c_str()) == 0;
        return placed_;
    }

private:
    std::string path_;
    int fd_ = -1;
    bool placed_ = false;
};

}  // namespace

std::string inQuotes(std::string_view path) {
    std::string text = "'";
    text += path;
    return text += "'";
}

std::string numberText(float value) { return shortestText(value); }
std::string numberText(double value) { return shortestText(value); }
std::string jsonNumber(double value) { return jsonNumberOf(value); }
std::string jsonNumber(float value) { return jsonNumberOf(value); }

std::string jsonString(std::string_view text) {
    std::string json = "\"";
    for (const char c : text) {
        switch (c) {
            case '"': json += "\\\""; break;
            case '\\': json += "\\\\"; break;
            case '\n': json += "\\n"; break;
            case '\r': json += "\\r"; break;
            case '\t': json += "\\t"; break;
            default:
                if (static_cast<unsigned char>(c) < 0x20) {
                    char escaped[8];
                    std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
                    json += escaped;
                } else {
                    json += c;
                }
        }
    }
    return json + "\"";
}

std::string xmlEscaped(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '&': escaped += "&amp;"; break;
            case '<': escaped += "&lt;"; break;
            case '>': escaped += "&gt;"; break;
            case '"': escaped += "&quot;"; break;
            default: escaped += c;
        }
    }
    return escaped;
}

std::string textTable(const std::vector<std::vector<std::string>>& rows, const std::vector<bool>& rightAligned) {
    std::vector<size_t> widths;
    for (const auto& row : rows) {
        if (widths.size() < row.size()) widths.resize(row.size());
        for (size_t c = 0; c < row.size(); ++c) widths[c] = std::max(widths[c], row[c].size());
    }
    std::string text;
    for (const auto& row : rows) {
        std::string line;
        for (size_t c = 0; c < row.size(); ++c) {
            const std::string padding(widths[c] - row[c].size(), ' ');
            const bool right = c < rightAligned.size() && rightAligned[c];
            line += (c > 0 ? "  " : "") + (right ? padding + row[c] : row[c] + padding);
        }
        while (!line.empty() && line.back() == ' ') line.pop_back();
        text += line + "\n";
    }
    return text;
}

void writeFileAtomically(const std::string& path, std::string_view content) {
    errno = 0;
    TemporaryFile temporary(path);
    if (!temporary.write(content) || !temporary.placeAt(path))
        throw CommandError("cannot write " + inQuotes(path) + ": " +
                           (errno != 0 ? std::strerror(errno) : "the write was refused"));
}

}  // namespace tkstream_cli
