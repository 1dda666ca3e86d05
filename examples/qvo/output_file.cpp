#include "output_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include "failure.h"

namespace qvo {

namespace fs = std::filesystem;

namespace {

bool isFile(const std::string& path) {
    return !path.empty() && path != "-";
}

bool samePath(const std::string& a, const std::string& b) {
    std::error_code error;
    return fs::equivalent(a, b, error) || fs::weakly_canonical(a, error) == fs::weakly_canonical(b, error);
}

}  // namespace

void checkOutputs(const std::string& input, const std::vector<std::string>& outputs) {
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        const std::string& output = outputs[i];
        if (isFile(output) && isFile(input) && samePath(input, output)) throw Failure(output, "is the input itself");
        for (std::size_t j = 0; j < i && !output.empty(); ++j)
            if (output == outputs[j] || (isFile(output) && isFile(outputs[j]) && samePath(output, outputs[j])))
                throw Failure(output, "is given for two outputs");
    }
}

OutputFile::OutputFile(const std::string& path) : path_(path) {
    std::error_code error;
    if (path == "-") {
        file_ = stdout;
        return;
    }
    if (fs::is_directory(path, error)) throw Failure(path, std::strerror(EISDIR));
    if (fs::exists(path, error) && !fs::is_regular_file(path, error)) {
        file_ = std::fopen(path.c_str(), "wb");
        if (!file_) fail();
        return;
    }
    fs::path target = fs::weakly_canonical(path, error);
    if (error) target = path;
    // A file that could not be overwritten is not replaced either.
    if (fs::exists(target, error) && access(target.c_str(), W_OK) != 0) fail();
    target_ = target.string();
    temporary_ =
        (target.parent_path() / ("." + target.filename().string() + "." + std::to_string(getpid()))).string();
    const int descriptor = open(temporary_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (descriptor < 0) {
        temporary_.clear();
        fail();
    }
    file_ = fdopen(descriptor, "wb");
}

OutputFile::~OutputFile() {
    if (file_ && file_ != stdout) std::fclose(file_);
    if (!temporary_.empty()) unlink(temporary_.c_str());
}

void OutputFile::fail() const {
    throw Failure(path_, std::strerror(errno));
}

void OutputFile::write(const void* data, std::size_t size) {
    if (std::fwrite(data, 1, size, file_) != size) fail();
}

void OutputFile::close() {
    if (!file_) return;
    if (std::fflush(file_) != 0) fail();
    if (temporary_.empty()) return;
    if (std::fclose(std::exchange(file_, nullptr)) != 0) fail();
}

void OutputFile::commit() {
    close();
    if (temporary_.empty()) return;
    if (std::rename(temporary_.c_str(), target_.c_str()) != 0) fail();
    temporary_.clear();
}

}  // namespace qvo
