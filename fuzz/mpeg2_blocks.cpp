// The block reconstructions: any bits, scan, weights and scale, with the tables of the standard in several shapes. Each
// block is decoded twice, the second time from memory that ends one word beyond the last consumed bit.
#include <algorithm>
#include <array>
#include <cstdlib>

#include "input.h"
#include "mpeg2/tables.h"

namespace {

using namespace mpeg2;

// A block has at most 64 codes of at most 17 + 22 bits, and a DC.
constexpr std::size_t longestBlock = 64 * 39 / 32 + 2;

struct Setting {
    const QvoVlcTable* dc;
    const QvoVlcTable* first;
    const QvoVlcTable* ac;
    std::array<Qvo32s, 64> scan;
    std::array<Qvo16s, 64> matrix;
    Qvo32s QP;
    Qvo32s shift;
    bool noMatrix;
};

struct Result {
    QvoStatus status = qvoStatusOk;
    std::array<Qvo16s, 64> block{};
    Qvo32s last = -1;
    Qvo16s prediction = 0;
    Qvo32s offset = 0;
    std::ptrdiff_t words = 0;

    bool operator==(const Result&) const = default;
};

Result reconstruct(unsigned form, const Setting& set, Qvo32u* words, Qvo32s offset, Qvo16s prediction) {
    Result r;
    r.prediction = prediction;
    r.offset = offset;
    Qvo32u* word = words;
    const Qvo32s* scan = set.scan.data();
    const Qvo16s* matrix = set.matrix.data();
    const auto QP = static_cast<Qvo16s>(set.QP);
    switch (form) {
        case 0:
            r.status = qvoiReconstructDCTBlock_MPEG1_32s(&word, &r.offset, set.first, set.ac, scan, set.QP, matrix,
                                                         r.block.data(), &r.last);
            break;
        case 1:
            r.status = qvoiReconstructDCTBlockIntra_MPEG1_32s(&word, &r.offset, set.dc, set.ac, scan, set.QP, matrix,
                                                              &r.prediction, r.block.data(), &r.last);
            break;
        case 2:
            r.status = qvoiReconstructDCTBlock_MPEG2_32s(&word, &r.offset, set.first, set.ac, scan, QP,
                                                         set.noMatrix ? nullptr : matrix, r.block.data(), &r.last);
            break;
        default:
            r.status = qvoiReconstructDCTBlockIntra_MPEG2_32s(&word, &r.offset, set.dc, set.ac, scan, QP, matrix,
                                                              &r.prediction, set.shift, r.block.data(), &r.last);
    }
    r.words = word - words;
    return r;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Shapes that leave long codes out, too, so that invalid codes are common.
    static const Table pairTables[] = {
        Table::runLevel(pairList(tableB14, {8, 9})), Table::runLevel(pairList(tableB15, {8, 9})),
        Table::runLevel(pairList(tableB14, {17})), Table::runLevel(pairList(tableB15, {1, 1, 2, 3, 4, 5})),
        Table::runLevel(pairList(tableB14, {6}))};
    static const Table sizeTables[] = {Table::plain(sizeList(tableB12, {4, 5})),
                                       Table::plain(sizeList(tableB13, {10})), Table::plain(sizeList(tableB12, {3})),
                                       // sizes that no syntax has
                                       Table::plain({0, 1, 3, 0, 1, 0, 31, 4, 2, 32, 3, -1, 4, 1000, 5, 20, -1})};
    Input in(data, size);
    Setting set;
    const unsigned form = in.next() % 4;
    set.dc = sizeTables[in.next() % std::size(sizeTables)];
    set.first = pairTables[in.next() % std::size(pairTables)];
    set.ac = pairTables[in.next() % std::size(pairTables)];
    const unsigned kind = in.next();
    std::copy_n(kind & 1 ? zigzag : alternateScan, 64, set.scan.begin());
    std::copy_n(intraMatrix, 64, set.matrix.begin());
    set.QP = static_cast<Qvo32s>(1 + in.next() % 112);
    if (kind & 2) {
        for (Qvo32s& position : set.scan)
            position = static_cast<Qvo32s>(in.next() % 64);
    }
    if (kind & 4) {
        for (Qvo16s& weight : set.matrix)
            weight = static_cast<Qvo16s>(in.next() << 8 | in.next());
    }
    if (kind & 8) set.QP = static_cast<Qvo32s>(static_cast<Qvo32u>(in.next()) << 24 | in.next() << 8 | in.next());
    set.noMatrix = kind & 16;
    set.shift = static_cast<Qvo32s>(kind >> 6);

    Qvo32s offset = static_cast<Qvo32s>(in.next() % 32);
    std::vector<Qvo32u> words = in.words(longestBlock);
    const auto end = static_cast<std::ptrdiff_t>(words.size() - longestBlock);
    Qvo16s prediction = 0;
    for (std::ptrdiff_t word = 0; word < end;) {
        const Result r = reconstruct(form, set, words.data() + word, offset, prediction);
        const std::ptrdiff_t readable = r.words + (r.offset == 31 ? 1 : 2);
        std::vector<Qvo32u> part(words.begin() + word, words.begin() + word + readable);
        if (!(r == reconstruct(form, set, part.data(), offset, prediction))) std::abort();
        word += r.words;
        offset = r.offset;
        prediction = r.prediction;
    }
    return 0;
}
