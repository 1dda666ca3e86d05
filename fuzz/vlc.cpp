// The table builders and the decoder of single codes: any prefix code, any level widths, any bits. A slow reader of the
// same codes says what has to come out.
#include <cstdlib>

#include "input.h"
#include "mpeg2/reference.h"

namespace {

using namespace mpeg2;

void growCode(Input& in, const std::string& prefix, std::vector<ListCode>& codes) {
    const unsigned kind = in.next();
    if (prefix.empty() || (!in.empty() && prefix.size() < 24 && codes.size() < 200 && kind < 150)) {
        growCode(in, prefix + "0", codes);
        growCode(in, prefix + "1", codes);
    } else if (kind & 1) {
        const unsigned run = in.next();
        codes.push_back({prefix, {static_cast<Qvo32s>(run), static_cast<Qvo32s>(in.next()) - 128}});
    }
}

void require(bool condition) {
    if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    const bool runLevel = in.next() & 1;
    // The sub-tables have to fit into the block: at most 200 codes with two sub-tables of 2^6 + 1 words each, and the
    // first with 2^10 + 1.
    std::vector<Qvo32s> widths{static_cast<Qvo32s>(1 + in.next() % 10)};
    for (unsigned levels = in.next() % 3; levels > 0; --levels) {
        widths.push_back(static_cast<Qvo32s>(1 + in.next() % (runLevel ? 6 : 5)));
    }
    std::vector<ListCode> codes;
    growCode(in, "", codes);
    if (!runLevel) {
        for (ListCode& code : codes)
            code.words.pop_back();
    }
    const std::vector<Qvo32s> list = codeList(codes, widths);
    const Table table = runLevel ? Table::runLevel(list) : Table::plain(list);
    const SlowTable slow(codes, widths);

    const std::vector<Qvo32u> words = in.words(2);
    BitReader reader(words, 0);
    Qvo32s offset = 31;
    std::size_t word = 0;
    const std::size_t bits = (words.size() - 2) * 32;
    while (reader.position() < bits) {
        const std::vector<Qvo32s>* expected = slow.read(reader, 0);
        // Memory of its own up to the word behind the last consumed bit, so that a read beyond it is seen.
        const std::size_t readable = (reader.position() + 31) / 32 + 1;
        std::vector<Qvo32u> part(words.begin() + static_cast<std::ptrdiff_t>(word),
                                 words.begin() + static_cast<std::ptrdiff_t>(std::min(readable, words.size())));
        Qvo32u* position = part.data();
        Qvo32s value = 0;
        const QvoStatus status = qvoiVCHuffmanDecodeOne_1u32s(&position, &offset, &value, table);
        word += static_cast<std::size_t>(position - part.data());
        require(word * 32 + static_cast<std::size_t>(31 - offset) == reader.position());
        if (expected == nullptr) {
            require(status == qvoStatusVlcError && value == qvoVlcInvalid);
        } else {
            require(status == qvoStatusOk);
            require(value == (runLevel ? (*expected)[1] * 256 + (*expected)[0] : (*expected)[0]));
        }
    }
    return 0;
}
