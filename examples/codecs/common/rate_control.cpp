#include "common/rate_control.h"

#include <algorithm>
#include <cmath>

namespace codecs {

namespace {

// Complexity of a first picture, in bits times step per luma sample, and how other types compare with it: guesses that
// the first pictures of each type replace.
constexpr double firstComplexity = 12;
constexpr std::array<double, 3> guessedShares = {1, 0.3, 0.2};

constexpr double horizonSeconds = 2;    // in which an excess is made good again
constexpr double smallestShare = 0.3;   // of the rate, while it is made good
constexpr double largestShare = 2.0;    // while bits that were saved are spent
constexpr double newWeight = 0.4;       // of the latest picture in the complexity of its type
constexpr double largestChange = 1.25;  // of the step from picture to picture
constexpr double mostRounding = 1.6;    // of steps by codecs; beyond it they chose on their own

}  // namespace

RateControl::RateControl(const EncoderSettings& settings, double finest, double coarsest,
                         std::array<double, 3> factors)
    : bitsPerPicture_(static_cast<double>(settings.bitRate) * settings.rateDenominator / settings.rateNumerator),
      keyInterval_(settings.keyInterval),
      bPictures_(settings.bPictures),
      finest_(finest),
      coarsest_(coarsest),
      factors_(factors) {
    const double samples = static_cast<double>(settings.width) * settings.height;
    for (std::size_t i = 0; i < complexities_.size(); ++i)
        complexities_[i] = firstComplexity * samples * guessedShares[i];
    horizon_ = std::max(8.0, horizonSeconds * settings.rateNumerator / settings.rateDenominator);
}

// The base step with which the pictures of the next seconds, by the pattern of their types, cost what the rate and the
// excess leave for them.
double RateControl::step(PictureType type) const {
    const auto index = static_cast<std::size_t>(type);
    const double untilIntra = type == PictureType::intra ? 0 : std::max(keyInterval_ - sinceIntra_, 1.0);
    const double intra = horizon_ > untilIntra ? std::ceil((horizon_ - untilIntra) / keyInterval_) : 0;
    const double others = horizon_ - intra;
    const double predicted = others / (bPictures_ + 1);
    const std::array<double, 3> counts = {intra, predicted, others - predicted};
    double complexity = 0;
    for (std::size_t i = 0; i < counts.size(); ++i)
        complexity += counts[i] * complexities_[i] / factors_[i];

    const double share = std::clamp(1 - excess_ / (horizon_ * bitsPerPicture_), smallestShare, largestShare);
    double base = complexity / (share * horizon_ * bitsPerPicture_);
    if (known_[index]) base = std::clamp(base, lastBase_ / largestChange, lastBase_ * largestChange);
    return std::clamp(base * factors_[index], finest_, coarsest_);
}

void RateControl::update(PictureType type, double used, std::int64_t bits) {
    const auto index = static_cast<std::size_t>(type);
    // The step that was asked for goes on growing where the codec's rounding would hold it for ever.
    const double asked = step(type);
    const bool isRounded = used < mostRounding * asked && asked < mostRounding * used;
    lastBase_ = (isRounded ? asked : used) / factors_[index];
    const double complexity = static_cast<double>(bits) * used;
    if (known_[index]) {
        complexities_[index] += newWeight * (complexity - complexities_[index]);
    } else {
        // The first picture of a type says more than the guesses, also about types to come.
        const double ratio = complexity / complexities_[index];
        for (std::size_t i = 0; i < known_.size(); ++i)
            if (!known_[i]) complexities_[i] *= ratio;
        known_[index] = true;
    }
    excess_ += static_cast<double>(bits) - bitsPerPicture_;
    sinceIntra_ = type == PictureType::intra ? 1 : sinceIntra_ + 1;
}

}  // namespace codecs
