#include "dv/dif.h"

#include <algorithm>
#include <array>

namespace codecs::dv {

namespace {

// Section types, in the upper three bits of a block's first byte.
enum Section { headerSection = 0, subcodeSection = 1, vauxSection = 2, videoSection = 4 };

struct BlockId {
    int section;
    int sequence;
    int number;
};

BlockId readId(const std::uint8_t* block) {
    return {block[0] >> 5, block[1] >> 4, block[2]};
}

}  // namespace

int sequenceNumber(Bytes bytes) {
    if (bytes.size() < recognisedBytes) return -1;
    struct Expected {
        int section;
        int number;
    };
    constexpr std::array<Expected, 4> expected = {
        {{headerSection, 0}, {subcodeSection, 0}, {subcodeSection, 1}, {vauxSection, 0}}};
    std::array<int, 16> votes{};
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const std::uint8_t* const block = bytes.data() + i * blockBytes;
        const BlockId id = readId(block);
        // Four bits of every identification are always set.
        const bool fixedBits = (block[0] & 0x10) && (block[1] & 7) == 7;
        if (fixedBits && id.section == expected[i].section && id.number == expected[i].number)
            ++votes[static_cast<std::size_t>(id.sequence)];
    }
    const auto most = std::max_element(votes.begin(), votes.end());
    return *most >= 3 ? static_cast<int>(most - votes.begin()) : -1;
}

std::size_t segmentOffset(int segment) {
    // Behind six blocks each group of three segments follows a block of audio.
    const int block = 6 + segment / 3 * 16 + 1 + segment % 3 * macroblocksPerSegment;
    return static_cast<std::size_t>(block) * blockBytes;
}

bool isVideoBlock(const std::uint8_t* block, int sequence, int macroblock) {
    const BlockId id = readId(block);
    return id.section == videoSection && id.sequence == sequence && id.number == macroblock;
}

bool readHeader(Bytes sequence, SequenceHeader& header) {
    if (sequence.size() < 6 * blockBytes) return false;
    const BlockId id = readId(sequence.data());
    const int fixed = sequence[3] & 0x7F;
    if (id.section != headerSection || id.number != 0 || fixed != 0x3F) return false;
    header = {};
    header.lines625 = sequence[3] & 0x80;
    header.applicationId = sequence[4] & 7;

    // The three VAUX blocks hold fifteen packs of five bytes each (4.5).
    constexpr int sourcePack = 0x60, controlPack = 0x61;
    for (std::size_t block = 3; block < 6; ++block) {
        for (std::size_t pack = 0; pack < 15; ++pack) {
            const std::uint8_t* const bytes = sequence.data() + block * blockBytes + 3 + pack * 5;
            if (bytes[0] == sourcePack) header.signalType = bytes[3] & 31;
            if (bytes[0] == controlPack) {
                const int display = bytes[2] & 7;
                header.wide = display == 2 || (display == 7 && header.applicationId == 0);
                header.interlaced = bytes[3] & 0x10;
            }
        }
    }
    return true;
}

void SequenceCutter::add(const std::uint8_t* data, std::size_t size, const Take& take) {
    buffer_.insert(buffer_.end(), data, data + size);
    const std::size_t used = cut(take, false);
    buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(used));
}

void SequenceCutter::finish(const Take& take) {
    cut(take, true);
    buffer_.clear();
}

// Hands out what is complete, or all there is; returns how many bytes are done with. A sequence ends where the next one
// begins, which is behind 150 blocks unless bytes have been lost or added.
std::size_t SequenceCutter::cut(const Take& take, bool last) {
    const Bytes all(buffer_);
    std::size_t start = 0;
    const auto findNext = [&](std::size_t from, std::size_t to) {
        while (from < to && sequenceNumber(all.subspan(from)) < 0)
            ++from;
        return from;
    };
    for (;;) {
        const std::size_t readable = all.size() < recognisedBytes ? 0 : all.size() - recognisedBytes + 1;
        start = findNext(start, std::max(start, readable));
        if (start >= readable) break;
        const std::size_t end = start + sequenceBytes;
        if (end >= readable && !last) break;
        const int number = sequenceNumber(all.subspan(start));
        std::size_t stop = std::min(end, all.size());
        if (end < readable && sequenceNumber(all.subspan(end)) < 0) stop = findNext(start + blockBytes, end);
        take(number, all.subspan(start, stop - start));
        start = stop;
    }
    return std::min(start, all.size());
}

}  // namespace codecs::dv
