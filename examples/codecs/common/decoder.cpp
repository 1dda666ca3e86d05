#include "common/decoder.h"

#include <chrono>

namespace codecs {

void StageClock::switchTo(Stage stage) {
    const double now = std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    if (last_ != 0) seconds_[static_cast<std::size_t>(stage_)] += now - last_;
    last_ = now;
    stage_ = stage;
}

}  // namespace codecs
