// DIF sequences (SMPTE 314M, 4.2): the units of 150 blocks of 80 bytes that a frame of DV consists of.
#ifndef QVOVC_EXAMPLES_DV_DIF_H
#define QVOVC_EXAMPLES_DV_DIF_H

#include <qvovc.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace codecs::dv {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t blockBytes = 80;
constexpr std::size_t sequenceBytes = 150 * blockBytes;
constexpr int segmentsPerSequence = 27;
constexpr int macroblocksPerSegment = 5;
constexpr int macroblocksPerSequence = segmentsPerSequence * macroblocksPerSegment;

// What begins a sequence: a header block, two of subcode and the first of VAUX. One of the four may be damaged.
constexpr std::size_t recognisedBytes = 4 * blockBytes;

// The number of the sequence, 0..15, that begins with these bytes; -1 where none does.
int sequenceNumber(Bytes bytes);

// Where the five macroblocks of a segment stand in a sequence.
std::size_t segmentOffset(int segment);

// The identification of a macroblock's DIF block is that of the place it stands in. `block` has at least three bytes.
bool isVideoBlock(const std::uint8_t* block, int sequence, int macroblock);

// What a sequence says of the stream.
struct SequenceHeader {
    bool lines625 = false;
    int applicationId = 0;  // APT
    int signalType = 0;     // STYPE; 0 where it is not said
    bool wide = false;      // 16:9
    bool interlaced = true;

    bool sameKind(const SequenceHeader& other) const {
        return lines625 == other.lines625 && applicationId == other.applicationId && signalType == other.signalType;
    }
};

// False where the header block is damaged.
bool readHeader(Bytes sequence, SequenceHeader& header);

// Cuts a stream of bytes into sequences.
class SequenceCutter {
  public:
    // Takes a sequence; one that is cut short has fewer bytes than it should.
    using Take = std::function<void(int number, Bytes bytes)>;

    void add(const std::uint8_t* data, std::size_t size, const Take& take);
    void finish(const Take& take);

  private:
    std::size_t cut(const Take& take, bool last);

    std::vector<std::uint8_t> buffer_;
};

}  // namespace codecs::dv

#endif
