// One-pass bit rate: chooses each picture's quantiser by what pictures of its type have cost.
#ifndef QVOVC_EXAMPLES_RATE_CONTROL_H
#define QVOVC_EXAMPLES_RATE_CONTROL_H

#include <array>
#include <cstdint>

#include "common/encoder.h"

namespace codecs {

enum class PictureType : std::uint8_t { intra, predicted, bidirectional };

// Thinks in step sizes: a picture with complexity X costs X / step bits. Codecs translate steps into their quantisers
// and may round; update() takes the step that was used.
class RateControl {
  public:
    // The settings' bit rate, picture rate, key interval (which must not be 0) and number of B pictures. Steps lie
    // between `finest` and `coarsest`; factors scale the step by type (intra, predicted, bidirectional).
    RateControl(const EncoderSettings& settings, double finest, double coarsest, std::array<double, 3> factors);

    // The step for the next picture.
    double step(PictureType type) const;

    // After the picture: what it has cost.
    void update(PictureType type, double used, std::int64_t bits);

  private:
    double bitsPerPicture_;
    double horizon_ = 0;  // pictures that share what the rate gives
    double keyInterval_;
    int bPictures_;
    double finest_;
    double coarsest_;
    std::array<double, 3> factors_;

    std::array<double, 3> complexities_ = {};  // smoothed, by type
    std::array<bool, 3> known_ = {};
    double excess_ = 0;      // bits spent beyond the rate so far
    double lastBase_ = 0;    // step of the last picture without its type's factor
    double sinceIntra_ = 0;  // pictures since the last intra picture
};

}  // namespace codecs

#endif
