#include "h264/slice.h"

#include <algorithm>
#include <cstring>

#include "h264/cavlc.h"
#include "h264/tables.h"

namespace codecs::h264 {

namespace {

// mb_type of I slices (table 7-11).
constexpr int typeIntra4x4 = 0;
constexpr int typePcm = 25;
// First intra mb_type of P and of B slices (tables 7-13, 7-14), and others of theirs.
constexpr int firstIntraP = 5;
constexpr int firstIntraB = 23;
constexpr int typeP8x8 = 3;
constexpr int typeP8x8ReferenceZero = 4;
constexpr int typeDirect = 0;
constexpr int typeB8x8 = 22;

constexpr int allBlocks = 15;

// Which lists a partition is predicted from.
enum Use : int { useFirst = 1, useSecond = 2, useBoth = 3 };

constexpr Partition whole = {0, 0, 4, 4};

// mb_type 1..3 of B slices, and 4..21 (pairs for 16x8 and 8x16).
constexpr std::array<int, 3> wholeUses = {useFirst, useSecond, useBoth};
constexpr std::array<std::array<int, 2>, 9> halfUses = {{{useFirst, useFirst},
                                                         {useSecond, useSecond},
                                                         {useFirst, useSecond},
                                                         {useSecond, useFirst},
                                                         {useFirst, useBoth},
                                                         {useSecond, useBoth},
                                                         {useBoth, useFirst},
                                                         {useBoth, useSecond},
                                                         {useBoth, useBoth}}};

// sub_mb_type (tables 7-17 and 7-18): lists, and size of the parts in 4x4 blocks.
struct SubType {
    int use;  // 0: direct
    int width;
    int height;
};
constexpr std::array<SubType, 4> subTypesP = {
    {{useFirst, 2, 2}, {useFirst, 2, 1}, {useFirst, 1, 2}, {useFirst, 1, 1}}};
constexpr std::array<SubType, 13> subTypesB = {{{0, 2, 2},
                                                {useFirst, 2, 2},
                                                {useSecond, 2, 2},
                                                {useBoth, 2, 2},
                                                {useFirst, 2, 1},
                                                {useFirst, 1, 2},
                                                {useSecond, 2, 1},
                                                {useSecond, 1, 2},
                                                {useBoth, 2, 1},
                                                {useBoth, 1, 2},
                                                {useFirst, 1, 1},
                                                {useSecond, 1, 1},
                                                {useBoth, 1, 1}}};

constexpr std::uint8_t pcmCount = 16;

}  // namespace

// ---- slices and macroblocks -------------------------------------------------------------------------------------

void SliceDecoder::decode(PictureContext& context, const SliceContext& slice, int number, BitReader bits) {
    context_ = &context;
    slice_ = &slice;
    number_ = number;
    bits_ = bits;
    isB_ = slice.header.type == SliceType::b;
    constrainedIntra_ = slice.parameters->constrainedIntra;
    qp_ = slice.header.qp;
    address_ = slice.header.firstMacroblock;
    motion_.begin(context, slice);
    predictor_.begin(context, slice);
    try {
        decodeMacroblocks();
    } catch (const Damage&) {
        if (address_ < context.macroblockCount()) {
            Macroblock& broken = context.macroblocks[static_cast<std::size_t>(address_)];
            if (broken.slice == number_) broken.slice = notDecoded;
        }
        for (auto& block : blocks_)
            block.fill(0);
        chromaDc_ = {};
    }
}

void SliceDecoder::decodeMacroblocks() {
    const bool mayRest = slice_->header.type != SliceType::i;
    for (;;) {
        if (mayRest) {
            const int left = context_->macroblockCount() - address_;
            for (int skipped = bits_.ueUpTo(left); skipped > 0; --skipped)
                skipMacroblock();
            if (!bits_.hasMore()) return;
        }
        decodeMacroblock();
        if (!bits_.hasMore()) return;
    }
}

// Takes up the macroblock at address_. Its neighbours count only within the slice.
void SliceDecoder::enterMacroblock() {
    if (address_ >= context_->macroblockCount()) throw Damage{};
    current_ = &context_->macroblocks[static_cast<std::size_t>(address_)];
    if (current_->slice != notDecoded) throw Damage{};
    x_ = address_ % context_->macroblockWidth;
    y_ = address_ / context_->macroblockWidth;
    current_->slice = number_;
    neighbours_ = findNeighbours(*context_, address_, number_);
    const Frame& frame = *context_->picture->frame;
    for (std::size_t i = 0; i < 3; ++i) {
        const Plane& plane = frame.plane(i);
        const int size = i == 0 ? 16 : 8;
        steps_[i] = plane.step;
        planes_[i] = plane.samples + std::ptrdiff_t{size * y_} * plane.step + size * x_;
    }
    motion_.enter(x_, y_, neighbours_);
}

void SliceDecoder::leaveMacroblock() {
    current_->qp = static_cast<std::uint8_t>(qp_);
    ++address_;
}

void SliceDecoder::skipMacroblock() {
    enterMacroblock();
    current_->kind = Kind::inter;
    current_->lumaCounts.fill(0);
    current_->chromaCounts = {};
    if (slice_->references[0].empty()) throw Damage{};
    if (isB_) {
        const bool uniform = motion_.setDirect(allBlocks);
        predictDirect(allBlocks, uniform);
    } else {
        motion_.setReference(0, whole, 0);
        motion_.setVector(0, whole, motion_.predictSkipped());
        current_->wholeMotion = true;
        predictPartition(whole);
    }
    leaveMacroblock();
}

void SliceDecoder::decodeMacroblock() {
    enterMacroblock();
    int type = static_cast<int>(std::min(bits_.ue(), 255U));
    const SliceType sliceType = slice_->header.type;
    const int firstIntra = sliceType == SliceType::i ? 0 : isB_ ? firstIntraB : firstIntraP;
    if (type < firstIntra) {
        decodeInter(type);
    } else {
        type -= firstIntra;
        if (type > typePcm) throw Damage{};
        motion_.setIntra();
        if (type == typeIntra4x4) {
            decodeIntra4x4();
        } else if (type == typePcm) {
            decodePcm();
            return;
        } else {
            decodeIntra16x16(type);
        }
    }
    if (bits_.pastEnd()) throw Damage{};
    leaveMacroblock();
}

void SliceDecoder::decodePcm() {
    current_->kind = Kind::pcm;
    bits_.align();
    const Qvo8u* from = bits_.bytes(384);
    for (std::size_t plane = 0; plane < 3; ++plane) {
        const std::size_t size = plane == 0 ? 16 : 8;
        for (std::size_t y = 0; y < size; ++y, from += size)
            std::memcpy(planes_[plane] + static_cast<std::ptrdiff_t>(y) * steps_[plane], from, size);
    }
    current_->lumaCounts.fill(pcmCount);
    for (auto& counts : current_->chromaCounts)
        counts.fill(pcmCount);
    leaveMacroblock();
    // The filter takes its samples for coded without loss; the slice's quantiser stays.
    current_->qp = 0;
}

// ---- intra prediction -------------------------------------------------------------------------------------------

void SliceDecoder::readIntraModes() {
    for (const int place : rasterOrder) {
        int mode = predictedIntraMode(*current_, neighbours_, constrainedIntra_, place & 3, place >> 2);
        if (!bits_.flag()) {
            const int other = bits_.getInt(3);
            mode = other < mode ? other : other + 1;
        }
        current_->intraModes[static_cast<std::size_t>(place)] = static_cast<std::uint8_t>(mode);
    }
}

void SliceDecoder::predictIntraChroma(int mode) {
    const Qvo32u flags = intraNeighbours(neighbours_, constrainedIntra_, 0, 0);
    for (std::size_t plane = 1; plane < 3; ++plane) {
        if (qvoiPredictIntraChroma8x8_H264_8u_C1IR(planes_[plane], steps_[plane], mode, flags) != qvoStatusOk)
            throw Damage{};
    }
}

void SliceDecoder::decodeIntra4x4() {
    current_->kind = Kind::intra4x4;
    readIntraModes();
    const int chromaMode = bits_.ueUpTo(3);
    const int pattern = readCodedBlockPattern(true);
    if (pattern != 0) readQpDelta();
    counts_.load(neighbours_);
    readLumaBlocks(pattern, 0);
    readChroma(pattern);

    clock_.enter(Stage::prediction);
    for (const int place : rasterOrder) {
        const int x = place & 3, y = place >> 2;
        const Qvo32s mode = current_->intraModes[static_cast<std::size_t>(place)];
        // A neighbour that is missing although the mode looks at it is damage, whatever stands in for it.
        if (qvoiPredictIntra_4x4_H264_8u_C1IR(luma(x, y), steps_[0], mode,
                                              intraNeighbours(neighbours_, constrainedIntra_, x, y)) != qvoStatusOk)
            throw Damage{};
        addLuma(x, y, nullptr);
    }
    predictIntraChroma(chromaMode);
    addChroma();
    clock_.enter(Stage::parse);
}

void SliceDecoder::decodeIntra16x16(int type) {
    current_->kind = Kind::intra16x16;
    // The type says mode and pattern (table 7-11).
    const int mode = (type - 1) & 3;
    const int chromaPattern = (type - 1) / 4 % 3;
    const int pattern = chromaPattern << 4 | (type >= 13 ? 15 : 0);
    const int chromaMode = bits_.ueUpTo(3);
    readQpDelta();
    counts_.load(neighbours_);
    std::array<Qvo16s, 16> dc = {};
    const bool hasDc = readBlock(bits_, counts_.predictLuma(0, 0), 0, dc.data()).count > 0;
    readLumaBlocks(pattern, 1);
    readChroma(pattern);

    clock_.enter(Stage::prediction);
    if (qvoiPredictIntra_16x16_H264_8u_C1IR(planes_[0], steps_[0], mode,
                                            intraNeighbours(neighbours_, constrainedIntra_, 0, 0)) != qvoStatusOk)
        throw Damage{};
    if (hasDc) qvoiTransformDequantLumaDC_H264_16s_C1I(dc.data(), qp_);
    for (int place = 0; place < 16; ++place)
        addLuma(place & 3, place >> 2, &dc[static_cast<std::size_t>(place)]);
    predictIntraChroma(chromaMode);
    addChroma();
    clock_.enter(Stage::parse);
}

// ---- inter prediction -------------------------------------------------------------------------------------------

void SliceDecoder::decodeInter(int type) {
    if (slice_->references[0].empty()) throw Damage{};
    current_->kind = Kind::inter;
    current_->wholeMotion = false;
    const bool quarters = type == (isB_ ? typeB8x8 : typeP8x8) || (!isB_ && type == typeP8x8ReferenceZero);
    if (isB_ && type == typeDirect) {
        const bool uniform = motion_.setDirect(allBlocks);
        predictDirect(allBlocks, uniform);
    } else if (quarters) {
        readQuarters(!isB_ && type == typeP8x8ReferenceZero);
    } else {
        readHalves(type);
    }

    const int pattern = readCodedBlockPattern(false);
    if (pattern == 0) {
        current_->lumaCounts.fill(0);
        current_->chromaCounts = {};
        return;
    }
    readQpDelta();
    counts_.load(neighbours_);
    readLumaBlocks(pattern, 0);
    readChroma(pattern);
    clock_.enter(Stage::residual);
    for (int place = 0; place < 16; ++place)
        addLuma(place & 3, place >> 2, nullptr);
    addChroma();
    clock_.enter(Stage::parse);
}

void SliceDecoder::readReferences(std::size_t list, const Partition* partitions, const int* uses, std::size_t count) {
    const int last = slice_->header.referenceCounts[list] - 1;
    for (std::size_t i = 0; i < count; ++i) {
        if (uses[i] == 0) continue;  // direct
        const bool used = uses[i] & (1 << list);
        int reference = used ? 0 : -1;
        if (used && last > 0) reference = bits_.te(last);
        motion_.setReference(list, partitions[i], reference);
    }
}

void SliceDecoder::readVector(std::size_t list, const Partition& partition) {
    constexpr int longestDifference = 1 << 14;  // in quarter samples, twice what level limits allow
    Vector vector = motion_.predict(list, partition);
    vector.x = static_cast<Qvo16s>(vector.x + bits_.seUpTo(longestDifference));
    vector.y = static_cast<Qvo16s>(vector.y + bits_.seUpTo(longestDifference));
    motion_.setVector(list, partition, vector);
}

// One or two partitions.
void SliceDecoder::readHalves(int type) {
    std::array<Partition, 2> partitions;
    std::array<int, 2> uses;
    std::size_t count = 2;
    const int wholeTypes = isB_ ? 3 : 0;  // last mb_type with one partition
    if (type <= wholeTypes) {
        count = 1;
        partitions = {whole, whole};
        uses.fill(isB_ ? wholeUses[static_cast<std::size_t>(type - 1)] : useFirst);
        current_->wholeMotion = true;
    } else {
        const bool sideBySide = isB_ ? type & 1 : type == 2;
        if (sideBySide) {
            partitions = {{{0, 0, 2, 4}, {2, 0, 2, 4}}};
        } else {
            partitions = {{{0, 0, 4, 2}, {0, 2, 4, 2}}};
        }
        if (isB_) {
            uses = halfUses[static_cast<std::size_t>(type - 4) / 2];
        } else {
            uses.fill(useFirst);
        }
    }
    const std::size_t lists = isB_ ? 2 : 1;
    for (std::size_t list = 0; list < lists; ++list)
        readReferences(list, partitions.data(), uses.data(), count);
    for (std::size_t list = 0; list < lists; ++list)
        for (std::size_t i = 0; i < count; ++i)
            if (uses[i] & (1 << list)) readVector(list, partitions[i]);
    for (std::size_t i = 0; i < count; ++i)
        predictPartition(partitions[i]);
}

// Four 8x8 blocks, each divided in its own way.
void SliceDecoder::readQuarters(bool allReferencesZero) {
    std::array<SubType, 4> types;
    std::array<Partition, 4> partitions;
    std::array<int, 4> uses;
    int direct = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        const auto block = static_cast<int>(i);
        types[i] = isB_ ? subTypesB[static_cast<std::size_t>(bits_.ueUpTo(12))]
                        : subTypesP[static_cast<std::size_t>(bits_.ueUpTo(3))];
        partitions[i] = {2 * (block & 1), block & 2, 2, 2};
        uses[i] = types[i].use;
        if (uses[i] == 0) direct |= 1 << block;
    }
    const bool uniform = direct == 0 || motion_.setDirect(direct);
    const std::size_t lists = isB_ ? 2 : 1;
    for (std::size_t list = 0; list < lists; ++list) {
        if (allReferencesZero) {
            motion_.setReference(list, whole, 0);
        } else {
            readReferences(list, partitions.data(), uses.data(), 4);
        }
    }
    const auto forEachPart = [&](std::size_t i, auto&& take) {
        for (int y = 0; y < 2; y += types[i].height)
            for (int x = 0; x < 2; x += types[i].width)
                take(Partition{partitions[i].x + x, partitions[i].y + y, types[i].width, types[i].height});
    };
    for (std::size_t list = 0; list < lists; ++list)
        for (std::size_t i = 0; i < 4; ++i)
            if (uses[i] & (1 << list)) forEachPart(i, [&](const Partition& part) { readVector(list, part); });
    for (std::size_t i = 0; i < 4; ++i)
        if (uses[i] != 0) forEachPart(i, [&](const Partition& part) { predictPartition(part); });
    if (direct != 0) predictDirect(direct, uniform);
}

