#include "h264/motion.h"

#include <algorithm>
#include <cstdlib>

namespace codecs::h264 {

namespace {

// Place of each 4x4 block, in raster order, in the order of decoding.
constexpr std::array<int, 16> decodingOrder = {0, 1, 4, 5, 2, 3, 6, 7, 8, 9, 12, 13, 10, 11, 14, 15};

int median(int a, int b, int c) {
    return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

constexpr Partition whole = {0, 0, 4, 4};

}  // namespace

void MotionField::begin(PictureContext& context, const SliceContext& slice) {
    context_ = &context;
    slice_ = &slice;
    const Frame& frame = *context.picture->frame;
    vectorStep_ = frame.vectorStep();
    referenceStep_ = frame.referenceStep();
    for (std::size_t list = 0; list < 2; ++list)
        for (std::size_t i = 0; i < slice.references[list].size(); ++i)
            ids_[list][i] = slice.references[list][i]->id;
    if (slice.header.type != SliceType::b || slice.header.directSpatial || slice.references[1].empty()) return;
    for (std::size_t i = 0; i < slice.references[0].size(); ++i)
        scales_[i] = timeScale(*context.picture, *slice.references[0][i], *slice.references[1][0]);
}

void MotionField::enter(int macroblockX, int macroblockY, const Neighbours& neighbours) {
    neighbours_ = neighbours;
    firstVector_ = static_cast<std::size_t>(4 * (macroblockY * vectorStep_ + macroblockX));
    firstReference_ = static_cast<std::size_t>(2 * (macroblockY * referenceStep_ + macroblockX));
    for (std::size_t list = 0; list < 2; ++list) {
        Motion& motion = context_->picture->frame->motion[list];
        vectors_[list] = motion.vectors.data() + firstVector_;
        references_[list] = motion.references.data() + firstReference_;
        pictures_[list] = motion.pictures.data() + firstReference_;
    }
}

void MotionField::setReference(std::size_t list, const Partition& partition, int reference) {
    const std::int32_t id = reference < 0 ? -1 : ids_[list][static_cast<std::size_t>(reference)];
    for (int y = partition.y / 2; y < (partition.y + partition.height) / 2; ++y) {
        for (int x = partition.x / 2; x < (partition.x + partition.width) / 2; ++x) {
            references_[list][y * referenceStep_ + x] = static_cast<std::int8_t>(reference);
            pictures_[list][y * referenceStep_ + x] = id;
        }
    }
}

void MotionField::setVector(std::size_t list, const Partition& partition, Vector vector) {
    for (int y = partition.y; y < partition.y + partition.height; ++y)
        std::fill_n(vectors_[list] + y * vectorStep_ + partition.x, partition.width, vector);
}

void MotionField::setIntra() {
    setReference(0, whole, -1);
    if (slice_->header.type == SliceType::b) setReference(1, whole, -1);
}

// ---- prediction from neighbours ---------------------------------------------------------------------------------

// Blocks at x = -1, y = -1 or x = 4 lie in the neighbouring macroblocks.
MotionField::Neighbour MotionField::neighbour(std::size_t list, int x, int y) const {
    const bool inside = x >= 0 && y >= 0;
    if (!inside) {
        const Macroblock* const macroblock = y >= 0  ? neighbours_.left
                                             : x < 0 ? neighbours_.aboveLeft
                                             : x < 4 ? neighbours_.above
                                                     : neighbours_.aboveRight;
        if (!macroblock) return {unavailable, {}};
    }
    const int of = reference(list, x, y);
    return of < 0 ? Neighbour{-1, {}} : Neighbour{of, vector(list, x, y)};
}

// The block above-right of a partition or, where that is not decoded yet, the one above-left.
MotionField::Neighbour MotionField::neighbourC(std::size_t list, const Partition& partition) const {
    const int right = partition.x + partition.width, above = partition.y - 1;
    const auto order = [](int x, int y) { return decodingOrder[static_cast<std::size_t>(4 * y + x)]; };
    const bool decoded = above < 0 || (right < 4 && order(right, above) < order(partition.x, partition.y));
    if (decoded) {
        const Neighbour c = neighbour(list, right, above);
        if (c.reference != unavailable) return c;
    }
    return neighbour(list, partition.x - 1, above);
}

Vector MotionField::median(const Neighbour& a, const Neighbour& b, const Neighbour& c, int reference) const {
    const bool onlyA = b.reference == unavailable && c.reference == unavailable && a.reference != unavailable;
    if (onlyA) return a.vector;
    const bool fromA = a.reference == reference, fromB = b.reference == reference, fromC = c.reference == reference;
    if (fromA + fromB + fromC == 1) return fromA ? a.vector : fromB ? b.vector : c.vector;
    return {static_cast<Qvo16s>(h264::median(a.vector.x, b.vector.x, c.vector.x)),
            static_cast<Qvo16s>(h264::median(a.vector.y, b.vector.y, c.vector.y))};
}

Vector MotionField::predict(std::size_t list, const Partition& partition) const {
    const int of = reference(list, partition.x, partition.y);
    const auto left = [&] { return neighbour(list, partition.x - 1, partition.y); };
    const auto above = [&] { return neighbour(list, partition.x, partition.y - 1); };
    // Halves of a macroblock look into one direction first.
    if (partition.width == 4 && partition.height == 2) {
        const Neighbour first = partition.y == 0 ? above() : left();
        if (first.reference == of) return first.vector;
    } else if (partition.width == 2 && partition.height == 4) {
        const Neighbour first = partition.x == 0 ? left() : neighbourC(list, partition);
        if (first.reference == of) return first.vector;
    }
    return median(left(), above(), neighbourC(list, partition), of);
}

Vector MotionField::predictSkipped() const {
    const Neighbour a = neighbour(0, -1, 0), b = neighbour(0, 0, -1);
    const auto rests = [](const Neighbour& n) { return n.reference == 0 && n.vector == Vector{}; };
    if (a.reference == unavailable || b.reference == unavailable || rests(a) || rests(b)) return {};
    return median(a, b, neighbourC(0, whole), 0);
}

// ---- direct prediction ------------------------------------------------------------------------------------------

bool MotionField::setDirect(int blocks) {
    return slice_->header.directSpatial ? setSpatialDirect(blocks) : setTemporalDirect(blocks);
}

// The motion of the block at the same place of the first picture of list 1 (8.4.1.2.1).
MotionField::Colocated MotionField::colocated(int x, int y) const {
    const bool corners = context_->sequence->direct8x8Inference;
    if (corners) {
        x = x < 2 ? 0 : 3;
        y = y < 2 ? 0 : 3;
    }
    const Frame& frame = *slice_->references[1][0]->frame;
    const std::size_t at = firstReference_ + static_cast<std::size_t>((y >> 1) * referenceStep_ + (x >> 1));
    const std::size_t list = frame.motion[0].references[at] >= 0 ? 0 : 1;
    const Motion& motion = frame.motion[list];
    const int of = motion.references[at];
    if (of < 0) return {true, -1, -1, {}};
    return {false, of, motion.pictures[at],
            motion.vectors[firstVector_ + static_cast<std::size_t>(y * vectorStep_ + x)]};
}

bool MotionField::setSpatialDirect(int blocks) {
    std::array<int, 2> references;
    std::array<Vector, 2> vectors;
    for (std::size_t list = 0; list < 2; ++list) {
        const Neighbour a = neighbour(list, -1, 0), b = neighbour(list, 0, -1), c = neighbourC(list, whole);
        // The smallest index in use; as unsigned numbers the others are larger.
        const auto index = [](const Neighbour& n) { return static_cast<unsigned>(n.reference); };
        const unsigned least = std::min({index(a), index(b), index(c)});
        references[list] = least < maxReferences ? static_cast<int>(least) : -1;
        vectors[list] = references[list] < 0 ? Vector{} : median(a, b, c, references[list]);
    }
    const bool none = references[0] < 0 && references[1] < 0;
    if (none) references = {0, 0};
    const bool mayRest =
        !none && slice_->references[1][0]->marking != Marking::longTerm && (references[0] == 0 || references[1] == 0);

    bool uniform = true;
    for (int block = 0; block < 4; ++block) {
        if (!(blocks & 1 << block)) continue;
        const Partition partition = {2 * (block & 1), block & 2, 2, 2};
        for (std::size_t list = 0; list < 2; ++list) {
            setReference(list, partition, references[list]);
            setVector(list, partition, vectors[list]);
        }
        if (!mayRest) continue;
        int resting = 0;
        for (int i = 0; i < 4; ++i) {
            const int x = partition.x + (i & 1), y = partition.y + (i >> 1);
            const Colocated of = colocated(x, y);
            const bool rests = of.reference == 0 && std::abs(of.vector.x) <= 1 && std::abs(of.vector.y) <= 1;
            if (!rests) continue;
            ++resting;
            for (std::size_t list = 0; list < 2; ++list)
                if (references[list] == 0) setVector(list, {x, y, 1, 1}, {});
        }
        uniform = uniform && (resting == 0 || resting == 4);
    }
    return uniform;
}

bool MotionField::setTemporalDirect(int blocks) {
    bool uniform = true;
    for (int block = 0; block < 4; ++block) {
        if (!(blocks & 1 << block)) continue;
        const Partition partition = {2 * (block & 1), block & 2, 2, 2};
        const Colocated first = colocated(partition.x, partition.y);
        std::size_t index = 0;
        if (!first.intra) {
            // The picture that the other one was predicted from.
            const auto end = ids_[0].begin() + static_cast<std::ptrdiff_t>(slice_->references[0].size());
            const auto found = std::find(ids_[0].begin(), end, first.picture);
            if (found != end) index = static_cast<std::size_t>(found - ids_[0].begin());
        }
        setReference(0, partition, static_cast<int>(index));
        setReference(1, partition, 0);
        const TimeScale scale = scales_[index];
        for (int i = 0; i < 4; ++i) {
            const int x = partition.x + (i & 1), y = partition.y + (i >> 1);
            const Vector of = colocated(x, y).vector;
            uniform = uniform && of == first.vector;
            Vector forward = of, backward = {};
            if (scale.usable) {
                const auto scaled = [&](int v) { return static_cast<Qvo16s>((scale.factor * v + 128) >> 8); };
                forward = {scaled(of.x), scaled(of.y)};
                backward = {static_cast<Qvo16s>(forward.x - of.x), static_cast<Qvo16s>(forward.y - of.y)};
            }
            setVector(0, {x, y, 1, 1}, forward);
            setVector(1, {x, y, 1, 1}, backward);
        }
    }
    return uniform;
}

}  // namespace codecs::h264
