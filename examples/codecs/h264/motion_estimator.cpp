#include "h264/motion_estimator.h"

#include <algorithm>

#include "h264/block_metrics.h"
#include "h264/cavlc_writer.h"

namespace codecs::h264 {

namespace {

// Vectors reach no farther sideways. More than any motion that could be found.
constexpr int maxX = 512;
constexpr int quarters = 4;  // units of a vector in a sample

// Blocks may lie that far outside the picture. With the step to the next half sample and the filter's reach they are
// still within the border.
constexpr int reach = 24;

// Where the half samples of a plane are whole within the border.
constexpr int filterReach = 3;

}  // namespace

// ---- half samples -----------------------------------------------------------------------------------------------

HalfSamples::HalfSamples(const Frame& frame) {
    const Plane& plane = frame.plane(0);
    step_ = plane.step;
    origin_ = std::ptrdiff_t{plane.border} * plane.step + plane.border;
    for (auto& half : halves_)
        half.resize(static_cast<std::size_t>(plane.step * (plane.height + 2 * plane.border)));
}

// In blocks of 16x16. The outermost samples of the border have no half samples.
void HalfSamples::load(const Frame& frame) {
    const Plane& plane = frame.plane(0);
    constexpr int blockSize = 16;
    const int first = filterReach - plane.border;
    const auto lastOf = [&](int size) { return size + plane.border - filterReach - blockSize; };
    const int lastX = lastOf(plane.width), lastY = lastOf(plane.height);
    constexpr std::array<Vector, 3> places = {{{2, 0}, {0, 2}, {2, 2}}};
    for (std::size_t i = 0; i < places.size(); ++i) {
        Qvo8u* const to = halves_[i].data() + origin_;
        for (int row = first; row < lastY + blockSize; row += blockSize) {
            const int y = std::min(row, lastY);
            for (int column = first; column < lastX + blockSize; column += blockSize) {
                const int x = std::min(column, lastX);
                const std::ptrdiff_t at = std::ptrdiff_t{y} * step_ + x;
                qvoiInterpolateLuma_H264_8u_C1R(plane.samples + at, step_, to + at, step_, places[i].x, places[i].y,
                                                blockSize, blockSize);
            }
        }
        planes_[i + 1] = to;
    }
    planes_[0] = plane.samples;
}

HalfSamples::Source HalfSamples::at(int x, int y, Vector vector) const {
    // The one or two samples that make those of each quarter position: plane, and the sample to the right or below.
    struct Part {
        std::uint8_t plane, right, below;
    };
    constexpr Part none = {4, 0, 0};
    constexpr Part whole = {0, 0, 0}, wholeRight = {0, 1, 0}, wholeBelow = {0, 0, 1};
    constexpr Part across = {1, 0, 0}, acrossBelow = {1, 0, 1};
    constexpr Part down = {2, 0, 0}, downRight = {2, 1, 0};
    constexpr Part middle = {3, 0, 0};
    constexpr std::array<std::array<Part, 2>, 16> parts = {{{whole, none},
                                                            {whole, across},
                                                            {across, none},
                                                            {across, wholeRight},
                                                            {whole, down},
                                                            {across, down},
                                                            {across, middle},
                                                            {across, downRight},
                                                            {down, none},
                                                            {down, middle},
                                                            {middle, none},
                                                            {middle, downRight},
                                                            {down, wholeBelow},
                                                            {down, acrossBelow},
                                                            {middle, acrossBelow},
                                                            {downRight, acrossBelow}}};
    const std::ptrdiff_t at = std::ptrdiff_t{y + (vector.y >> 2)} * step_ + x + (vector.x >> 2);
    const auto sample = [&](Part part) { return planes_[part.plane] + at + part.below * step_ + part.right; };
    const auto& [first, second] = parts[static_cast<std::size_t>(4 * (vector.y & 3) + (vector.x & 3))];
    return {sample(first), second.plane == none.plane ? nullptr : sample(second)};
}

// ---- search -----------------------------------------------------------------------------------------------------

void MotionEstimator::setLambda(double lambda) {
    if (lambda == lambda_) return;
    lambda_ = lambda;
    // Vector and prediction both reach that far.
    const int range = 2 * quarters * (std::max(maxX, maxY_) + 1);
    costs_ = std::make_unique<VectorCostTable>(range, lambda, seBits);
}

SearchArea MotionEstimator::areaFor(const MotionTask& task) const {
    const Plane& plane = frame_->plane(0);
    SearchArea area;
    area.left = std::max(-maxX, -reach - task.x);
    area.top = std::max(-maxY_ + 1, -reach - task.y);
    area.right = std::min(maxX, plane.width + reach - task.width - task.x);
    area.bottom = std::min(maxY_ - 1, plane.height + reach - task.height - task.y);
    return area;
}

int MotionEstimator::differenceAt(const MotionTask& task, Vector vector) const {
    const HalfSamples::Source from = halves_->at(task.x, task.y, vector);
    if (!from.second)
        return transformedDifference(task.source, task.sourceStep, from.first, halves_->step(), task.width,
                                     task.height);
    alignas(16) std::array<Qvo8u, 256> mean;
    const Qvo32s step = halves_->step();
    for (int y = 0; y < task.height; ++y)
        for (int x = 0; x < task.width; ++x)
            mean[static_cast<std::size_t>(16 * y + x)] =
                static_cast<Qvo8u>((from.first[y * step + x] + from.second[y * step + x] + 1) >> 1);
    return transformedDifference(task.source, task.sourceStep, mean.data(), 16, task.width, task.height);
}

FoundMotion MotionEstimator::find(const MotionTask& task) const {
    const Plane& plane = frame_->plane(0);
    const SearchArea area = areaFor(task);
    const VectorCost cost = {costs_->around(task.predicted.x), costs_->around(task.predicted.y), quarters};
    const SearchBlock block = {
        task.source, task.sourceStep, plane.samples + std::ptrdiff_t{task.y} * plane.step + task.x,
        plane.step,  task.width,      task.height};
    std::array<FullVector, 8> starts;
    const std::size_t count = std::min(task.starts.size(), starts.size());
    for (std::size_t i = 0; i < count; ++i)
        starts[i] = {(task.starts[i].x + 2) >> 2, (task.starts[i].y + 2) >> 2};
    const FullVector full = searchMotion(block, area, cost, std::span(starts).first(count), 0).vector;

    FoundMotion best;
    best.vector = {static_cast<Qvo16s>(quarters * full.x), static_cast<Qvo16s>(quarters * full.y)};
    best.cost = differenceAt(task, best.vector) + bitsCost(best.vector, task.predicted);
    const auto take = [&](Vector vector) {
        if (!area.contains({vector.x >> 2, vector.y >> 2})) return false;
        const int bits = bitsCost(vector, task.predicted);
        if (bits >= best.cost) return false;
        const int total = differenceAt(task, vector) + bits;
        if (total >= best.cost) return false;
        best = {vector, total};
        return true;
    };
    // Whole samples may have led astray; neighbours often move alike to the quarter, and the predicted vector costs least.
    for (const Vector start : task.starts)
        take(start);
    constexpr int mostSteps = 3;
    constexpr std::array<FullVector, 8> square = {
        {{0, -1}, {-1, 0}, {1, 0}, {0, 1}, {-1, -1}, {1, -1}, {-1, 1}, {1, 1}}};
    for (const int distance : {2, 1}) {
        for (int step = 0; step < mostSteps; ++step) {
            const Vector from = best.vector;
            bool better = false;
            for (const FullVector by : square)
                better |= take(
                    {static_cast<Qvo16s>(from.x + distance * by.x), static_cast<Qvo16s>(from.y + distance * by.y)});
            if (!better) break;
        }
    }
    return best;
}

}  // namespace codecs::h264
