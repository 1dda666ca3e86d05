// The streams beside the checkout, judged as their manifest says.
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support.h"

namespace {

struct Stream {
    std::string file;  // empty: there are no streams
    int width = 0;
    int height = 0;
    int frames = 0;
    double floor = 0;
};

void PrintTo(const Stream& stream, std::ostream* to) {
    *to << stream.file;
}

bool isDecoded(const std::string& file) {
    return file.starts_with("mpeg1_") || file.starts_with("mpeg2_") || file.starts_with("mpeg4_");
}

// Lines "file,codec,width,height,frames,check,value"; the check of all streams decoded here is psnr.
std::vector<Stream> readManifest() {
    std::vector<Stream> streams;
    std::ifstream manifest(STREAMS_FOLDER "/manifest.csv");
    for (std::string line; std::getline(manifest, line);) {
        if (!isDecoded(line)) continue;
        std::istringstream fields(line);
        std::string field[7];
        for (std::string& f : field)
            std::getline(fields, f, ',');
        streams.push_back(
            {field[0], std::stoi(field[2]), std::stoi(field[3]), std::stoi(field[4]), std::stod(field[6])});
    }
    if (streams.empty()) streams.emplace_back();
    return streams;
}

class Streams : public testing::TestWithParam<Stream> {};

TEST_P(Streams, EveryFrameReachesItsFloor) {
    const Stream& stream = GetParam();
    if (stream.file.empty()) GTEST_SKIP() << "no streams in " STREAMS_FOLDER;
    expectLikeReference(STREAMS_FOLDER "/" + stream.file, stream.width, stream.height, stream.frames, stream.floor);
}

std::string streamName(const testing::TestParamInfo<Stream>& info) {
    return info.param.file.empty() ? "none" : std::filesystem::path(info.param.file).stem().string();
}

INSTANTIATE_TEST_SUITE_P(All, Streams, testing::ValuesIn(readManifest()), streamName);

}  // namespace
