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
    std::string md5;  // of all frames, where the stream is decoded exactly
};

void PrintTo(const Stream& stream, std::ostream* to) {
    *to << stream.file;
}

// The manifest's lines "file,codec,width,height,frames,check,value".
std::vector<Stream> readManifest() {
    std::vector<Stream> streams;
    std::ifstream manifest(STREAMS_FOLDER "/manifest.csv");
    for (std::string line; std::getline(manifest, line);) {
        std::istringstream fields(line);
        std::string field[7];
        for (std::string& f : field)
            std::getline(fields, f, ',');
        if (field[5] != "psnr" && field[5] != "md5") continue;
        Stream stream = {field[0], std::stoi(field[2]), std::stoi(field[3]), std::stoi(field[4]), 0, {}};
        if (field[5] == "md5") {
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

TEST_P(Streams, HaveTheirChecksumOrReachTheirFloor) {
    const Stream& stream = GetParam();
    if (stream.file.empty()) GTEST_SKIP() << "no streams in " STREAMS_FOLDER;
    const std::string path = STREAMS_FOLDER "/" + stream.file;
    if (stream.md5.empty()) {
        const bool quarter = stream.file.find("411") != std::string::npos;
        expectLikeReference(path, stream.width, stream.height, stream.frames, stream.floor,
                            quarter ? "yuv411p" : "yuv420p");
        return;
    }
    const Ran ran = qvo("decode --md5 " + path);
    EXPECT_EQ(ran.code, 0);
    EXPECT_EQ(ran.err, "");
    EXPECT_EQ(ran.out, stream.md5 + "\n");
}

INSTANTIATE_TEST_SUITE_P(All, Streams, testing::ValuesIn(readManifest()), [](const auto& stream) {
    return stream.param.file.empty() ? "none" : std::filesystem::path(stream.param.file).stem().string();
});

}  // namespace