void SliceDecoder::predictPartition(const Partition& partition) {
    const Stage before = clock_.enter(Stage::prediction);
    const int x = partition.x, y = partition.y;
    const std::array<int, 2> references = {motion_.reference(0, x, y), isB_ ? motion_.reference(1, x, y) : -1};
    const std::array<Vector, 2> vectors = {motion_.vector(0, x, y), isB_ ? motion_.vector(1, x, y) : Vector{}};
    predictor_.predict(16 * x_ + 4 * x, 16 * y_ + 4 * y, 4 * partition.width, 4 * partition.height, references,
                       vectors);
    clock_.enter(before);
}

// Predicts the 8x8 blocks of `blocks`, whose motion is set, in parts as large as it allows: uniform says that each of
// them has one motion only.
void SliceDecoder::predictDirect(int blocks, bool uniform) {
    const auto same = [this](int x, int y) {
        for (std::size_t list = 0; list < 2; ++list) {
            if (motion_.reference(list, x, y) != motion_.reference(list, 0, 0)) return false;
            if (motion_.vector(list, x, y) != motion_.vector(list, 0, 0)) return false;
        }
        return true;
    };
    if (uniform && blocks == allBlocks && same(2, 0) && same(0, 2) && same(2, 2)) {
        current_->wholeMotion = true;
        predictPartition(whole);
        return;
    }
    current_->wholeMotion = false;
    for (int block = 0; block < 4; ++block) {
        if (!(blocks & 1 << block)) continue;
        const int x = 2 * (block & 1), y = block & 2;
        if (uniform) {
            predictPartition({x, y, 2, 2});
            continue;
        }
        for (int i = 0; i < 4; ++i)
            predictPartition({x + (i & 1), y + (i >> 1), 1, 1});
    }
}

