#include "cli/progress.hpp"

#include <algorithm>

namespace tkstream_cli {

namespace {
constexpr int kBarWidth = 30;
}

ProgressBar::ProgressBar(tkstream63::RecordFile& file, const Console& console, std::string label)
    : file_(file), err_(console.err), enabled_(console.progress), label_(std::move(label)) {
    if (enabled_) file_.SetProgressCallback([this] { draw(); });
}

ProgressBar::~ProgressBar() {
    if (!enabled_) return;
    file_.SetProgressCallback(nullptr);
    if (shownPercent_ >= 0)
        err_ << '\r' << std::string(label_.size() + kBarWidth + 10, ' ') << '\r' << std::flush;
}

void ProgressBar::draw() {
    const int64_t total = file_.TotalBytes();
    if (total <= 0) return;
    const int percent = static_cast<int>(std::min<int64_t>(100, file_.BytesRead() * 100 / total));
    if (percent == shownPercent_) return;
    shownPercent_ = percent;
    const int filled = percent * kBarWidth / 100;
    err_ << '\r' << label_ << " [" << std::string(static_cast<size_t>(filled), '#')
         << std::string(static_cast<size_t>(kBarWidth - filled), '.') << "] " << percent << "%"
         << std::flush;
}

}  // namespace tkstream_cli
