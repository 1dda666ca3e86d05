#include "progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

namespace qvo {

Progress::Progress() : on_(isatty(STDERR_FILENO)), begin_(Clock::now()), next_(begin_) {}

void Progress::show(double part, int frames) {
    const auto now = Clock::now();
    if (!on_ || now < next_) return;
    next_ = now + std::chrono::milliseconds(100);
    drawn_ = true;
    const double seconds = std::max(std::chrono::duration<double>(now - begin_).count(), 0.001);
    if (part >= 0) {
        constexpr int width = 40;
        const int filled = static_cast<int>(std::min(part, 1.0) * width);
        std::fprintf(stderr, "\r[%s%s] %3.0f %% ", std::string(static_cast<std::size_t>(filled), '#').c_str(),
                     std::string(static_cast<std::size_t>(width - filled), '.').c_str(), std::min(part, 1.0) * 100);
    } else {
        std::fputc('\r', stderr);
    }
    std::fprintf(stderr, "%d frames, %.0f frames/s \033[K", frames, frames / seconds);
}

void Progress::clear() {
    if (drawn_) std::fputs("\r\033[K", stderr);
    drawn_ = false;
}

}  // namespace qvo
