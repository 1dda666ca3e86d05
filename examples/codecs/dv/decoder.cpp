// Follows the DIF sequences, decodes their segments and conceals what is missing of a frame.
#include "dv/decoder.h"

#include <algorithm>
#include <bitset>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "dv/dif.h"
#include "dv/frame.h"

namespace codecs {

namespace dv {

namespace {

class CodeTable {
  public:
    CodeTable() {
        if (qvoiHuffmanInitAlloc_DV_32u(&table_) != qvoStatusOk) throw std::bad_alloc();
    }
    ~CodeTable() { qvoiHuffmanFree_DV_32u(&table_); }
    CodeTable(const CodeTable&) = delete;
    CodeTable& operator=(const CodeTable&) = delete;
    operator const QvoDVHuffmanTable*() const { return table_; }

  private:
    QvoDVHuffmanTable* table_ = nullptr;
};

constexpr int transformedGrey = 8 * 128;

Qvo8u clip(int sample) {
    return static_cast<Qvo8u>(std::clamp(sample, 0, 255));
}

// Coefficients to pixels.
void transform(Qvo16s* block, const QvoDVBlock& report, Qvo8u* pixels, Qvo32s step) {
    block[0] = static_cast<Qvo16s>(block[0] + transformedGrey);
    if (report.dctMode == qvoDVDct2x4x8) {
        qvoiDCT2x4x8Inv_16s_C1I(block);
        for (int y = 0; y < 8; ++y, pixels += step)
            std::transform(block + 8 * y, block + 8 * y + 8, pixels, clip);
    } else if (report.count == 1) {
        qvoiSet_8u_C1R(clip((block[0] + 4) >> 3), pixels, step, 8, 8);
    } else {
        qvoiDCT8x8Inv_16s8u_C1R(block, pixels, step);
    }
}

class DvDecoder final : public Decoder {
  public:
    void decode(const std::uint8_t* data, std::size_t size, const Sink& sink) override {
        clock_.enter(Stage::parse);
        sink_ = &sink;
        cutter_.add(data, size, takeSequence_);
        clock_.enter(Stage::output);
    }

    void finish(const Sink& sink) override {
        clock_.enter(Stage::parse);
        sink_ = &sink;
        cutter_.finish(takeSequence_);
        if (!sequences_.empty()) completeFrame();
        clock_.enter(Stage::output);
    }

    bool hasInfo() const override { return system_.has_value(); }
    const StreamInfo& info() const override { return info_; }

  private:
    struct Sequence {
        int number;
        std::vector<std::uint8_t> bytes;
    };

    void takeSequence(int number, Bytes bytes);
    bool readHeaders(const std::vector<Sequence>& sequences);
    void follow(const SequenceHeader& header);
    void decodeSequence(int number, Bytes bytes);
    void decodeSegment(const std::uint8_t* bytes, int sequence, int segment);
    void decodeBlock(const Areas& areas, Qvo16s* block, const QvoDVBlock& report);
    void conceal(const Areas& areas);
    void completeFrame();

    SequenceCutter cutter_;
    const SequenceCutter::Take takeSequence_ = [this](int number, Bytes bytes) { takeSequence(number, bytes); };
    const Sink* sink_ = nullptr;

    std::optional<System> system_;
    StreamInfo info_;
    CodeTable codes_;

    std::vector<Sequence> sequences_;  // of the frame that is coming

