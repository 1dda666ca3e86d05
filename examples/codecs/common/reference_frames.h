// The frame stores of codecs that predict from the last two references at most.
#ifndef QVOVC_EXAMPLES_REFERENCE_FRAMES_H
#define QVOVC_EXAMPLES_REFERENCE_FRAMES_H

#include <array>
#include <memory>
#include <utility>

namespace codecs {

// Two references, in coding order, and the frame under construction. B pictures come before the newer reference in
// display order, so that it waits to be shown until the next reference comes.
template <class Frame>
class ReferenceFrames {
  public:
    // Makes all stores anew; there is no reference then. Throws std::bad_alloc.
    void allocate(int macroblockWidth, int macroblockHeight) {
        older_ = newer_ = nullptr;
        waiting_ = false;
        for (auto& frame : frames_) {
            frame.reset();
            frame = std::make_unique<Frame>(macroblockWidth, macroblockHeight);
        }
    }

    // Null where there is none.
    Frame* older() const { return older_; }
    Frame* newer() const { return newer_; }

    // A store that holds no reference.
    Frame* spare() const {
        for (const auto& frame : frames_) {
            if (frame.get() != older_ && frame.get() != newer_) return frame.get();
        }
        return nullptr;  // there are three
    }

    // Makes a spare frame the newer reference, one that is to be shown.
    void push(Frame* frame) {
        older_ = newer_;
        newer_ = frame;
        waiting_ = true;
    }

    // The same for a frame that stands in for a reference that is missing, and is not to be shown.
    void substitute(Frame* frame) { newer_ = frame; }

    // The newer reference where it still waits to be shown, else null. It waits no longer.
    const Frame* takeWaiting() { return std::exchange(waiting_, false) ? newer_ : nullptr; }

  private:
    std::array<std::unique_ptr<Frame>, 3> frames_;
    Frame* older_ = nullptr;
    Frame* newer_ = nullptr;
    bool waiting_ = false;
};

}  // namespace codecs

#endif
