#include "h264/inter.h"

#include <algorithm>
#include <cstdlib>

namespace codecs::h264 {

namespace {

Target locate(const Frame& frame, std::size_t plane, int x, int y) {
    const Plane& p = frame.plane(plane);
    const int divisor = plane == 0 ? 1 : 2;
    return {p.samples + std::ptrdiff_t{y / divisor} * p.step + x / divisor, p.step};
}

}  // namespace

void predictLuma(const Plane& from, Vector vector, int x, int y, int width, int height, Target to) {
    const int fullX = std::clamp(x + (vector.x >> 2), -19, from.width + 2);
    const int fullY = std::clamp(y + (vector.y >> 2), -19, from.height + 2);
    qvoiInterpolateLuma_H264_8u_C1R(from.samples + std::ptrdiff_t{fullY} * from.step + fullX, from.step, to.samples,
                                    to.step, vector.x & 3, vector.y & 3, width, height);
}

void predictChroma(const Plane& from, Vector vector, int x, int y, int width, int height, Target to) {
    const int fullX = std::clamp(x + (vector.x >> 3), -9, from.width);
    const int fullY = std::clamp(y + (vector.y >> 3), -9, from.height);
    qvoiInterpolateChroma_H264_8u_C1R(from.samples + std::ptrdiff_t{fullY} * from.step + fullX, from.step, to.samples,
                                      to.step, vector.x & 7, vector.y & 7, width, height);
}

TimeScale timeScale(const Picture& current, const Picture& first, const Picture& second) {
    const auto distance = [](const Picture& a, const Picture& b) {
        return static_cast<int>(std::clamp<std::int64_t>(std::int64_t{a.order} - b.order, -128, 127));
    };
    const int whole = distance(second, first);
    if (whole == 0 || first.marking == Marking::longTerm) return {};
    const int part = distance(current, first);
    const int inverse = (16384 + std::abs(whole / 2)) / whole;
    return {true, std::clamp((part * inverse + 32) >> 6, -1024, 1023)};
}

void InterPredictor::begin(const PictureContext& context, const SliceContext& slice) {
    context_ = &context;
    slice_ = &slice;
    const SliceHeader& header = slice.header;
    const bool isB = header.type == SliceType::b;
    mode_ = header.hasWeights                                    ? Mode::explicitly
            : isB && slice.parameters->weightedBiprediction == 2 ? Mode::implicitly
                                                                 : Mode::plain;
    // The largest plane's step and a macroblock's rows are room enough.
    if (isB) waiting_.resize(16 * static_cast<std::size_t>(context.picture->frame->plane(0).step));
    if (mode_ != Mode::implicitly) return;
    for (std::size_t i = 0; i < slice.references[0].size(); ++i) {
        for (std::size_t j = 0; j < slice.references[1].size(); ++j) {
            const Picture& second = *slice.references[1][j];
            const TimeScale scale = timeScale(*context.picture, *slice.references[0][i], second);
            const int weight = scale.factor >> 2;
            const bool usable = scale.usable && second.marking != Marking::longTerm && weight >= -64 && weight <= 128;
            implicit_[i][j] = usable ? weight : 32;
        }
    }
}

void InterPredictor::predict(int x, int y, int width, int height, const std::array<int, 2>& references,
                             const std::array<Vector, 2>& vectors) {
    const Frame& target = *context_->picture->frame;
    const bool both = references[0] >= 0 && references[1] >= 0;
    for (std::size_t list = 0; list < 2; ++list) {
        if (references[list] < 0) continue;
        const Frame& source = *slice_->references[list][static_cast<std::size_t>(references[list])]->frame;
        const bool waits = both && list == 0;
        Qvo8u* wait = waiting_.data();
        for (std::size_t plane = 0; plane < 3; ++plane) {
            Target to = locate(target, plane, x, y);
            if (waits) {
                to.samples = wait;
                // The planes' blocks stand side by side in the rows.
                wait += plane == 0 ? 16 : 8;
            }
            if (plane == 0) {
                predictLuma(source.plane(plane), vectors[list], x, y, width, height, to);
            } else {
                predictChroma(source.plane(plane), vectors[list], x / 2, y / 2, width / 2, height / 2, to);
            }
        }
    }
    if (both) {
        weighBoth(references, x, y, width, height);
    } else if (mode_ == Mode::explicitly) {
        const std::size_t list = references[0] >= 0 ? 0 : 1;
        weighOne(list, references[list], x, y, width, height);
    }
}

// Explicit weights of a prediction from one list (8.4.2.3.2).
void InterPredictor::weighOne(std::size_t list, int reference, int x, int y, int width, int height) {
    const auto& weights = slice_->header.weights[list][static_cast<std::size_t>(reference)];
    for (std::size_t plane = 0; plane < 3; ++plane) {
        const int shift = slice_->header.weightShifts[plane];
        const Weight weight = weights[plane];
        if (weight.factor == 1 << shift && weight.offset == 0) continue;
        const int divisor = plane == 0 ? 1 : 2;
        const Target to = locate(*context_->picture->frame, plane, x, y);
        // One bit more of everything: the operation's shift is 1 at least.
        const bool unscaled = shift == 0;
        qvoiWeightedAverage_H264_8u_C1IR(
            to.samples, to.samples, to.step, 0, unscaled ? 2 * weight.factor : weight.factor,
            static_cast<Qvo8u>(unscaled ? 1 : shift), weight.offset, width / divisor, height / divisor);
    }
}

InterPredictor::Weighting InterPredictor::weightingOfBoth(const std::array<int, 2>& references,
                                                          std::size_t plane) const {
    const auto index0 = static_cast<std::size_t>(references[0]), index1 = static_cast<std::size_t>(references[1]);
    if (mode_ == Mode::implicitly) {
        const int weight = implicit_[index0][index1];
        if (weight == 32) return {};
        return {64 - weight, weight, 6, 0};
    }
    if (mode_ == Mode::plain) return {};
    const SliceHeader& header = slice_->header;
    const Weight first = header.weights[0][index0][plane];
    const Weight second = header.weights[1][index1][plane];
    return {first.factor, second.factor, header.weightShifts[plane] + 1, (first.offset + second.offset + 1) >> 1};
}

void InterPredictor::weighBoth(const std::array<int, 2>& references, int x, int y, int width, int height) {
    const Qvo8u* wait = waiting_.data();
    for (std::size_t plane = 0; plane < 3; ++plane) {
        const Weighting weighting = weightingOfBoth(references, plane);
        const int divisor = plane == 0 ? 1 : 2;
        const Target to = locate(*context_->picture->frame, plane, x, y);
        qvoiWeightedAverage_H264_8u_C1IR(wait, to.samples, to.step, weighting.factor0, weighting.factor1,
                                         static_cast<Qvo8u>(weighting.shift), weighting.offset, width / divisor,
                                         height / divisor);
        wait += plane == 0 ? 16 : 8;
    }
}

}  // namespace codecs::h264
