// What all encoders share: the search for motion, the control of the bit rate, padded pictures.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "codecs/encoding.h"
#include "common/motion_search.h"
#include "common/padded_picture.h"
#include "common/rate_control.h"
#include "support/random.h"

namespace {

// Pictures of a codec with whole quantisers whose content changes on the way: all but empty, rich, then in between.
TEST(RateControl, HoldsTheRateWhateverComes) {
    using codecs::PictureType;
    for (const int bPictures : {0, 2}) {
        const codecs::EncoderSettings settings = {
            .width = 352, .height = 288, .bitRate = 500'000, .keyInterval = 12, .bPictures = bPictures};
        codecs::RateControl control(settings, 1, 31, {1, 1, 1.4});
        double bits = 0;
        constexpr int count = 600;
        for (int i = 0; i < count; ++i) {
            const bool isB = bPictures > 0 && i % 3 != 0;
            const PictureType type = i % 12 == 0 ? PictureType::intra
                                     : isB       ? PictureType::bidirectional
                                                 : PictureType::predicted;
            const double content = i < 75 ? 100 : i < 300 ? 150'000 : 60'000;
            const double share = type == PictureType::intra ? 3 : isB ? 0.6 : 1;
            const double quantiser = std::round(control.step(type));
            const double cost = content * share / quantiser;
            control.update(type, quantiser, static_cast<std::int64_t>(cost));
            if (i >= 75) bits += cost;
        }
        // What the beginning left unspent may be spent later.
        const double seconds = (count - 75) / 25.0, mean = bits / seconds;
        EXPECT_GT(mean, 0.9 * 500'000);
        EXPECT_LT(mean, 1.2 * 500'000);
    }
}

// A hill shifted by a vector is found again at every size, unless the area does not hold it; the price of vectors
// decides where the content does not.
TEST(MotionSearch, FindsTheShift) {
    constexpr int size = 96, place = 40;
    const auto sample = [](double x, double y) {
        return static_cast<Qvo8u>(20 + 220 * std::exp(-((x - 48) * (x - 48) + (y - 48) * (y - 48)) / 100));
    };
    std::vector<Qvo8u> reference(size * size);
    for (int i = 0; i < size * size; ++i)
        reference[static_cast<std::size_t>(i)] = sample(i % size, i / size);
    const auto bits = [](int difference) { return 2 * std::abs(difference); };
    const codecs::VectorCostTable table(400, 0.25, bits);
    const codecs::VectorCost cost = {table.around(4), table.around(-8), 4};
    const codecs::SearchArea area = {-place, -place, size - place - 16, size - place - 16};
    const codecs::FullVector start = {};
    Random random;
    for (int round = 0; round < 50; ++round) {
        const codecs::FullVector shift = {random.range(-4, 4), random.range(-4, 4)};
        std::vector<Qvo8u> source(16 * 16);
        for (int i = 0; i < 256; ++i)
            source[static_cast<std::size_t>(i)] = sample(place + shift.x + i % 16, place + shift.y + i / 16);
        for (const auto& [width, height] : {std::pair{16, 16}, {16, 8}, {8, 16}, {8, 8}}) {
            const codecs::SearchBlock block = {source.data(), 16,    reference.data() + place * size + place,
                                               size,          width, height};
            const auto found = codecs::searchMotion(block, area, cost, {&start, 1}, 0);
            EXPECT_EQ(found.vector, shift);
            EXPECT_EQ(found.cost, cost.of(shift));
            const codecs::SearchArea narrow = {-2, -3, 4, 5};
            EXPECT_TRUE(narrow.contains(codecs::searchMotion(block, narrow, cost, {&start, 1}, 0).vector));
        }
    }
    const std::vector<Qvo8u> flat(size * size, 100);
    const codecs::SearchBlock block = {flat.data(), size, flat.data() + place * size + place, size, 16, 16};
    const codecs::FullVector away = {5, -7};
    EXPECT_EQ(codecs::searchMotion(block, area, cost, {&away, 1}, 0).vector, (codecs::FullVector{1, -2}));
}

TEST(PaddedPicture, RepeatsTheEdges) {
    constexpr int width = 19, height = 3, chromaWidth = 10, chromaHeight = 2;
    std::vector<std::uint8_t> samples(width * height + 2 * chromaWidth * chromaHeight);
    Random().fill(samples, 0, 255);
    const codecs::FrameView view = encoding::viewOf(samples, width, height);
    codecs::PaddedPicture padded(2, 1);
    padded.load(view);
    for (std::size_t i = 0; i < 3; ++i) {
        const codecs::PlaneView &from = view.planes[i], &to = padded.plane(i);
        ASSERT_EQ(to.width, i == 0 ? 32 : 16);
        ASSERT_EQ(to.height, i == 0 ? 16 : 8);
        for (int y = 0; y < to.height; ++y)
            for (int x = 0; x < to.width; ++x)
                ASSERT_EQ(to.data[y * to.step + x],
                          from.data[std::min(y, from.height - 1) * from.step + std::min(x, from.width - 1)]);
    }
    EXPECT_EQ(padded.macroblock(1, 1, 0), padded.plane(1).data + 8);
}

}  // namespace
