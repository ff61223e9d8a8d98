#include "progress_line.h"

#include <unistd.h>

#include <cstdio>

namespace rxkcat {

ProgressLine::ProgressLine(ProgressDisplay display)
    : enabled_(display == ProgressDisplay::Always ||
               (display == ProgressDisplay::WhenTerminal && isatty(STDERR_FILENO) == 1)),
      lastDraw_(std::chrono::steady_clock::now()) {}

ProgressLine::~ProgressLine() { finish(); }

void ProgressLine::draw(const std::string& text) {
    // Blanks cover what a longer earlier line left behind.
    const size_t padding = lastWidth_ > text.size() ? lastWidth_ - text.size() : 0;
    std::fprintf(stderr, "\r%s%*s", text.c_str(), static_cast<int>(padding), "");
    std::fflush(stderr);
    lastWidth_ = text.size();
    drawn_ = true;
}

void ProgressLine::finish() {
    if (!drawn_) return;
    std::fprintf(stderr, "\r%*s\r", static_cast<int>(lastWidth_), "");
    std::fflush(stderr);
    drawn_ = false;
    lastWidth_ = 0;
}

}  // namespace rxkcat