// ---- residual ---------------------------------------------------------------------------------------------------

int SliceDecoder::readCodedBlockPattern(bool intra) {
    return codedBlockPatterns[intra ? 0 : 1][static_cast<std::size_t>(bits_.ueUpTo(47))];
}

void SliceDecoder::readQpDelta() {
    const int delta = bits_.seUpTo(26);
    qp_ = (qp_ + delta + 52) % 52;
}

// Reads the luma blocks of the 8x8 blocks in the pattern; first is 1 where their DC is coded apart.
void SliceDecoder::readLumaBlocks(int pattern, int first) {
    for (std::size_t i = 0; i < 16; ++i) {
        const int place = rasterOrder[i];
        const int x = place & 3, y = place >> 2;
        const auto block = static_cast<std::size_t>(place);
        Levels levels;
        if (pattern & 1 << (i / 4)) {
            levels = readBlock(bits_, counts_.predictLuma(x, y), first, blocks_[block].data());
        }
        hasAc_[block] = levels.ac;
        current_->lumaCounts[block] = static_cast<std::uint8_t>(levels.count);
        counts_.setLuma(x, y, levels.count);
    }
}

void SliceDecoder::readChroma(int pattern) {
    const bool hasDc = pattern & 0x30, hasAc = pattern & 0x20;
    for (std::size_t plane = 0; plane < 2; ++plane) {
        if (!hasDc) break;
        const auto& parameters = *slice_->parameters;
        if (readChromaDc(bits_, chromaDc_[plane].data()).count == 0) continue;
        const int qp =
            chromaQuantisers[static_cast<std::size_t>(std::clamp(qp_ + parameters.chromaQpOffsets[plane], 0, 51))];
        qvoiTransformDequantChromaDC_H264_16s_C1I(chromaDc_[plane].data(), qp);
    }
    for (std::size_t plane = 0; plane < 2; ++plane) {
        for (int i = 0; i < 4; ++i) {
            const int x = i & 1, y = i >> 1;
            const auto k = static_cast<std::size_t>(i);
            const std::size_t block = 16 + 4 * plane + k;
            Levels levels;
            if (hasAc) {
                levels = readBlock(bits_, counts_.predictChroma(plane, x, y), 1, blocks_[block].data());
            }
            hasAc_[block] = levels.ac;
            current_->chromaCounts[plane][k] = static_cast<std::uint8_t>(levels.count);
            counts_.setChroma(plane, x, y, levels.count);
        }
    }
}

