// The progress bar on standard error, where that is a terminal.
#ifndef QVOVC_QVO_PROGRESS_H
#define QVOVC_QVO_PROGRESS_H

#include <chrono>

namespace qvo {

class Progress {
  public:
    Progress();
    ~Progress() { clear(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // part: of the input, 0 to 1, negative where unknown. Draws a few times a second at most.
    void show(double part, int frames);
    // Makes room for a message.
    void clear();

  private:
    using Clock = std::chrono::steady_clock;
    bool on_;
    bool drawn_ = false;
    Clock::time_point begin_;
    Clock::time_point next_;
};

}  // namespace qvo

#endif
