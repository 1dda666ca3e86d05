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

void OutputFile::commit() {
    if (std::fflush(file_) != 0) fail();
    if (temporary_.empty()) return;
    std::FILE* file = std::exchange(file_, nullptr);
    if (std::fclose(file) != 0) fail();
    if (std::rename(temporary_.c_str(), target_.c_str()) != 0) fail();
    temporary_.clear();
}

}  // namespace qvo
