// The DV decoder: streams as they stand, or frames of DIF sequences filled with the input's bytes, some of them damaged,
// cut short or left out.
#include <algorithm>

#include "dv/decoder.h"
#include "dv/dif.h"
#include "stream_input.h"

namespace {

using codecs::dv::blockBytes;
using codecs::dv::sequenceBytes;

void writeId(std::uint8_t* block, int section, unsigned sequence, int number) {
    block[0] = static_cast<std::uint8_t>(section << 5 | 0x1F);
    block[1] = static_cast<std::uint8_t>(sequence << 4 | 7);
    block[2] = static_cast<std::uint8_t>(number);
}

std::vector<std::uint8_t> makeSequence(unsigned number, unsigned kind, const std::uint8_t* data, std::size_t size) {
    std::vector<std::uint8_t> sequence(sequenceBytes);
    for (std::size_t i = 0; i < sequence.size(); ++i)
        sequence[i] = data[(i + number * 7) % size];
    writeId(sequence.data(), 0, number, 0);
    for (int i = 0; i < 5; ++i)
        writeId(sequence.data() + static_cast<std::size_t>(1 + i) * blockBytes, i < 2 ? 1 : 2, number,
                i < 2 ? i : i - 2);
    for (int i = 0; i < 144; ++i) {
        const bool audio = i % 16 == 0;
        writeId(sequence.data() + static_cast<std::size_t>(6 + i) * blockBytes, audio ? 3 : 4, number,
                audio ? i / 16 : i - i / 16 - 1);
    }
    sequence[3] = kind & 1 ? 0xBF : 0x3F;
    sequence[4] = static_cast<std::uint8_t>(0xF8 | (kind >> 1 & 1));
    // The other packs may say that it is another kind, which is refused.
    if (!(kind & 4)) std::fill_n(sequence.begin() + 3 * blockBytes + 3, 3 * blockBytes - 3, std::uint8_t{0xFF});
    return sequence;
}

std::vector<std::uint8_t> compose(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    std::vector<std::uint8_t> stream;
    const unsigned kind = in.next();
    unsigned number = 0;
    for (int i = 0; i < 16; ++i) {
        const unsigned action = in.next();
        auto sequence = makeSequence(number, kind, data, size);
        if (action % 8 == 1) sequence.resize(in.next() * 47);
        if (action % 8 == 2) sequence.erase(sequence.begin() + in.next(), sequence.begin() + 300);
        if (action % 8 == 3) sequence[in.next() * 47] ^= static_cast<std::uint8_t>(action);
        if (action % 8 != 4) stream.insert(stream.end(), sequence.begin(), sequence.end());
        number = action % 8 == 5 ? action >> 4 : (number + 1) % (kind & 1 ? 12 : 10);
    }
    return stream;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const bool asItStands = data[0] == 0x1F;  // as streams begin
    const std::vector<std::uint8_t> stream =
        asItStands ? std::vector<std::uint8_t>(data, data + size) : compose(data, size);
    const auto decoder = codecs::makeDvDecoder();
    fuzz::decodeAll(*decoder, stream, asItStands ? 1 + size % 97 : 1 + size * 131 % 50000);
    return 0;
}
