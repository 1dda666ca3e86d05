#include "input.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "commands.h"
#include "failure.h"

namespace qvo {

namespace {
constexpr std::size_t headSize = 1 << 20;
}

Input::Input(const std::string& path) : path_(path) {
    file_.reset(path == "-" ? stdin : std::fopen(path.c_str(), "rb"));
    struct stat status;
    if (!file_ || fstat(fileno(file_.get()), &status) != 0) throw Failure(path, std::strerror(errno));
    if (S_ISREG(status.st_mode) && path != "-") size_ = status.st_size;
    head_.resize(headSize);
    head_.resize(readFile(head_.data(), headSize));
    if (head_.empty()) throw Failure(path, "the file is empty");
}

std::size_t Input::readFile(std::uint8_t* to, std::size_t size) {
    const std::size_t count = std::fread(to, 1, size, file_.get());
    if (interrupted()) throw Interrupted();
    if (count == 0 && std::ferror(file_.get())) throw Failure(path_, std::strerror(errno));
    return count;
}

// Within the head, position_ runs behind the file's own position, which is then at the end of the head.
std::size_t Input::read(std::uint8_t* to, std::size_t size) {
    std::size_t count;
    if (position_ < static_cast<std::int64_t>(head_.size())) {
        const auto from = static_cast<std::size_t>(position_);
        count = std::min(size, head_.size() - from);
        std::copy_n(head_.data() + from, count, to);
    } else {
        count = readFile(to, size);
    }
    position_ += static_cast<std::int64_t>(count);
    return count;
}

void Input::seek(std::int64_t position) {
    const auto headEnd = static_cast<std::int64_t>(head_.size());
    if (!isRegular()) {
        if (position_ > headEnd || position > headEnd) throw Failure(path_, "not a file that can be read again");
        position_ = position;
        return;
    }
    const auto filePosition = std::max(position, headEnd);
    if (fseeko(file_.get(), filePosition, SEEK_SET) != 0) throw Failure(path_, std::strerror(errno));
    position_ = position;
}

}  // namespace qvo
