#include "mpeg4/motion_estimator.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "mpeg4/predict.h"

namespace codecs::mpeg4 {

namespace {

constexpr int samplesPerMacroblock = 256;
constexpr std::size_t maxStarts = 6;  // of a search

// Bits of a component's difference (table B-12).
template <int fcode>
int componentBits(int difference) {
    const int code = std::min((std::abs(difference) + (1 << (fcode - 1)) - 1) >> (fcode - 1), 32);
    return _qvoMVDTAB2[32 + code][1] + (code == 0 ? 0 : fcode - 1);
}
constexpr std::array<int (*)(int), 8> componentBitsOf = {nullptr,          componentBits<1>, componentBits<2>,
                                                         componentBits<3>, componentBits<4>, componentBits<5>,
                                                         componentBits<6>, componentBits<7>};

// What four vectors cost besides their own bits, and what a vector of zero saves where nothing else is coded.
constexpr int fourVectorBits = 4;
constexpr int zeroVectorBits = 6;

// Of the half-sample position.
Qvo32s mcType(QvoMotionVector v) {
    return ((v.dx & 1) != 0 ? qvoMcHalfPelHor : 0) | ((v.dy & 1) != 0 ? qvoMcHalfPelVer : 0);
}

constexpr FullVector wholeSamples(QvoMotionVector v) {
    return {(v.dx + 1) >> 1, (v.dy + 1) >> 1};
}

constexpr QvoMotionVector halfSamples(FullVector v) {
    return {static_cast<Qvo16s>(2 * v.x), static_cast<Qvo16s>(2 * v.y)};
}

}  // namespace

VectorField::VectorField(int macroblockWidth, int macroblockHeight)
    : step_(static_cast<std::size_t>(macroblockWidth) + 1),
      vectors_(step_ * static_cast<std::size_t>(macroblockHeight + 1) + 1),
      available_(vectors_.size()) {}

void VectorField::clear() {
    std::fill(vectors_.begin(), vectors_.end(), Vectors{});
    std::fill(available_.begin(), available_.end(), 0U);
}

void VectorField::beginPacket(int mbX, int mbY) {
    std::fill(available_.begin(), available_.begin() + static_cast<std::ptrdiff_t>(index(mbX, mbY)), 0U);
}

void VectorField::set(int mbX, int mbY, const Vectors& vectors) {
    vectors_[index(mbX, mbY)] = vectors;
    available_[index(mbX, mbY)] = 1;
}

QvoMotionVector VectorField::predictor(int mbX, int mbY, const Vectors& current, int block) const {
    const std::size_t here = index(mbX, mbY), above = here - step_;
    QvoMotionVector predictor;
    qvoiFindMVpred_MPEG4(current.data(), vectors_[here - 1].data(), vectors_[above].data(),
                         vectors_[above + 1].data(), flags(here - 1), flags(above), flags(above + 1), opaque.data(),
                         &predictor, nullptr, block);
    return predictor;
}

void VectorField::write(Qvo8u** byte, Qvo32s* offset, int mbX, int mbY, const Vectors& current, bool four,
                        int fcode) const {
    const std::size_t here = index(mbX, mbY), above = here - step_;
    qvoiEncodeMV_MPEG4_8u16s(byte, offset, current.data(), vectors_[here - 1].data(), vectors_[above].data(),
                             vectors_[above + 1].data(), opaque.data(), flags(here - 1), flags(above),
                             flags(above + 1), fcode, four ? qvoMbInter4V : 0);
}

// A block of 16x16 or 8x8 samples and the half-sample vectors it may have: they point at samples of the picture or its
// border and have a code.
struct MotionEstimator::Block {
    SearchBlock samples;
    SearchArea area;