// Adds a luma block's residual to its prediction; dc is given where it was coded apart.
void SliceDecoder::addLuma(int x, int y, const Qvo16s* dc) {
    const auto block = static_cast<std::size_t>(4 * y + x);
    const bool none = current_->lumaCounts[block] == 0 && (!dc || *dc == 0);
    if (none) return;
    Qvo8u* const at = luma(x, y);
    Qvo16s* const levels = blocks_[block].data();
    qvoiDequantTransformResidualAndAdd_H264_16s_C1I(at, levels, dc, at, steps_[0], steps_[0], qp_, hasAc_[block]);
    std::memset(levels, 0, sizeof(blocks_[block]));
}

void SliceDecoder::addChroma() {
    for (std::size_t plane = 0; plane < 2; ++plane) {
        const Qvo32s step = steps_[plane + 1];
        const int offset = slice_->parameters->chromaQpOffsets[plane];
        const int qp = chromaQuantisers[static_cast<std::size_t>(std::clamp(qp_ + offset, 0, 51))];
        for (std::size_t i = 0; i < 4; ++i) {
            const std::size_t block = 16 + 4 * plane + i;
            const Qvo16s* const dc = &chromaDc_[plane][i];
            if (*dc == 0 && !hasAc_[block]) continue;
            Qvo8u* const at = planes_[plane + 1] + static_cast<std::ptrdiff_t>(4 * (i >> 1)) * step + 4 * (i & 1);
            Qvo16s* const levels = blocks_[block].data();
            qvoiDequantTransformResidualAndAdd_H264_16s_C1I(at, levels, dc, at, step, step, qp, hasAc_[block]);
            std::memset(levels, 0, sizeof(blocks_[block]));
        }
        chromaDc_[plane] = {};
    }
}

}  // namespace codecs::h264
