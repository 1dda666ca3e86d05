#include "h264/macroblock_encoder.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "h264/block_metrics.h"
#include "h264/inter.h"

namespace codecs::h264 {

namespace {

constexpr Partition wholePartition = {0, 0, 4, 4};

Partition partitionOf(Shape shape, std::size_t i) {
    const int n = static_cast<int>(i);
    switch (shape) {
        case Shape::whole:
            return wholePartition;
        case Shape::rows:
            return {0, 2 * n, 4, 2};
        case Shape::columns:
            return {2 * n, 0, 2, 4};
        case Shape::quarters:
            break;
    }
    return {2 * (n & 1), n & 2, 2, 2};
}

constexpr std::size_t partitionCount(Shape shape) {
    return shape == Shape::whole ? 1 : shape == Shape::quarters ? 4 : 2;
}

// Bits of mb_type and, of quarters, sub_mb_type.
constexpr std::array<int, 4> shapeBits = {1, 3, 3, 9};

// No macroblock may have more (A.3.1).
constexpr int mostBits = 3200;
constexpr std::size_t mostBytes = 512;  // of a macroblock, those of I_PCM included
constexpr int pcmLevels = 16;
constexpr int pcmBits = 384 * 8;

// A candidate whose cost by transformed differences is higher than the best one's by more than such a factor is not worth
// coding to find out.
constexpr double shapeMargin = 1.08;
constexpr double intraMargin = 1.2;

void copyBlock(const Qvo8u* from, std::ptrdiff_t fromStep, Qvo8u* to, std::ptrdiff_t toStep, std::size_t width,
               int height) {
    for (int y = 0; y < height; ++y)
        std::memcpy(to + y * toStep, from + y * fromStep, width);
}

}  // namespace

// ---- slices and macroblocks -------------------------------------------------------------------------------------

void MacroblockEncoder::encode(PictureContext& context, const SliceContext& slice, const PaddedPicture& source,
                               const HalfSamples* halves, BitWriter& bits) {
    clock_.enter(EncodeStage::decision);
    context_ = &context;
    slice_ = &slice;
    picture_ = &source;
    bits_ = &bits;
    intraSlice_ = slice.header.type == SliceType::i;
    skipRun_ = 0;
    const int qp = slice.header.qp;
    // About half of what pays within one picture: others are predicted from it.
    lambda_ = 0.4 * std::exp2((qp - 12) / 3.0);
    lambdaRoot_ = std::sqrt(lambda_);
    residual_.setQuantiser(qp, lambda_);
    motion_.begin(context, slice);
    if (halves) {
        estimator_.setReference(*slice.references[0][0]->frame, *halves);
        estimator_.setLambda(lambdaRoot_);
    }
    for (int address = 0; address < context.macroblockCount(); ++address) {
        enter(address);
        encodeMacroblock();
    }
    if (skipRun_ > 0) putUe(bits, skipRun_);
    clock_.enter(EncodeStage::other);
}

void MacroblockEncoder::enter(int address) {
    current_ = &context_->macroblocks[static_cast<std::size_t>(address)];
    x_ = address % context_->macroblockWidth;
    y_ = address / context_->macroblockWidth;
    *current_ = {};
    current_->slice = 0;
    current_->qp = static_cast<std::uint8_t>(slice_->header.qp);
    neighbours_ = findNeighbours(*context_, address, 0);
    const Frame& frame = *context_->picture->frame;
    for (std::size_t i = 0; i < 3; ++i) {
        const Plane& plane = frame.plane(i);
        const int size = i == 0 ? 16 : 8;
        steps_[i] = plane.step;
        planes_[i] = plane.samples + std::ptrdiff_t{size * y_} * plane.step + size * x_;
        source_.samples[i] = picture_->macroblock(i, x_, y_);
        source_.steps[i] = static_cast<Qvo32s>(picture_->plane(i).step);
    }
    motion_.enter(x_, y_, neighbours_);
    residual_.enter(source_, neighbours_);
    bestCost_ = std::numeric_limits<double>::max();
    refused_ = false;
}

void MacroblockEncoder::encodeMacroblock() {
    if (intraSlice_) {
        tryIntra(std::numeric_limits<int>::max());
    } else if (!trySkip()) {
        searchShapes();
    }
    if (refused_) tryPcm();
    finish();
}

// Keeps the trial if it is the best so far.
void MacroblockEncoder::judge(double cost) {
    if (cost >= bestCost_) return;
    bestCost_ = cost;
    std::swap(trial_, best_);
}

// Judges the trial, which is complete, by its error and its bits.
void MacroblockEncoder::take(int extraBits) {
    clock_.enter(EncodeStage::decision);
    double error = squaredDifference(source_.samples[0], source_.steps[0], trial_->luma.data(), 16, 16, 16);
    for (std::size_t plane = 0; plane < 2; ++plane)
        error += squaredDifference(source_.samples[plane + 1], source_.steps[plane + 1], trial_->chroma[plane].data(),
                                   8, 8, 8);
    int bits = extraBits;
    if (!trial_->skipped) {
        BitCounter counter;
        putMacroblock(counter, *trial_, intraSlice_, neighbours_);
        if (counter.bits() > mostBits) {
            refused_ = true;
            return;
        }
        bits += counter.bits();
    }
    judge(error + lambda_ * bits);
}

// Writes the best candidate, and leaves in picture and surroundings what following macroblocks look at.
void MacroblockEncoder::finish() {
    const CodedMacroblock& coded = *best_;
    copyBlock(coded.luma.data(), 16, planes_[0], steps_[0], 16, 16);
    for (std::size_t plane = 0; plane < 2; ++plane)
        copyBlock(coded.chroma[plane].data(), 8, planes_[plane + 1], steps_[plane + 1], 8, 8);
    current_->kind = coded.kind;
    current_->lumaCounts = coded.lumaCounts;
    current_->chromaCounts = coded.chromaCounts;
    current_->intraModes = coded.modes;
    current_->wholeMotion = coded.kind == Kind::inter && coded.shape == Shape::whole;
    if (coded.kind == Kind::pcm) current_->qp = 0;
    if (coded.kind == Kind::inter) {
        motion_.setReference(0, wholePartition, 0);
        for (std::size_t i = 0; i < coded.partitions(); ++i)
            motion_.setVector(0, partitionOf(coded.shape, i), coded.vectors[i]);
    } else {
        motion_.setIntra();
    }

    clock_.enter(EncodeStage::writing);
    if (coded.skipped) {
        ++skipRun_;
    } else {
        bits_->reserve(mostBytes);
        if (!intraSlice_) putUe(*bits_, skipRun_);
        skipRun_ = 0;
        putMacroblock(*bits_, coded, intraSlice_, neighbours_);
    }
    clock_.enter(EncodeStage::decision);
}

// The samples as they are: for macroblocks that others have levels or sizes for that cannot be.
void MacroblockEncoder::tryPcm() {
    trial_->kind = Kind::pcm;
    trial_->skipped = false;
    trial_->lumaCounts.fill(pcmLevels);
    for (auto& counts : trial_->chromaCounts)
        counts.fill(pcmLevels);
    copyBlock(source_.samples[0], source_.steps[0], trial_->luma.data(), 16, 16, 16);
    for (std::size_t plane = 0; plane < 2; ++plane)
        copyBlock(source_.samples[plane + 1], source_.steps[plane + 1], trial_->chroma[plane].data(), 8, 8, 8);
    judge(lambda_ * pcmBits);
}

// ---- intra ------------------------------------------------------------------------------------------------------

// bestInter: the cost of the best inter candidate, in transformed differences.
void MacroblockEncoder::tryIntra(int bestInter) {
    motion_.setIntra();
    const int cost16x16 = chooseIntra16x16();
    // Smaller blocks seldom predict better than the whole by more than this factor.
    constexpr double mostGain = 1.5;
    const double limit = intraMargin * bestInter;
    if (cost16x16 > mostGain * limit) return;
    chooseIntraChroma();
    if (chroma_.pattern < 0) {
        refused_ = true;
        return;
    }
    if (cost16x16 <= limit) tryIntra16x16();
    tryIntra4x4();
}

// The cost of the best mode.
int MacroblockEncoder::chooseIntra16x16() {
    const Qvo32u flags = intraNeighbours(neighbours_, false, 0, 0);
    int best = std::numeric_limits<int>::max();
    for (int mode = qvoIntra16x16Vertical; mode <= qvoIntra16x16Plane; ++mode) {
        if (qvoiPredictIntra_16x16_H264_8u_C1IR(planes_[0], steps_[0], mode, flags) != qvoStatusOk) continue;
        const int cost = transformedDifference(source_.samples[0], source_.steps[0], planes_[0], steps_[0], 16, 16);
        if (cost >= best) continue;
        best = cost;
        mode16x16_ = mode;
    }
    return best;
}

// Chooses and codes chroma once for both kinds of luma.
void MacroblockEncoder::chooseIntraChroma() {
    const Qvo32u flags = intraNeighbours(neighbours_, false, 0, 0);
    double best = std::numeric_limits<double>::max();
    const auto predict = [&](int mode) {
        bool done = true;
        for (std::size_t plane = 1; plane < 3; ++plane)
            done = done &&
                   qvoiPredictIntraChroma8x8_H264_8u_C1IR(planes_[plane], steps_[plane], mode, flags) == qvoStatusOk;
        return done;
    };
    for (int mode = qvoIntraChromaDC; mode <= qvoIntraChromaPlane; ++mode) {
        if (!predict(mode)) continue;
        double cost = lambdaRoot_ * ueBits(static_cast<std::uint32_t>(mode));
        for (std::size_t plane = 1; plane < 3; ++plane)
            cost += transformedDifference(source_.samples[plane], source_.steps[plane], planes_[plane], steps_[plane],
                                          8, 8);
        if (cost >= best) continue;
        best = cost;
        chroma_.chromaMode = mode;
    }
    predict(chroma_.chromaMode);
    for (std::size_t plane = 0; plane < 2; ++plane)
        copyBlock(planes_[plane + 1], steps_[plane + 1], chroma_.chroma[plane].data(), 8, 8, 8);
    clock_.enter(EncodeStage::transform);
    chroma_.pattern = 0;
    if (!residual_.codeChroma(chroma_)) chroma_.pattern = -1;
    clock_.enter(EncodeStage::decision);
}

void MacroblockEncoder::tryIntra16x16() {
    const Qvo32u flags = intraNeighbours(neighbours_, false, 0, 0);
    *trial_ = chroma_;
    trial_->kind = Kind::intra16x16;
    trial_->mode16x16 = mode16x16_;
    qvoiPredictIntra_16x16_H264_8u_C1IR(planes_[0], steps_[0], mode16x16_, flags);
    copyBlock(planes_[0], steps_[0], trial_->luma.data(), 16, 16, 16);
    clock_.enter(EncodeStage::transform);
    if (residual_.codeLuma(*trial_)) {
        take();
    } else {
        refused_ = true;
    }
    clock_.enter(EncodeStage::decision);
}

void MacroblockEncoder::tryIntra4x4() {
    *trial_ = chroma_;
    trial_->kind = Kind::intra4x4;
    current_->kind = Kind::intra4x4;  // for the prediction of modes
    for (const int place : rasterOrder)
        codeIntra4x4Block(place);
    // A quarter without levels is not in the pattern.
    for (std::size_t i = 0; i < 16; ++i)
        if (trial_->lumaCounts[static_cast<std::size_t>(rasterOrder[i])] > 0) trial_->pattern |= 1 << (i / 4);
    copyBlock(planes_[0], steps_[0], trial_->luma.data(), 16, 16, 16);
    take();
}

// Codes the modes that predict best by transformed differences and keeps the best of them, in the picture, where the next
// block finds it.
void MacroblockEncoder::codeIntra4x4Block(int place) {
    constexpr int modes = 9;
    const int x = place & 3, y = place >> 2;
    const auto at = static_cast<std::size_t>(place);
    const Qvo32u flags = intraNeighbours(neighbours_, false, x, y);
    const int predicted = predictedIntraMode(*current_, neighbours_, false, x, y);
    Qvo8u* const samples = frameAt(0, 4 * x, 4 * y);

    struct Guess {
        double cost;
        int mode;
    };
    std::array<Guess, modes> guesses;
    std::size_t count = 0;
    const auto bitsOf = [predicted](int mode) { return mode == predicted ? 1 : 4; };
    for (int mode = 0; mode < modes; ++mode) {
        // With a warning it stands in for missing samples, which is not for decoders.
        if (qvoiPredictIntra_4x4_H264_8u_C1IR(samples, steps_[0], mode, flags) != qvoStatusOk) continue;
        const int difference =
            transformedDifference(sourceAt(4 * x, 4 * y), source_.steps[0], samples, steps_[0], 4, 4);
        guesses[count++] = {difference + lambdaRoot_ * bitsOf(mode), mode};
    }
    const std::size_t tried = std::min<std::size_t>(count, intraSlice_ ? 3 : 2);
    std::partial_sort(guesses.begin(), guesses.begin() + static_cast<std::ptrdiff_t>(tried),
                      guesses.begin() + static_cast<std::ptrdiff_t>(count),
                      [](const Guess& a, const Guess& b) { return a.cost < b.cost; });

    clock_.enter(EncodeStage::transform);
    std::array<ResidualCoder::Block, 2> blocks;
    ResidualCoder::Block* best = &blocks[0];
    ResidualCoder::Block* next = &blocks[1];
    int mode = 0;
    best->price = std::numeric_limits<double>::max();
    for (std::size_t i = 0; i < tried; ++i) {
        qvoiPredictIntra_4x4_H264_8u_C1IR(samples, steps_[0], guesses[i].mode, flags);
        copyBlock(samples, steps_[0], next->samples.data(), 4, 4, 4);
        residual_.codeBlock(x, y, *next);
        next->price += lambda_ * bitsOf(guesses[i].mode);
        if (next->price >= best->price) continue;
        std::swap(best, next);
        mode = guesses[i].mode;
    }
    clock_.enter(EncodeStage::decision);

    copyBlock(best->samples.data(), 4, samples, steps_[0], 4, 4);
    residual_.setCount(x, y, best->count);
    trial_->levels[at] = best->levels;
    trial_->lumaCounts[at] = static_cast<std::uint8_t>(best->count);
    trial_->modes[at] = current_->intraModes[at] = static_cast<std::uint8_t>(mode);
    trial_->modeCodes[at] = mode == predicted ? -1 : mode < predicted ? mode : mode - 1;
}

// ---- inter ------------------------------------------------------------------------------------------------------

// Tries the vector that costs nothing, with and without a residual. True where it leaves none to be coded: then nothing
// else is tried.
bool MacroblockEncoder::trySkip() {
    motion_.setReference(0, wholePartition, 0);
    const Vector vector = motion_.predictSkipped();
    const Vector predicted = motion_.predict(0, wholePartition);
    shapes_[0].vectors[0] = vector;
    shapes_[0].predictions[0] = predicted;
    tryShape(Shape::whole);
    if (best_->pattern == 0 && bestCost_ < std::numeric_limits<double>::max()) {
        best_->skipped = true;
        return true;
    }
    trial_->kind = Kind::inter;
    trial_->skipped = true;
    trial_->shape = Shape::whole;
    trial_->vectors[0] = vector;
    trial_->pattern = 0;
    trial_->lumaCounts.fill(0);
    trial_->chromaCounts = {};
    predictShape(*trial_);
    take(1);
    return false;
}

void MacroblockEncoder::searchShapes() {
    const int whole = searchShape(Shape::whole, std::numeric_limits<int>::max());
    const int quarters = searchShape(Shape::quarters, whole);
    int best = std::min(whole, quarters);
    // Halves are worth a look only where quarters come near the whole.
    if (quarters < shapeMargin * whole) {
        best = std::min(best, searchShape(Shape::rows, whole));
        best = std::min(best, searchShape(Shape::columns, whole));
    } else {
        shapes_[1].cost = shapes_[2].cost = std::numeric_limits<int>::max();
    }
    for (const Shape shape : {Shape::whole, Shape::rows, Shape::columns, Shape::quarters})
        if (shapes_[static_cast<std::size_t>(shape)].cost < shapeMargin * best) tryShape(shape);
    tryIntra(best);
}

// Finds the motion of all partitions; its cost.
int MacroblockEncoder::searchShape(Shape shape, int limit) {
    clock_.enter(EncodeStage::search);
    ShapeMotion& found = shapes_[static_cast<std::size_t>(shape)];
    motion_.setReference(0, wholePartition, 0);
    found.cost = static_cast<int>(lambdaRoot_ * shapeBits[static_cast<std::size_t>(shape)]);
    for (std::size_t i = 0; i < partitionCount(shape); ++i) {
        const Partition partition = partitionOf(shape, i);
        const Vector predicted = motion_.predict(0, partition);
        std::array<Vector, 6> starts = {predicted, {}};
        std::size_t count = 2;
        if (shape == Shape::whole) {
            for (const Macroblock* neighbour : {neighbours_.left, neighbours_.above, neighbours_.aboveRight}) {
                if (!neighbour || neighbour->isIntra()) continue;
                const int x = neighbour == neighbours_.left ? -1 : neighbour == neighbours_.above ? 0 : 4;
                starts[count++] = motion_.vector(0, x, neighbour == neighbours_.left ? 0 : -1);
            }
        } else {
            starts[count++] = shapes_[0].vectors[0];
            // Of the quarter, where those have been searched.
            if (shape != Shape::quarters) starts[count++] = shapes_[3].vectors[i == 0 ? 0 : 3];
        }
        const MotionTask task = {sourceAt(4 * partition.x, 4 * partition.y),
                                 source_.steps[0],
                                 16 * x_ + 4 * partition.x,
                                 16 * y_ + 4 * partition.y,
                                 4 * partition.width,
                                 4 * partition.height,
                                 predicted,
                                 std::span(starts).first(count)};
        const FoundMotion motion = estimator_.find(task);
        found.vectors[i] = motion.vector;
        found.predictions[i] = predicted;
        found.cost += motion.cost;
        motion_.setVector(0, partition, motion.vector);
        if (found.cost > shapeMargin * limit) break;
    }
    clock_.enter(EncodeStage::decision);
    return found.cost;
}

// Codes the macroblock with a shape's motion.
void MacroblockEncoder::tryShape(Shape shape) {
    const ShapeMotion& motion = shapes_[static_cast<std::size_t>(shape)];
    trial_->kind = Kind::inter;
    trial_->skipped = false;
    trial_->shape = shape;
    trial_->pattern = 0;
    trial_->vectors = motion.vectors;
    for (std::size_t i = 0; i < trial_->partitions(); ++i) {
        const Vector vector = motion.vectors[i], predicted = motion.predictions[i];
        trial_->differences[i] = {static_cast<Qvo16s>(vector.x - predicted.x),
                                  static_cast<Qvo16s>(vector.y - predicted.y)};
    }
    predictShape(*trial_);
    clock_.enter(EncodeStage::transform);
    if (residual_.codeLuma(*trial_) && residual_.codeChroma(*trial_)) {
        take();
    } else {
        refused_ = true;
    }
    clock_.enter(EncodeStage::decision);
}

void MacroblockEncoder::predictShape(CodedMacroblock& macroblock) {
    const Frame& reference = *slice_->references[0][0]->frame;
    for (std::size_t i = 0; i < macroblock.partitions(); ++i) {
        const Partition partition = partitionOf(macroblock.shape, i);
        const Vector vector = macroblock.vectors[i];
        const int x = 4 * partition.x, y = 4 * partition.y;
        const int width = 4 * partition.width, height = 4 * partition.height;
        predictLuma(reference.plane(0), vector, 16 * x_ + x, 16 * y_ + y, width, height,
                    {macroblock.luma.data() + 16 * y + x, 16});
        for (std::size_t plane = 0; plane < 2; ++plane)
            predictChroma(reference.plane(plane + 1), vector, 8 * x_ + x / 2, 8 * y_ + y / 2, width / 2, height / 2,
                          {macroblock.chroma[plane].data() + 4 * y + x / 2, 8});
    }
}

}  // namespace codecs::h264
