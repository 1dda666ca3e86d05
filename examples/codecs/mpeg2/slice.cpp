#include "mpeg2/slice.h"

#include <algorithm>

#include "mpeg2/inverse_count.h"

namespace codecs::mpeg2 {

namespace {

constexpr Qvo32s lumaResidualStep = 32;
constexpr Qvo32s chromaResidualStep = 16;

constexpr int sign(int value) {
    return (value > 0) - (value < 0);
}

// MPEG-1 keeps reconstructed coefficients odd, by one step toward zero (11172-2, 2.4.4.1 and 2.4.4.2).
constexpr Qvo16s oddified(int value) {
    if ((value & 1) == 0) value -= sign(value);
    return static_cast<Qvo16s>(std::clamp(value, -2048, 2047));
}

// Division by two with halves away from zero, the "//" of 13818-2.
constexpr int halved(int value) {
    return (value + (value > 0 ? 1 : 0)) >> 1;
}

}  // namespace

void SliceDecoder::decode(PictureContext& picture, int firstRow, BitReader bits) {
    picture_ = &picture;
    bits_ = bits;
    scan_ = transposedScans[picture.header.alternateScan ? 1 : 0].data();
    clock_.enter(Stage::parse);
    try {
        if (picture.tall) firstRow += bits_.getInt(3) << 7;
        if (firstRow >= picture.macroblockHeight) throw Damage{};
        readQuantiserScale();
        while (bits_.flag())
            bits_.skip(8);  // extra_information_slice, intra_slice among it
        resetDc();
        resetPredictors();
        decodeMacroblocks(firstRow * picture.macroblockWidth - 1);
    } catch (const Damage&) {
        // What is missing shows in the picture's flags.
    }
    clock_.enter(Stage::parse);
}

void SliceDecoder::decodeMacroblocks(int address) {
    const int count = picture_->macroblockWidth * picture_->macroblockHeight;
    // The first increment gives the slice's start, later ones pass over skipped macroblocks.
    bool atStart = true;
    do {
        const int next = address + addressIncrement();
        if (next >= count) throw Damage{};
        if (!atStart) {
            while (++address < next)
                skipMacroblock(address);
        }
        atStart = false;
        address = next;
        decodeMacroblock(address);
        if (bits_.pastEnd()) throw Damage{};
        picture_->decoded[static_cast<std::size_t>(address)] = 1;
    } while (bits_.peek(23) != 0);
}

int SliceDecoder::addressIncrement() {
    int increment = 0;
    for (;;) {
        const Qvo32s code = bits_.code(tables_.addressIncrement.get());
        if (code < addressEscape) return increment + code;
        if (bits_.pastEnd()) throw Damage{};
        if (code == addressEscape) increment += 33;
    }
}

void SliceDecoder::place(int address) {
    x_ = address % picture_->macroblockWidth * 16;
    y_ = address / picture_->macroblockWidth * 16;
}

void SliceDecoder::decodeMacroblock(int address) {
    const PictureHeader& header = picture_->header;
    place(address);
    flags_ = bits_.code(tables_.macroblockTypes[static_cast<std::size_t>(header.type)].get());
    readModes();
    if (flags_ & mbQuant) readQuantiserScale();

    const bool intra = flags_ & mbIntra;
    if ((flags_ & mbForward) || (intra && header.concealmentVectors)) readVectors(forward);
    if (flags_ & mbBackward) readVectors(backward);
    if (intra) {
        if (header.concealmentVectors) {
            bits_.skip(1);  // marker
        } else {
            resetPredictors();
        }
        clock_.enter(Stage::residual);
        decodeIntraBlocks();
        clock_.enter(Stage::parse);
        return;
    }

    resetDc();
    if (header.type == PictureType::predicted && !(flags_ & mbForward)) {
        // No vector: that of the co-located macroblock, from the field of the same parity in field pictures.
        resetPredictors();
        motionType_ = header.isField() ? motionField : motionFrame;
        vectors_[0][forward] = {};
        fieldSelect_[0][forward] = static_cast<std::size_t>(header.parity());
        flags_ |= mbForward;
    }
    const int pattern = flags_ & mbPattern ? bits_.code(tables_.codedBlockPattern.get()) : 0;
    clock_.enter(Stage::residual);
    const Residual residual = decodeResidual(pattern);
    clock_.enter(Stage::prediction);
    predictMacroblock(residual);
    clock_.enter(Stage::parse);
}

void SliceDecoder::skipMacroblock(int address) {
    const PictureHeader& header = picture_->header;
    place(address);
    resetDc();
    motionType_ = header.isField() ? motionField : motionFrame;
    const auto parity = static_cast<std::size_t>(header.parity());
    fieldSelect_[0] = {parity, parity};
    switch (header.type) {
        case PictureType::predicted:
            resetPredictors();
            vectors_[0][forward] = {};
            flags_ = mbForward;
            break;
        case PictureType::bidirectional:
            // As the macroblock before, which cannot be intra.
            flags_ &= mbForward | mbBackward;
            if (flags_ == 0) throw Damage{};
            for (const Direction s : {forward, backward}) {
                const int scale = header.fullPel[s] ? 2 : 1;
                vectors_[0][s] = {predictors_[0][s].x * scale, predictors_[0][s].y * scale};
            }
            break;
        default:
            throw Damage{};
    }
    clock_.enter(Stage::prediction);
    predictMacroblock(Residual::none());
    clock_.enter(Stage::parse);
    picture_->decoded[static_cast<std::size_t>(address)] = 1;
}

// ---- macroblock header ------------------------------------------------------------------------------------------

void SliceDecoder::readQuantiserScale() {
    const Qvo32u code = bits_.get(5);
    if (code == 0) throw Damage{};
    quantiserScale_ =
        picture_->mpeg2 ? quantiserScales[picture_->header.nonLinearScale ? 1 : 0][code] : static_cast<Qvo16s>(code);
}

void SliceDecoder::readModes() {
    const PictureHeader& header = picture_->header;
    motionType_ = header.isField() ? motionField : motionFrame;
    fieldDct_ = false;
    if (header.framePredFrameDct) return;
    if (flags_ & (mbForward | mbBackward)) {
        motionType_ = bits_.getInt(2);
        const bool dualPrimeAllowed = header.type == PictureType::predicted;
        if (motionType_ == 0 || (motionType_ == motionDualPrime && !dualPrimeAllowed)) throw Damage{};
    }
    if (!header.isField() && (flags_ & (mbIntra | mbPattern))) fieldDct_ = bits_.flag();
}

void SliceDecoder::readVectors(Direction s) {
    const bool isField = picture_->header.isField();
    const bool fieldInFrame = !isField && motionType_ != motionFrame;
    const bool fieldVectors = isField || fieldInFrame;
    const bool two = isField ? motionType_ == motion16x8 : motionType_ == motionField;
    if (motionType_ == motionDualPrime) {
        readDualPrimeVectors(fieldInFrame);
    } else if (two) {
        for (std::size_t r = 0; r < 2; ++r) {
            fieldSelect_[r][s] = bits_.get(1);
            readVector(r, s, fieldInFrame);
        }
    } else {
        if (fieldVectors) fieldSelect_[0][s] = bits_.get(1);
        readVector(0, s, fieldInFrame);
    }
    if (!two) predictors_[1][s] = predictors_[0][s];
}

// Reads a vector relative to its predictor and makes it the next predictor (13818-2, 7.6.3.1). Predictors of field
// vectors in frame pictures are kept in units of the frame.
void SliceDecoder::readVector(std::size_t r, Direction s, bool fieldInFrame) {
    const PictureHeader& header = picture_->header;
    Vector& predictor = predictors_[r][s];
    const bool dualPrime = motionType_ == motionDualPrime;

    predictor.x = readVectorComponent(predictor.x, header.fCode[s][0]);
    if (dualPrime) dmvector_[0] = bits_.code(tables_.dmvector.get());
    const int y = readVectorComponent(fieldInFrame ? predictor.y >> 1 : predictor.y, header.fCode[s][1]);
    if (dualPrime) dmvector_[1] = bits_.code(tables_.dmvector.get());
    predictor.y = fieldInFrame ? y * 2 : y;

    const int scale = header.fullPel[s] ? 2 : 1;
    vectors_[r][s] = {predictor.x * scale, y * scale};
}

int SliceDecoder::readVectorComponent(int prediction, int fCode) {
    if (fCode < 1 || fCode > 9) throw Damage{};
    const int code = bits_.code(tables_.motionCode.get());
    if (code == 0) return prediction;
    const int shift = fCode - 1;
    int delta = (std::abs(code) - 1) << shift;
    if (shift > 0) delta += bits_.getInt(shift);
    ++delta;
    const int limit = 16 << shift;
    int vector = prediction + (code < 0 ? -delta : delta);
    if (vector < -limit) vector += 2 * limit;
    if (vector >= limit) vector -= 2 * limit;
    return vector;
}

// One vector to the field of the same parity; those to the opposite parity are scaled by distance in time and
// corrected by the vertical offset between the fields and by dmvector (13818-2, 7.6.3.6).
void SliceDecoder::readDualPrimeVectors(bool fieldInFrame) {
    const PictureHeader& header = picture_->header;
    readVector(0, forward, fieldInFrame);
    const Vector vector = vectors_[0][forward];
    for (std::size_t parity = 0; parity < 2; ++parity) {
        // Fields between reference and prediction: the first field of a frame is near to the opposite reference
        // field, the second far. The second field picture of a frame refers to the first field of that frame.
        const bool far = !header.isField() && (parity == 0) != header.topFieldFirst;
        const int distance = far ? 3 : 1;
        const int correction = parity == 0 ? -1 : 1;
        oppositeVectors_[parity] = {halved(vector.x * distance) + dmvector_[0],
                                    halved(vector.y * distance) + correction + dmvector_[1]};
    }
}

void SliceDecoder::resetPredictors() {
    predictors_ = {};
}

void SliceDecoder::resetDc() {
    const int value = picture_->mpeg2 ? 128 << picture_->header.intraDcPrecision : 1024;
    dcPredictors_.fill(static_cast<Qvo16s>(value));
}

// ---- blocks -----------------------------------------------------------------------------------------------------

void SliceDecoder::decodeIntraBlocks() {
    const View& target = picture_->target;
    const std::ptrdiff_t lumaStep = target.steps[0];
    Qvo8u* const luma = target.planes[0] + y_ * lumaStep + x_;
    const std::ptrdiff_t secondRow = fieldDct_ ? lumaStep : 8 * lumaStep;
    const Qvo32s step = fieldDct_ ? 2 * target.steps[0] : target.steps[0];
    const bool mpeg2 = picture_->mpeg2;
    for (int b = 0; b < 4; ++b) {
        const int count = mpeg2 ? intraBlock(0) : intraBlockMpeg1(0);
        qvoiDCT8x8Inv_AANTransposed_16s8u_C1R(block_.data(), luma + (b >> 1) * secondRow + (b & 1) * 8, step, count);
    }
    for (std::size_t plane = 1; plane < 3; ++plane) {
        const int count = mpeg2 ? intraBlock(plane) : intraBlockMpeg1(plane);
        const std::ptrdiff_t chromaStep = target.steps[plane];
        qvoiDCT8x8Inv_AANTransposed_16s8u_C1R(block_.data(), target.planes[plane] + y_ / 2 * chromaStep + x_ / 2,
                                              target.steps[plane], count);
    }
}

Residual SliceDecoder::decodeResidual(int pattern) {
    Residual residual = Residual::none();
    const bool mpeg2 = picture_->mpeg2;
    if (pattern & 0x3C) {
        residual.planes[0] = lumaResidual_.data();
        residual.steps[0] = lumaResidualStep;
        const Qvo32s step = fieldDct_ ? 2 * lumaResidualStep : lumaResidualStep;
        const int secondRow = fieldDct_ ? 16 : 8 * 16;
        for (int b = 0; b < 4; ++b) {
            const bool coded = pattern & (0x20 >> b);
            const int count = !coded ? 0 : mpeg2 ? nonIntraBlock() : nonIntraBlockMpeg1();
            qvoiDCT8x8Inv_AANTransposed_16s_C1R(
                block_.data(), lumaResidual_.data() + (b >> 1) * secondRow + (b & 1) * 8, step, count);
        }
    }
    for (std::size_t plane = 1; plane < 3; ++plane) {
        if (!(pattern & (4 >> plane))) continue;
        Qvo16s* const chroma = chromaResidual_[plane - 1].data();
        residual.planes[plane] = chroma;
        residual.steps[plane] = chromaResidualStep;
        const int count = mpeg2 ? nonIntraBlock() : nonIntraBlockMpeg1();
        qvoiDCT8x8Inv_AANTransposed_16s_C1R(block_.data(), chroma, chromaResidualStep, count);
    }
    return residual;
}

// The block readers leave the coefficients in block_ and return the count for the inverse transform.

int SliceDecoder::intraBlock(std::size_t component) {
    const PictureHeader& header = picture_->header;
    Qvo32s last;
    const QvoStatus status = qvoiReconstructDCTBlockIntra_MPEG2_32s(
        bits_.word(), bits_.offset(), tables_.dcSize[component == 0 ? 0 : 1].get(),
        tables_.coefficients[header.intraVlcFormat ? 1 : 0].get(), scan_, quantiserScale_,
        picture_->matrices.intra.data(), &dcPredictors_[component], 3 - header.intraDcPrecision, block_.data(),
        &last);
    if (status != qvoStatusOk) throw Damage{};
    return inverseCountIntra(block_.data(), last);
}

int SliceDecoder::nonIntraBlock() {
    Qvo32s last;
    const QvoVlcTable* const codes = tables_.coefficients[0].get();
    const QvoStatus status =
        qvoiReconstructDCTBlock_MPEG2_32s(bits_.word(), bits_.offset(), codes, codes, scan_, quantiserScale_,
                                          picture_->matrices.nonIntra.data(), block_.data(), &last);
    // A first code that stands for no coefficient is reported as last index.
    if (status != qvoStatusOk || last > 63) throw Damage{};
    return inverseCountNonIntra(block_.data(), last);
}

int SliceDecoder::intraBlockMpeg1(std::size_t component) {
    Qvo32s last;
    const QvoStatus status = qvoiReconstructDCTBlockIntra_MPEG1_32s(
        bits_.word(), bits_.offset(), tables_.dcSize[component == 0 ? 0 : 1].get(), tables_.coefficients[0].get(),
        scan_, quantiserScale_, picture_->matrices.intra.data(), &dcPredictors_[component], block_.data(), &last);
    if (status != qvoStatusOk) throw Damage{};
    for (Qvo32s i = 1; i <= last; ++i) {
        Qvo16s& coefficient = block_[static_cast<std::size_t>(scan_[i])];
        coefficient = oddified(coefficient);
    }
    return last + 1;
}

// The library's form for these blocks leaves out the sign term of the standard's reconstruction (11172-2, 2.4.4.2),
// which no later step could put back; so the codes are read one by one and the coefficients are made here.
int SliceDecoder::nonIntraBlockMpeg1() {
    const Matrix& matrix = picture_->matrices.nonIntra;
    block_.fill(0);
    int last = -1;
    bool first = true;
    for (;;) {
        int run;
        int level;
        if (first && bits_.peek(1) == 1) {
            // The first coefficient's short code 1s.
            run = 0;
            level = bits_.get(2) & 1 ? -1 : 1;
        } else {
            const Qvo32s code = bits_.code(tables_.coefficients[0].get());
            run = code & 255;
            level = code >> 8;
        }
        first = false;
        if (run == runEndOfBlock) break;
        if (run == runEscape) {
            run = bits_.getInt(6);
            level = static_cast<Qvo8s>(bits_.get(8));
            if (level == 0) level = bits_.getInt(8);
            if (level == -128) level = bits_.getInt(8) - 256;
        }
        last += run + 1;
        if (last > 63) throw Damage{};
        const auto position = static_cast<std::size_t>(scan_[last]);
        block_[position] = oddified((2 * level + sign(level)) * quantiserScale_ * matrix[position] / 16);
    }
    // The form for a count of 1 truncates.
    return std::max(last + 1, 2);
}

// ---- prediction -------------------------------------------------------------------------------------------------

void SliceDecoder::predictMacroblock(const Residual& residual) {
    const PictureHeader& header = picture_->header;
    const bool dualPrime = motionType_ == motionDualPrime;
    if (header.isField()) {
        if (dualPrime) {
            const auto parity = static_cast<std::size_t>(header.parity());
            const auto& fields = picture_->references[forward].fields;
            predict(picture_->target, x_, y_, 16, {&fields[parity], vectors_[0][forward]},
                    {&fields[1 - parity], oppositeVectors_[parity]}, residual);
        } else if (motionType_ == motion16x8) {
            predictPart(picture_->target, y_, 8, 0, residual);
            predictPart(picture_->target, y_ + 8, 8, 1, residual.lowerHalf());
        } else {
            predictPart(picture_->target, y_, 16, 0, residual);
        }
        return;
    }
    if (motionType_ == motionFrame) {
        predictPart(picture_->target, y_, 16, 0, residual);
        return;
    }
    for (std::size_t parity = 0; parity < 2; ++parity) {
        const View& target = picture_->targetFields[parity];
        const Residual rows = residual.field(static_cast<int>(parity));
        if (dualPrime) {
            const auto& fields = picture_->references[forward].fields;
            predict(target, x_, y_ / 2, 8, {&fields[parity], vectors_[0][forward]},
                    {&fields[1 - parity], oppositeVectors_[parity]}, rows);
        } else {
            predictPart(target, y_ / 2, 8, parity, rows);
        }
    }
}

// Predicts with the vectors [r] of one or both directions.
void SliceDecoder::predictPart(const View& target, int y, int height, std::size_t r, const Residual& residual) {
    const Source forwardSource = {&referenceView(r, forward), vectors_[r][forward]};
    const Source backwardSource = {&referenceView(r, backward), vectors_[r][backward]};
    switch (flags_ & (mbForward | mbBackward)) {
        case mbForward:
            predict(target, x_, y, height, forwardSource, residual);
            break;
        case mbBackward:
            predict(target, x_, y, height, backwardSource, residual);
            break;
        default:
            predict(target, x_, y, height, forwardSource, backwardSource, residual);
            break;
    }
}

const View& SliceDecoder::referenceView(std::size_t r, Direction s) const {
    const ReferenceViews& reference = picture_->references[s];
    const bool frame = !picture_->header.isField() && motionType_ == motionFrame;
    return frame ? reference.frame : reference.fields[fieldSelect_[r][s]];
}

}  // namespace codecs::mpeg2
