#include "h263/picture.h"

#include <algorithm>

#include "h263/deblock.h"

namespace codecs::h263 {

namespace {

void check(QvoStatus status) {
    if (status != qvoStatusOk) throw Damage{};
}

// The codes of type 5 (table 8), which are longer than the library's.
int readMcbpc5(BitReader& bits) {
    constexpr int longest = 13;
    const Qvo32u code = bits.peek(longest);
    if (code >> 2 == 2) {
        bits.skip(longest - 2);
        return typeInter4VQ;
    }
    if (code < 12 || code > 15 || code == 13) throw Damage{};
    bits.skip(longest);
    return typeInter4VQ | (code == 12 ? 1 : static_cast<int>(code) - 12) << 4;
}

int readMcbpc(BitReader& bits, bool intraPicture) {
    constexpr int zerosOfType5 = 9;
    if (!intraPicture && bits.peek(zerosOfType5) == 0) return readMcbpc5(bits);
    Qvo8u code;
    check(intraPicture ? qvoiDecodeMCBPCIntra_H263(bits.byte(), bits.offset(), &code)
                       : qvoiDecodeMCBPCInter_H263(bits.byte(), bits.offset(), &code));
    return code;
}

// Moves on to the next start code at any bit, if there is one: its zeros fill a byte, or end in one.
bool findStartCode(BitReader& bits) {
    Qvo8u* const begin = *bits.byte();
    for (Qvo8u* byte = begin; byte + 2 < bits.end(); ++byte) {
        if (*byte != 0) continue;
        for (int before = byte > begin ? 7 : 0; before >= 0; --before) {
            BitReader candidate = bits;
            candidate.moveTo(before > 0 ? byte - 1 : byte);
            candidate.skip(before > 0 ? 8 - before : 0);
            if (candidate.peek(startCodeBits) != 1) continue;
            bits = candidate;
            return true;
        }
    }
    return false;
}

}  // namespace

void PictureDecoder::decode(const PictureContext& picture, BitReader bits) {
    clock_.enter(Stage::parse);
    picture_ = picture;
    bits_ = bits;
    const Format& format = picture.header.format;
    width_ = format.macroblockWidth();
    count_ = format.macroblockCount();
    states_.assign(static_cast<std::size_t>(count_), MacroblockState::missing);
    segments_.resize(static_cast<std::size_t>(count_));
    vectors_.resize(static_cast<std::size_t>(count_));
    coefRow_.resize(static_cast<std::size_t>(4 * width_));
    std::fill(picture.target->quantisers.begin(), picture.target->quantisers.end(), Qvo8u{0});

    beginSegment({picture.header.macroblock, picture.header.quantiser});
    bool damaged;
    do {
        damaged = false;
        try {
            decodeSegment();
        } catch (const Damage&) {
            // What is missing shows in the states.
            damaged = true;
        }
    } while (nextSegment(damaged));
    reconstructWaiting();
    clock_.enter(Stage::parse);
}

void PictureDecoder::filter() const {
    if (!picture_.header.format.deblocking) return;
    const Stage before = clock_.enter(Stage::filter);
    std::vector<Qvo8u> coded(states_.size());
    std::transform(states_.begin(), states_.end(), coded.begin(), [](MacroblockState state) {
        return state == MacroblockState::inter || state == MacroblockState::intra;
    });
    deblock(*picture_.target, coded, picture_.header.format.modifiedQuantisation);
    clock_.enter(before);
}

// ---- segments ---------------------------------------------------------------------------------------------------

// Looks for the next header of a segment. A damaged one may have been read beyond its end; slices may come in any order,
// but no macroblock is decoded twice.
bool PictureDecoder::nextSegment(bool damaged) {
    const Format& format = picture_.header.format;
    if (!damaged && address_ >= count_ && !format.slices) return false;
    if (damaged) bits_.moveTo(segmentStart_);
    while (findStartCode(bits_)) {
        try {
            BitReader header = bits_;
            const SegmentHeader segment = readSegment(header, picture_.header);
            const bool isNew = states_[static_cast<std::size_t>(segment.macroblock)] == MacroblockState::missing;
            if (isNew && (format.slices || segment.macroblock > segment_)) {
                bits_ = header;
                beginSegment(segment);
                return true;
            }
        } catch (const Damage&) {
        }
        bits_.moveTo(*bits_.byte() + 2);  // the code's first bits are behind, the next code's ahead
    }
    return false;
}

void PictureDecoder::beginSegment(const SegmentHeader& segment) {
    if (segment.macroblock != waiting_ + 1) reconstructWaiting();
    address_ = segment_ = segment.macroblock;
    x_ = address_ % width_;
    segmentStart_ = *bits_.byte();
    quantiser_ = segment.quantiser;
    forgetCoefs(0, coefRow_.size());
    forgetLeftCoefs();
}

// Up to the next segment, or the end of the picture.
void PictureDecoder::decodeSegment() {
    do {
        if (states_[here()] != MacroblockState::missing) throw Damage{};
        segments_[here()] = segment_;
        decodeMacroblock();
        finishMacroblock();
        ++address_;
        if (++x_ < width_) continue;
        x_ = 0;
        forgetLeftCoefs();
    } while (address_ < count_ && !atSegmentEnd());
}

// Groups of blocks end with a row.
bool PictureDecoder::atSegmentEnd() const {
    return (x_ == 0 || picture_.header.format.slices) && atStartCode(bits_);
}

// ---- macroblocks ------------------------------------------------------------------------------------------------

// COD and MCBPC. False for a macroblock that is not coded.
bool PictureDecoder::readType(int& type, int& pattern) {
    const bool intraPicture = picture_.header.intra;
    int code;
    do {
        if (bits_.pastEnd()) throw Damage{};
        if (!intraPicture && bits_.flag()) return false;
        code = readMcbpc(bits_, intraPicture);
    } while (code == qvoMcbpcStuffing);
    type = code & 15;
    pattern = code >> 4;
    return true;
}

void PictureDecoder::readQuantiserChange() {
    if (picture_.header.format.modifiedQuantisation) {
        check(qvoiUpdateQuant_MQ_H263_1u32s_I(bits_.byte(), bits_.offset(), &quantiser_));
        if (quantiser_ == 0) throw Damage{};
        return;
    }
    quantiser_ = std::clamp(quantiser_ + quantiserChanges[bits_.get(2)], 1, 31);
}

void PictureDecoder::decodeMacroblock() {
    int type, pattern;
    if (!readType(type, pattern)) {
        vectors_[here()] = {};
        residual(address_).pattern = 0;
        states_[here()] = MacroblockState::skipped;
    } else {
        const bool intra = type == typeIntra || type == typeIntraQ;
        int direction = qvoAICPredictDC;
        if (intra && picture_.header.format.advancedIntra && bits_.flag())
            direction = bits_.flag() ? qvoAICPredictLeft : qvoAICPredictAbove;
        Qvo8u luma;
        check(qvoiDecodeCBPY_H263(bits_.byte(), bits_.offset(), &luma));
        pattern |= (intra ? luma ^ 15 : luma) << 2;
        if (type == typeInterQ || type == typeIntraQ || type == typeInter4VQ) readQuantiserChange();
        picture_.target->quantisers[here()] = static_cast<Qvo8u>(quantiser_);
        if (intra)
            decodeIntra(pattern, direction);
        else
            decodeInter(type, pattern);
        if (bits_.pastEnd()) throw Damage{};
        states_[here()] = intra ? MacroblockState::intra : MacroblockState::inter;
    }
    if (states_[here()] != MacroblockState::intra) {
        const auto x = static_cast<std::size_t>(x_);
        forgetCoefs(2 * x, 2 * x + 2);
        for (const int block : {4, 5})
            forgetCoefs(coefColumn(block), coefColumn(block) + 1);
        forgetLeftCoefs();
    }
}

int PictureDecoder::chromaQuantiser() const {
    if (!picture_.header.format.modifiedQuantisation) return quantiser_;
    return chromaQuantisers[static_cast<std::size_t>(quantiser_)];
}

void PictureDecoder::decodeIntra(int pattern, int direction) {
    clock_.enter(Stage::residual);
    vectors_[here()] = {};
    const Format& format = picture_.header.format;
    const Place to = place(address_);
    for (int block = 0; block < 6; ++block) {
        const int coded = pattern & (0x20 >> block);
        const int QP = block < 4 ? quantiser_ : chromaQuantiser();
        Qvo8u** const byte = bits_.byte();
        Qvo32s* const offset = bits_.offset();
        Qvo8u* const samples = to.block(block);
        const Qvo32s step = to.step(block);
        if (format.advancedIntra)
            check(qvoiDecodeBlockCoef_IntraAIC_H263_1u8u(
                byte, offset, samples, step, coefRow_[coefColumn(block)].data(),
                coefColumns_[static_cast<std::size_t>(block < 4 ? block >> 1 : block - 2)].data(), QP, direction,
                coded, format.modifiedQuantisation));
        else if (coded)
            check(qvoiDecodeBlockCoef_Intra_H263_1u8u(byte, offset, samples, step, QP, format.modifiedQuantisation));
        else
            check(qvoiDecodeBlockCoef_IntraDCOnly_H263_1u8u(byte, offset, samples, step));
    }
    clock_.enter(Stage::parse);
}

// Macroblocks at the edges of the picture have neighbours of other rows.
const QvoMotionVector* PictureDecoder::neighbour(int address) const {
    return address >= segment_ ? vectors_[static_cast<std::size_t>(address)].data() : nullptr;
}

void PictureDecoder::decodeInter(int type, int pattern) {
    const Format& format = picture_.header.format;
    const int above = address_ - width_;
    check(qvoiDecodeMV_H263(bits_.byte(), bits_.offset(), x_ > 0 ? neighbour(address_ - 1) : nullptr,
                            neighbour(above), x_ + 1 < width_ ? neighbour(above + 1) : nullptr,
                            vectors_[here()].data(), format.vectorMode, type));
    Residual& coded = residual(address_);
    coded.pattern = pattern;
    if (pattern == 0) return;
    clock_.enter(Stage::residual);
    for (int block = 0; block < 6; ++block) {
        if (!(pattern & (0x20 >> block))) continue;
        check(qvoiDecodeBlockCoef_Inter_H263_1u16s(bits_.byte(), bits_.offset(), coded.samples.data() + 64 * block,
                                                   block < 4 ? quantiser_ : chromaQuantiser(),
                                                   format.modifiedQuantisation));
    }
    clock_.enter(Stage::parse);
}

// ---- coefficients that advanced intra coding predicts from ------------------------------------------------------

// From now on there is nothing to predict from in these columns of blocks.
void PictureDecoder::forgetCoefs(std::size_t from, std::size_t to) {
    for (std::size_t column = from; column < to; ++column)
        coefRow_[column][0] = -1;
}

void PictureDecoder::forgetLeftCoefs() {
    for (CoefBuffer& column : coefColumns_)
        column[0] = -1;
}

std::size_t PictureDecoder::coefColumn(int block) const {
    const int column = block < 4 ? 2 * x_ + (block & 1) : (block - 2) * width_ + x_;
    return static_cast<std::size_t>(column);
}

// ---- prediction -------------------------------------------------------------------------------------------------

// With overlap a macroblock cannot be predicted before the vectors of the next one in its row are known.
void PictureDecoder::finishMacroblock() {
    if (!picture_.header.format.advancedPrediction) {
        reconstruct(address_);
        return;
    }
    reconstructWaiting();
    waiting_ = address_;
    if (x_ + 1 == width_) reconstructWaiting();
}

void PictureDecoder::reconstructWaiting() {
    if (waiting_ >= 0) reconstruct(waiting_);
    waiting_ = -1;
}

// Predicts an inter macroblock and adds its residual.
void PictureDecoder::reconstruct(int address) {
    const auto index = static_cast<std::size_t>(address);
    if (states_[index] == MacroblockState::intra) return;
    clock_.enter(Stage::prediction);
    const PictureHeader& header = picture_.header;
    const Place to = place(address);
    const Frame& reference = *picture_.reference;
    const Qvo32s stepY = picture_.target->step(0), stepC = picture_.target->step(1);
    if (header.format.advancedPrediction) {
        const Surroundings around = {to.mbX > 0 ? overlapping(address, address - 1) : nullptr,
                                     to.mbX + 1 < width_ ? overlapping(address, address + 1) : nullptr,
                                     to.mbY > 0 ? overlapping(address, address - width_) : nullptr};
        predictOverlapped(to, reference, vectors_[index], around, header.rounding);
    } else if (states_[index] == MacroblockState::skipped) {
        const Place from = {&reference, to.mbX, to.mbY};
        qvoiCopyMB_H263_8u_P3R(from.luma(), from.chroma(1), from.chroma(2), reference.step(0), reference.step(1),
                               to.luma(), to.chroma(1), to.chroma(2), stepY, stepC);
    } else {
        mpeg4::predict(to, reference, vectors_[index], header.rounding);
    }
    const Residual& coded = residual(address);
    if (coded.pattern != 0)
        qvoiReconMB_H263_8u_P3R(to.luma(), to.chroma(1), to.chroma(2), stepY, stepC, coded.samples.data(),
                                coded.pattern, to.luma(), to.chroma(1), to.chroma(2), stepY, stepC);
    clock_.enter(Stage::parse);
}

// The vectors of a macroblock that overlaps another, null where it does not: nothing crosses the edges of slices (K.1).
const Vectors* PictureDecoder::overlapping(int address, int other) const {
    const auto index = static_cast<std::size_t>(other);
    if (states_[index] != MacroblockState::inter && states_[index] != MacroblockState::skipped) return nullptr;
    const bool apart =
        picture_.header.format.slices && segments_[index] != segments_[static_cast<std::size_t>(address)];
    return apart ? nullptr : &vectors_[index];
}

}  // namespace codecs::h263
