// The streams beside the checkout, judged as their manifest says.
#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "support.h"

namespace {

struct Stream {
    std::string file;  // empty: there are no streams
    int width = 0;
    int height = 0;
    int frames = 0;
    double floor = 0;
    std::string md5;  // of all frames, where the stream is decoded exactly
};

void PrintTo(const Stream& stream, std::ostream* to) {
    *to << stream.file;
}

// Lines "file,codec,width,height,frames,check,value" whose check is this one and whose codec qvo has.
std::vector<Stream> readManifest(const std::string& check) {
    std::vector<Stream> streams;
    std::ifstream manifest(STREAMS_FOLDER "/manifest.csv");
    for (std::string line; std::getline(manifest, line);) {
        std::istringstream fields(line);
        std::string field[7];
        for (std::string& f : field)
            std::getline(fields, f, ',');
        constexpr std::array<std::string_view, 7> codecs = {"mpeg1", "mpeg2", "mpeg4", "h263", "h263p", "h264", "dv"};
        const std::string codec = field[0].substr(0, field[0].find('_'));
        if (field[5] != check || std::find(codecs.begin(), codecs.end(), codec) == codecs.end()) continue;
        Stream stream = {field[0], std::stoi(field[2]), std::stoi(field[3]), std::stoi(field[4]), 0, {}};
        if (check == "md5") {
            stream.md5 = field[6];
        } else {
            stream.floor = std::stod(field[6]);
        }
        streams.push_back(stream);
    }
    if (streams.empty()) streams.emplace_back();
    return streams;
}

class Streams : public testing::TestWithParam<Stream> {};

TEST_P(Streams, EveryFrameReachesItsFloor) {
    const Stream& stream = GetParam();
    if (stream.file.empty()) GTEST_SKIP() << "no streams in " STREAMS_FOLDER;
    const bool quarter = stream.file.find("411") != std::string::npos;
    expectLikeReference(STREAMS_FOLDER "/" + stream.file, stream.width, stream.height, stream.frames, stream.floor,
                        quarter ? "yuv411p" : "yuv420p");
}

class ExactStreams : public testing::TestWithParam<Stream> {};

TEST_P(ExactStreams, HaveTheirChecksum) {
    const Stream& stream = GetParam();
    if (stream.file.empty()) GTEST_SKIP() << "no streams in " STREAMS_FOLDER;
    const Ran ran = qvo("decode --md5 " STREAMS_FOLDER "/" + stream.file);
    ASSERT_EQ(ran.code, 0) << ran.err;
    EXPECT_EQ(ran.err, "");
    EXPECT_EQ(ran.out, stream.md5 + "\n");
}

std::string streamName(const testing::TestParamInfo<Stream>& info) {
    return info.param.file.empty() ? "none" : std::filesystem::path(info.param.file).stem().string();
}

INSTANTIATE_TEST_SUITE_P(All, Streams, testing::ValuesIn(readManifest("psnr")), streamName);
INSTANTIATE_TEST_SUITE_P(All, ExactStreams, testing::ValuesIn(readManifest("md5")), streamName);

}  // namespace
