#include "mpeg2/picture_coder.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <utility>

#include "common/residual.h"

namespace codecs::mpeg2 {

namespace {

constexpr Qvo32s roundHalvesUp = 0;
constexpr Qvo32s lumaResidualStep = 32;
constexpr Qvo32s chromaResidualStep = 16;
constexpr int forward = 0;
constexpr int backward = 1;

// Squared error that one bit is worth, in squares of quantiser_scale. Measured.
constexpr double bitWorth = 0.2;

double lambdaOf(int quantiserCode) {
    const double scale = quantiserScales[0][static_cast<std::size_t>(quantiserCode)];
    return bitWorth * scale * scale;
}

}  // namespace

PictureCoder::PictureCoder(int macroblockWidth, int macroblockHeight, EncodeClock& clock)
    : width_(macroblockWidth),
      height_(macroblockHeight),
      clock_(clock),
      motion_{MotionField{width_, height_}, MotionField{width_, height_}, MotionField{width_, height_}} {}

void PictureCoder::start(const PaddedPicture& source, PictureHeader& header,
                         const std::array<const View*, 2>& references, int quantiserCode) {
    source_ = &source;
    header_ = &header;
    references_ = references;
    if (header.type == PictureType::intra) return;
    clock_.enter(EncodeStage::search);
    const double lambda = std::sqrt(lambdaOf(quantiserCode));
    if (header.type == PictureType::predicted) {
        motion_[0].search(source, *references[forward], lambda);
        fields_ = {&motion_[0], nullptr};
    } else {
        motion_[1].search(source, *references[forward], lambda);
        motion_[2].search(source, *references[backward], lambda);
        fields_ = {&motion_[1], &motion_[2]};
    }
    for (std::size_t direction = 0; direction < 2; ++direction) {
        if (fields_[direction]) header.fCode[direction] = fields_[direction]->fCode();
    }
    clock_.enter(EncodeStage::other);
}

void PictureCoder::code(int quantiserCode, double thrift, WordWriter& out, const View& target) {
    MacroblockWriter writer(out);
    writer.startPicture(*header_);
    writer_ = &writer;
    target_ = &target;
    lambda_ = static_cast<Cost>(thrift * lambdaOf(quantiserCode));
    blocks_.startPicture(*header_, quantiserScales[0][static_cast<std::size_t>(quantiserCode)], lambda_);
    constexpr std::size_t sliceHeader = 16;
    for (row_ = 0; row_ < height_; ++row_) {
        out.reserve(sliceHeader + static_cast<std::size_t>(width_) * MacroblockWriter::longestMacroblock);
        writer.startSlice(row_, quantiserCode);
        for (column_ = 0; column_ < width_; ++column_)
            codeMacroblock(column_ > 0 && column_ + 1 < width_);
    }
    clock_.enter(EncodeStage::other);
}

void PictureCoder::codeMacroblock(bool mayBeSkipped) {
    clock_.enter(EncodeStage::decision);
    best_->cost = std::numeric_limits<Cost>::max();
    switch (header_->type) {
        case PictureType::predicted:
            decidePredicted(mayBeSkipped);
            break;
        case PictureType::bidirectional:
            decideBidirectional(mayBeSkipped);
            break;
        default:
            tryIntra();
            break;
    }
    clock_.enter(EncodeStage::writing);
    writer_->write(best_->macroblock, mayBeSkipped);
    clock_.enter(EncodeStage::transform);
    rebuild();
}

// ---- decision ---------------------------------------------------------------------------------------------------

void PictureCoder::decidePredicted(bool mayBeSkipped) {
    const Vector found = fields_[forward]->at(column_, row_);
    const Vector predicted = writer_->vectorPredictors()[forward];
    tryPrediction({mbForward, {found}}, mayBeSkipped);
    if (found != Vector{}) tryPrediction({mbForward}, mayBeSkipped);
    if (predicted != found && predicted != Vector{}) tryPrediction({mbForward, {predicted}}, mayBeSkipped);
    if (best_->macroblock.pattern != 0 && isIntraLikely()) tryIntra();
}

void PictureCoder::decideBidirectional(bool mayBeSkipped) {
    const std::array<Vector, 2> vectors = {fields_[forward]->at(column_, row_), fields_[backward]->at(column_, row_)};
    for (const int flags : {mbForward | mbBackward, int{mbForward}, int{mbBackward}})
        tryPrediction({flags, vectors}, mayBeSkipped);
    if (writer_->previousFlags() != 0)
        tryPrediction({writer_->previousFlags(), writer_->vectorPredictors()}, mayBeSkipped);
    if (best_->macroblock.pattern != 0 && isIntraLikely()) tryIntra();
}

// Whether the vectors point into the references. Those of a neighbour need not.
bool PictureCoder::isInside(const MacroblockModes& modes) const {
    for (std::size_t direction = 0; direction < 2; ++direction) {
        if (!(modes.flags & (direction == forward ? mbForward : mbBackward))) continue;
        const int x = 32 * column_ + modes.vectors[direction].x;
        const int y = 32 * row_ + modes.vectors[direction].y;
        if (x < 0 || y < 0 || x > 32 * (width_ - 1) || y > 32 * (height_ - 1)) return false;
    }
    return true;
}

// Whether coding the macroblock by itself may compare with its best prediction.
bool PictureCoder::isIntraLikely() const {
    Cost energy = 0;
    for (int b = 0; b < 4; ++b) {
        Qvo32s variance;
        Qvo32s sum;
        qvoiVarMean8x8_8u32s_C1R(lumaBlock(b), static_cast<Qvo32s>(source_->plane(0).step), &variance, &sum);
        energy += 64 * static_cast<Cost>(variance);
    }
    return energy < 4 * best_->error;
}

void PictureCoder::tryIntra() {
    const EncodeStage before = clock_.enter(EncodeStage::transform);
    Macroblock& macroblock = trial_->macroblock;
    static_cast<MacroblockModes&>(macroblock) = {mbIntra};
    int bits = writer_->headerBits(macroblock);
    Cost cost = 0;
    std::array<int, 3> dc = {writer_->dcPredictor(0), writer_->dcPredictor(1), writer_->dcPredictor(2)};
    for (int b = 0; b < 6; ++b) {
        const auto i = static_cast<std::size_t>(b);
        const std::size_t component = b < 4 ? 0 : i - 3;
        Block& levels = macroblock.levels[i];
        const auto step = static_cast<Qvo32s>(source_->plane(component).step);
        cost += blocks_.codeIntra(b < 4 ? lumaBlock(b) : source_->macroblock(component, column_, row_), step, levels,
                                  macroblock.counts[i]);
        bits += dcBits(component, levels[0] - dc[component]);
        dc[component] = levels[0];
    }
    trial_->cost = cost + lambda_ * static_cast<Cost>(bits);
    keepBetter();
    clock_.enter(before);
}

void PictureCoder::tryPrediction(const MacroblockModes& modes, bool mayBeSkipped) {
    if (!isInside(modes)) return;
    const Cost error = formResidual(modes);
    const EncodeStage before = clock_.enter(EncodeStage::transform);
    Macroblock& macroblock = trial_->macroblock;
    static_cast<MacroblockModes&>(macroblock) = modes;
    Cost cost = 0;
    for (std::size_t b = 0; b < 6; ++b) {
        cost += blocks_.codeNonIntra(residual_[b], energies_[b], macroblock.levels[b], macroblock.counts[b]);
        if (macroblock.counts[b] != 0) macroblock.pattern |= 0x20 >> b;
    }
    trial_->cost = cost + lambda_ * static_cast<Cost>(writer_->headerBits(macroblock));
    trial_->error = error;
    const Cost bare = costWithoutBlocks(modes, error, mayBeSkipped);
    if (bare <= trial_->cost) {
        macroblock.pattern = 0;
        trial_->cost = bare;
    }
    keepBetter();
    clock_.enter(before);
}

Cost PictureCoder::costWithoutBlocks(const MacroblockModes& modes, Cost error, bool mayBeSkipped) const {
    if (mayBeSkipped && writer_->isSkippable(modes)) return error;
    return error + lambda_ * static_cast<Cost>(writer_->headerBits(modes));
}

void PictureCoder::keepBetter() {
    if (trial_->cost < best_->cost) std::swap(best_, trial_);
}

const Qvo8u* PictureCoder::lumaBlock(int b) const {
    return source_->macroblock(0, column_, row_) + (b >> 1) * 8 * source_->plane(0).step + (b & 1) * 8;
}

int PictureCoder::dcBits(std::size_t component, int difference) {
    const int size = static_cast<int>(std::bit_width(static_cast<unsigned>(std::abs(difference))));
    return static_cast<int>(writeTables().dcSize[component == 0 ? 0 : 1][static_cast<std::size_t>(size)].length) +
           size;
}

// Fills residual_ and energies_ and returns the energy of all blocks.
Cost PictureCoder::formResidual(const MacroblockModes& modes) {
    const Source f = {references_[forward], modes.vectors[forward]};
    const Source b = {references_[backward], modes.vectors[backward]};
    const bool both = (modes.flags & mbForward) && (modes.flags & mbBackward);
    Cost energy = 0;
    for (std::size_t plane = 0; plane < 3; ++plane) {
        const int size = plane == 0 ? 16 : 8;
        const Qvo8u* const source = source_->macroblock(plane, column_, row_);
        const auto step = static_cast<Qvo32s>(source_->plane(plane).step);
        const Reference first =
            locate(modes.flags & mbForward ? f : b, plane, size, size, size * column_, size * row_);
        const Reference second = both ? locate(b, plane, size, size, size * column_, size * row_) : first;
        for (int block = 0; block < (plane == 0 ? 4 : 1); ++block) {
            const int x = block % 2 * 8;
            const int y = block / 2 * 8;
            const std::size_t index = plane == 0 ? static_cast<std::size_t>(block) : plane + 3;
            Block& residual = residual_[index];
            const Qvo8u* const from = source + y * step + x;
            const Qvo8u* const a = first.samples + y * first.step + x;
            if (both) {
                qvoiGetDiff8x8B_8u16s_C1(from, step, a, first.step, first.mcType,
                                         second.samples + y * second.step + x, second.step, second.mcType,
                                         residual.data(), chromaResidualStep, roundHalvesUp);
            } else {
                qvoiGetDiff8x8_8u16s_C1(from, step, a, first.step, residual.data(), chromaResidualStep, nullptr, 0,
                                        first.mcType, roundHalvesUp);
            }
            energies_[index] = energyOf(residual.data());
            energy += static_cast<Cost>(energies_[index]);
        }
    }
    return energy;
}

// ---- reconstruction ---------------------------------------------------------------------------------------------

// Does to the target what a decoder will do.
void PictureCoder::rebuild() {
    const Macroblock& macroblock = best_->macroblock;
    const int x = 16 * column_;
    const int y = 16 * row_;
    if (macroblock.flags & mbIntra) {
        rebuildIntra(x, y);
        return;
    }
    const Residual residual = rebuildResidual();
    const Source f = {references_[forward], macroblock.vectors[forward]};
    const Source b = {references_[backward], macroblock.vectors[backward]};
    switch (macroblock.flags & (mbForward | mbBackward)) {
        case mbForward:
            predict(*target_, x, y, 16, f, residual);
            break;
        case mbBackward:
            predict(*target_, x, y, 16, b, residual);
            break;
        default:
            predict(*target_, x, y, 16, f, b, residual);
            break;
    }
}

void PictureCoder::rebuildIntra(int x, int y) {
    const Macroblock& macroblock = best_->macroblock;
    for (std::size_t b = 0; b < 6; ++b) {
        const std::size_t plane = b < 4 ? 0 : b - 3;
        const Qvo32s step = target_->steps[plane];
        const std::ptrdiff_t inPlane =
            plane == 0 ? std::ptrdiff_t{y} * step + x : std::ptrdiff_t{y / 2} * step + x / 2;
        const std::ptrdiff_t inMacroblock = b < 4 ? std::ptrdiff_t(b / 2) * 8 * step + std::ptrdiff_t(b % 2) * 8 : 0;
        blocks_.reconstructIntra(macroblock.levels[b], target_->planes[plane] + inPlane + inMacroblock, step);
    }
}

Residual PictureCoder::rebuildResidual() {
    const Macroblock& macroblock = best_->macroblock;
    Residual residual = Residual::none();
    if (macroblock.pattern & 0x3C) {
        residual.planes[0] = lumaResidual_.data();
        residual.steps[0] = lumaResidualStep;
        lumaResidual_.fill(0);
    }
    for (std::size_t b = 0; b < 6; ++b) {
        if (!(macroblock.pattern & (0x20 >> b))) continue;
        if (b < 4) {
            blocks_.reconstructNonIntra(macroblock.levels[b], lumaResidual_.data() + (b / 2) * 8 * 16 + (b % 2) * 8,
                                        lumaResidualStep);
            continue;
        }
        Block& chroma = chromaResidual_[b - 4];
        residual.planes[b - 3] = chroma.data();
        residual.steps[b - 3] = chromaResidualStep;
        blocks_.reconstructNonIntra(macroblock.levels[b], chroma.data(), chromaResidualStep);
    }
    return residual;
}

}  // namespace codecs::mpeg2
