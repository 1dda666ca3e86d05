// Time per stage of a codec.
#ifndef QVOVC_EXAMPLES_STAGE_CLOCK_H
#define QVOVC_EXAMPLES_STAGE_CLOCK_H

#include <array>
#include <chrono>
#include <cstddef>

namespace codecs {

// S: an enumeration of the stages that ends with count; the clock begins in the first. Costs one predictable branch per
// mark where it is off.
template <class S>
class StageClock {
  public:
    void enable() { on_ = true; }
    // From now on time counts for this stage; returns the stage before it.
    S enter(S stage) {
        const S before = stage_;
        if (on_) switchTo(stage);
        return before;
    }
    double seconds(S stage) const { return seconds_[static_cast<std::size_t>(stage)]; }

  private:
    void switchTo(S stage) {
        const double now = std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
        if (last_ != 0) seconds_[static_cast<std::size_t>(stage_)] += now - last_;
        last_ = now;
        stage_ = stage;
    }

    bool on_ = false;
    S stage_ = S{};
    double last_ = 0;
    std::array<double, static_cast<std::size_t>(S::count)> seconds_{};
};

}  // namespace codecs

#endif
