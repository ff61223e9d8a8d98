// A live status line on standard error, redrawn in place (\r) a few times per second.
#pragma once

#include "options.h"

#include <chrono>
#include <string>

namespace rxkcat {

class ProgressLine {
public:
    explicit ProgressLine(ProgressDisplay display);
    ~ProgressLine();  // finish()

    // Redraws the line with compose() if the last draw is old enough; cheap otherwise.
    template <typename Compose>
    void update(Compose compose) {
        if (!enabled_) return;
        const auto now = std::chrono::steady_clock::now();
        if (now - lastDraw_ < kInterval) return;
        lastDraw_ = now;
        draw(compose());
    }

    // Clears the line so that the next text starts on a clean line.
    void finish();

private:
    static constexpr std::chrono::milliseconds kInterval{250};
    void draw(const std::string& text);

    bool enabled_;
    bool drawn_ = false;
    size_t lastWidth_ = 0;
    std::chrono::steady_clock::time_point lastDraw_;
};

}  // namespace rxkcat