    // The vectors may lead `beyond` samples over the picture's edges.
    Block(const PaddedPicture& source, const Frame& reference, int x, int y, int size, int beyond, int fcode) {
        const PlaneView& plane = source.plane(0);
        samples = {plane.data + y * plane.step + x,
                   static_cast<Qvo32s>(plane.step),
                   reference.at(0, x, y),
                   reference.step(0),
                   size,
                   size};
        const int range = 8 << fcode;
        area = {std::max(-beyond - x, -range), std::max(-beyond - y, -range),
                std::min(plane.width - size + beyond - x, range - 1),
                std::min(plane.height - size + beyond - y, range - 1)};
    }
    bool contains(QvoMotionVector v) const {
        return v.dx >= 2 * area.left && v.dx <= 2 * area.right && v.dy >= 2 * area.top && v.dy <= 2 * area.bottom;
    }
    int differenceAt(QvoMotionVector v) const {
        const Qvo8u* const from = samples.reference + (v.dy >> 1) * samples.referenceStep + (v.dx >> 1);
        Qvo32s sum;
        const auto operation = samples.width == 16 ? qvoiSAD16x16_8u32s : qvoiSAD8x8_8u32s_C1R;
        operation(samples.source, samples.sourceStep, from, samples.referenceStep, &sum, mcType(v));
        return sum;
    }
};

void MotionEstimator::begin(const PaddedPicture& source, const Frame& reference, int quantiser, int fcode) {
    source_ = &source;
    reference_ = &reference;
    if (quantiser == quantiser_ && fcode == fcode_) return;
    quantiser_ = quantiser;
    fcode_ = fcode;
    costs_.emplace(32 << fcode, quantiser, componentBitsOf[static_cast<std::size_t>(fcode)]);
}

MotionEstimator::Block MotionEstimator::blockAt(int x, int y, int size) const {
    return {*source_, *reference_, x, y, size, withinPicture_ ? 0 : size, fcode_};
}

// The best of the half-sample positions around a vector: the four nearest, then the diagonal one between the better two.
MotionEstimator::Found MotionEstimator::refine(const Block& block, QvoMotionVector predictor,
                                               const SearchResult& full) const {
    const Qvo16u* const costX = costs_->around(predictor.dx);
    const Qvo16u* const costY = costs_->around(predictor.dy);
    const QvoMotionVector centre = halfSamples(full.vector);
    Found best = {centre, full.cost - costX[centre.dx] - costY[centre.dy], full.cost};
    // Returns the cost, or that of the best where it cannot be better.
    const auto take = [&](int dx, int dy) {
        const QvoMotionVector v = {static_cast<Qvo16s>(centre.dx + dx), static_cast<Qvo16s>(centre.dy + dy)};
        if (!block.contains(v)) return full.cost;
        const int sum = block.differenceAt(v), cost = sum + costX[v.dx] + costY[v.dy];
        if (cost < best.cost) best = {v, sum, cost};
        return cost;
    };
    const int left = take(-1, 0), right = take(1, 0), up = take(0, -1), down = take(0, 1);
    take(left < right ? -1 : 1, up < down ? -1 : 1);
    return best;
}

MotionEstimator::Found MotionEstimator::search(const Block& block, QvoMotionVector predictor,
                                               std::span<const QvoMotionVector> starts, int goodEnough) const {
    std::array<FullVector, maxStarts> whole;
    std::transform(starts.begin(), starts.end(), whole.begin(), wholeSamples);
    const VectorCost cost = {costs_->around(predictor.dx), costs_->around(predictor.dy), 2};
    const SearchResult full =
        searchMotion(block.samples, block.area, cost, std::span(whole.data(), starts.size()), goodEnough);
    return refine(block, predictor, full);
}

MotionChoice MotionEstimator::chooseOne(int mbX, int mbY, QvoMotionVector predictor,
                                        std::span<const QvoMotionVector> starts) const {
    const Block block = blockAt(16 * mbX, 16 * mbY, 16);
    const Found found = search(block, predictor, starts, samplesPerMacroblock);
    MotionChoice one;
    one.vectors.fill(found.vector);
    one.sum = found.sum;
    one.cost = found.cost;
    return one;
}

MotionChoice MotionEstimator::choose(int mbX, int mbY, const VectorField& field, const VectorField& before,
                                     bool mayBeFour) const {
    const QvoMotionVector predictor = field.predictor(mbX, mbY, {}, 0);
    const std::array<QvoMotionVector, maxStarts> starts = {QvoMotionVector{},
                                                           predictor,
                                                           field.at(mbX - 1, mbY)[1],
                                                           field.at(mbX, mbY - 1)[2],
                                                           field.at(mbX + 1, mbY - 1)[2],
                                                           before.at(mbX, mbY)[0]};
    MotionChoice one = chooseOne(mbX, mbY, predictor, starts);

    const Block block = blockAt(16 * mbX, 16 * mbY, 16);
    const int zeroSum = block.differenceAt({});
    const int zeroCost =
        zeroSum + costs_->around(predictor.dx)[0] + costs_->around(predictor.dy)[0] - zeroVectorBits * quantiser_;
    if (zeroCost <= one.cost) one = {{}, false, zeroSum, zeroCost};
    if (!mayBeFour || !fourVectors_ || one.sum < 2 * samplesPerMacroblock) return one;
    return chooseFour(mbX, mbY, field, one).value_or(one);
}

std::optional<MotionChoice> MotionEstimator::chooseFour(int mbX, int mbY, const VectorField& field,
                                                        const MotionChoice& one) const {
    MotionChoice four;
    four.four = true;
    four.vectors = one.vectors;
    four.cost = fourVectorBits * quantiser_;
    for (int i = 0; i < 4; ++i) {
        const Block block = blockAt(16 * mbX + 8 * (i & 1), 16 * mbY + 8 * (i >> 1), 8);
        const QvoMotionVector predictor = field.predictor(mbX, mbY, four.vectors, i);
        const Found found = search(block, predictor, std::array{one.vectors[0], predictor}, 0);
        four.vectors[static_cast<std::size_t>(i)] = found.vector;
        four.sum += found.sum;
        four.cost += found.cost;
        if (four.cost >= one.cost) return std::nullopt;
    }
    return four;
}

}  // namespace codecs::mpeg4
