#include "support.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>

namespace fs = std::filesystem;

namespace {

std::string quoted(const std::string& path) {
    return "'" + path + "'";
}

Ran run(const std::string& command) {
    const std::string out = workPath("stdout"), err = workPath("stderr");
    const int status = std::system(("timeout 120 " + command + " >" + quoted(out) + " 2>" + quoted(err)).c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readText(out), readText(err)};
}

}  // namespace

Ran qvo(const std::string& arguments) {
    return run(QVO_PROGRAM " " + arguments);
}

Ran runFfmpeg(const std::string& arguments) {
    return run(FFMPEG_PROGRAM " -v warning -nostdin -y " + arguments);
}

std::string workPath(const std::string& name) {
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    std::string folder = std::string(test->test_suite_name()) + "." + test->name();
    std::replace(folder.begin(), folder.end(), '/', '.');
    const fs::path path = fs::path(WORK_FOLDER) / folder;
    fs::create_directories(path);
    return path / name;
}

std::vector<std::uint8_t> readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string readText(const std::string& path) {
    const auto bytes = readFile(path);
    return {bytes.begin(), bytes.end()};
}

void writeFile(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

std::string ffmpeg(const std::string& arguments, const std::string& extension) {
    const fs::path folder = fs::path(WORK_FOLDER) / "ffmpeg";
    fs::create_directories(folder);
    const std::string name = std::to_string(std::hash<std::string>()(arguments));
    const fs::path path = folder / (name + extension);
    if (fs::exists(path)) return path;
    // Several tests may make the same file at the same time.
    const fs::path temporary = folder / (name + "." + std::to_string(getpid()) + extension);
    const std::string command = FFMPEG_PROGRAM " -v error -nostdin -y " + arguments + " " + quoted(temporary);
    if (std::system(command.c_str()) == 0) {
        fs::rename(temporary, path);
    } else {
        ADD_FAILURE() << command;
        fs::remove(temporary);
    }
    return path;
}

std::string referenceDecode(const std::string& stream, const std::string& pixelFormat) {
    return ffmpeg("-i " + quoted(stream) + " -f rawvideo -pix_fmt " + pixelFormat + " -vsync 0", ".yuv");
}

Video::Video(const std::string& path, int width, int height)
    : bytes_(readFile(path)),
      frameSize_(static_cast<std::size_t>(width * height + (width + 1) / 2 * ((height + 1) / 2) * 2)) {}

double Video::psnr(const Video& other, int frame) const {
    const std::size_t from = frameSize_ * static_cast<std::size_t>(frame);
    double error = 0;
    for (std::size_t i = from; i < from + frameSize_; ++i) {
        const double difference = bytes_[i] - other.bytes_[i];
        error += difference * difference;
    }
    return error > 0 ? 10 * std::log10(255.0 * 255.0 * static_cast<double>(frameSize_) / error) : exact;
}

void expectLikeReference(const std::string& stream, int width, int height, int frames, double floor,
                         const std::string& pixelFormat) {
    const std::string output = workPath("out.yuv");
    const Ran ran = qvo("decode " + quoted(stream) + " -o " + quoted(output));
    ASSERT_EQ(ran.code, 0) << ran.err;
    EXPECT_EQ(ran.err, "");
    const Video ours(output, width, height);
    const Video reference(referenceDecode(stream, pixelFormat), width, height);
    ASSERT_EQ(reference.frames(), frames > 0 ? frames : std::max(reference.frames(), 10));
    ASSERT_EQ(ours.frames(), reference.frames());
    double worst = exact;
    for (int i = 0; i < ours.frames(); ++i) {
        const double psnr = ours.psnr(reference, i);
        worst = std::min(worst, psnr);
        EXPECT_GE(psnr, floor) << "frame " << i;
    }
    testing::Test::RecordProperty("worst_psnr", std::to_string(worst));
    fs::remove(output);
}