    std::optional<Frame> current_;  // under construction
    std::optional<Frame> before_;
    bool hasBefore_ = false;                          // a frame has been shown, and can stand in for what is missing
    std::bitset<12 * segmentsPerSequence> segments_;  // those decoded
    std::int64_t concealed_ = 0;                      // macroblocks of the frame under construction
};

void DvDecoder::takeSequence(int number, Bytes bytes) {
    // A stream that begins within a frame shows its first whole one.
    if (!system_ && sequences_.empty() && number != 0) return;
    if (!sequences_.empty() && number <= sequences_.back().number) completeFrame();
    sequences_.push_back({number, {bytes.begin(), bytes.end()}});
}

// Takes over what the sequences of a frame say of the stream: what most of them do, as one may be damaged. False as long
// as nothing is known.
bool DvDecoder::readHeaders(const std::vector<Sequence>& sequences) {
    std::vector<SequenceHeader> headers;
    for (const Sequence& sequence : sequences) {
        SequenceHeader header;
        if (readHeader(sequence.bytes, header)) headers.push_back(header);
    }
    const SequenceHeader* chosen = nullptr;
    std::ptrdiff_t most = system_ ? 1 : 0;
    for (const SequenceHeader& header : headers) {
        const auto votes = std::count_if(headers.begin(), headers.end(),
                                         [&](const SequenceHeader& other) { return other.sameKind(header); });
        if (votes <= most) continue;
        most = votes;
        chosen = &header;
    }
    if (chosen) follow(*chosen);
    return system_.has_value();
}

void DvDecoder::follow(const SequenceHeader& header) {
    if (header.signalType == 4) throw UnsupportedStream("DV at 50 Mbit/s is not supported");
    if (header.signalType != 0)
        throw UnsupportedStream("DV of signal type " + std::to_string(header.signalType) +
                                " (high definition) is not supported");
    const System& system625Kind = header.applicationId == 0 ? system625 : system625Quarter;
    const System& system = header.lines625 ? system625Kind : system525;
    if (system_ == system) return;
    system_ = system;
    hasBefore_ = false;
    current_.emplace(*system_);
    before_.emplace(*system_);

    info_.codec = "DV";
    info_.profile = system_->quarter ? "25 Mbit/s 4:1:1" : "25 Mbit/s 4:2:0";
    info_.width = pictureWidth;
    info_.height = system_->height;
    info_.rateNumerator = system_->rateNumerator;
    info_.rateDenominator = system_->rateDenominator;
    // 720 samples of BT.601 luminance, as wide as the screen.
    info_.aspectNumerator = header.lines625 ? (header.wide ? 64 : 16) : (header.wide ? 32 : 8);
    info_.aspectDenominator = header.lines625 ? (header.wide ? 45 : 15) : (header.wide ? 27 : 9);
    info_.interlaced = header.interlaced;
    const long frameBits = static_cast<long>(sequenceBytes) * 8 * system_->sequences;
    info_.bitRate = frameBits * system_->rateNumerator / system_->rateDenominator;
}

void DvDecoder::decodeSequence(int number, Bytes bytes) {
    if (number >= system_->sequences) return;
    for (int segment = 0; segment < segmentsPerSequence; ++segment) {
        const std::size_t at = segmentOffset(segment);
        if (at + qvoDVSegmentBytes <= bytes.size()) decodeSegment(bytes.data() + at, number, segment);
    }
}

void DvDecoder::decodeSegment(const std::uint8_t* bytes, int sequence, int segment) {
    Qvo16s blocks[qvoDVSegmentBlocks][64];
    QvoDVBlock reports[qvoDVSegmentBlocks];
    qvoiDecodeSegmentQuantInv_DV_8u16s(bytes, blocks[0], reports, codes_);
    segments_.set(static_cast<std::size_t>(sequence * segmentsPerSequence + segment));
    clock_.enter(Stage::residual);
    for (int i = 0; i < macroblocksPerSegment; ++i) {
        const Place place = placeOf(*system_, sequence, segment, i);
        const std::uint8_t* const macroblock = bytes + static_cast<std::size_t>(i) * blockBytes;
        const int firstBlock = i * qvoDVMacroblockBlocks;
        constexpr int inError = 7;  // or 15
        const bool lost = !isVideoBlock(macroblock, sequence, segment * macroblocksPerSegment + i) ||
                          (reports[firstBlock].errorStatus & inError) == inError;
        bool whole = true;
        for (int b = 0; b < qvoDVMacroblockBlocks; ++b) {
            const Areas areas = areasOf(*system_, place, b);
            const QvoDVBlock& report = reports[firstBlock + b];
            const bool blockLost = lost || report.state == qvoDVBlockOverrun;
            const bool blockWhole = !lost && report.state == qvoDVBlockWhole;
            whole = whole && blockWhole;
            // Without a frame before, the coefficients at hand are better than nothing.
            if (blockWhole || (!blockLost && !hasBefore_)) {
                decodeBlock(areas, blocks[firstBlock + b], report);
            } else {
                conceal(areas);
            }
        }
        concealed_ += !whole;
    }
    clock_.enter(Stage::parse);
}

void DvDecoder::decodeBlock(const Areas& areas, Qvo16s* block, const QvoDVBlock& report) {
    const Area& first = *areas.begin();
    if (areas.count == 1) {
        transform(block, report, current_->at(first.plane, first.x, first.y), current_->step(first.plane));
        return;
    }
    Qvo8u pixels[64];
    transform(block, report, pixels, 8);
    const Qvo8u* from = pixels;
    for (const Area& area : areas) {
        for (int y = 0; y < 8; ++y)
            std::copy_n(from + 8 * y, area.width, current_->at(area.plane, area.x, area.y + y));
        from += area.width;
    }
}

// Shows what stood there in the frame before; grey at first.
void DvDecoder::conceal(const Areas& areas) {
    for (const Area& area : areas) {
        for (int y = area.y; y < area.y + 8; ++y)
            std::copy_n(before_->at(area.plane, area.x, y), area.width, current_->at(area.plane, area.x, y));
    }
}

void DvDecoder::completeFrame() {
    const std::vector<Sequence> sequences = std::exchange(sequences_, {});
    if (!readHeaders(sequences)) return;
    for (const Sequence& sequence : sequences)
        decodeSequence(sequence.number, sequence.bytes);
    for (int i = 0; i < system_->sequences * segmentsPerSequence * macroblocksPerSegment; ++i) {
        const int segment = i / macroblocksPerSegment;
        if (segments_[static_cast<std::size_t>(segment)]) continue;
        const Place place = placeOf(*system_, segment / segmentsPerSequence, segment % segmentsPerSequence,
                                    i % macroblocksPerSegment);
        for (int b = 0; b < qvoDVMacroblockBlocks; ++b)
            conceal(areasOf(*system_, place, b));
        ++concealed_;
    }
    segments_.reset();
    damage_.concealedMacroblocks += concealed_;
    damage_.damagedPictures += concealed_ > 0;
    concealed_ = 0;

    const Stage stage = clock_.enter(Stage::output);
    FrameView picture;
    for (std::size_t plane = 0; plane < 3; ++plane)
        picture.planes[plane] = current_->view(plane);
    picture.type = 'I';
    picture.interlaced = info_.interlaced;
    picture.topFieldFirst = false;  // in both systems the lower field comes first
    (*sink_)(picture);
    clock_.enter(stage);
    std::swap(current_, before_);
    hasBefore_ = true;
}

}  // namespace

}  // namespace dv

std::unique_ptr<Decoder> makeDvDecoder() {
    return std::make_unique<dv::DvDecoder>();
}

}  // namespace codecs
