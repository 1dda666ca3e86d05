// Memory that ends (or begins) at an unreadable page, so that a read or write beyond it faults.
#ifndef QVOVC_TESTS_GUARDED_H
#define QVOVC_TESTS_GUARDED_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

// `count` elements whose last one is followed directly by an unreadable page (Guard::after) or whose first
// one is preceded directly by one (Guard::before). The elements start as zeros.
enum class Guard { after, before };

template <class T>
class Guarded {
  public:
    explicit Guarded(std::size_t count, Guard guard = Guard::after) : count_(count) {
        const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const std::size_t bytes = count * sizeof(T);
        const std::size_t body = (bytes + page - 1) / page * page;
        size_ = body + 2 * page;
        base_ = static_cast<unsigned char*>(
            mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        if (base_ == MAP_FAILED) std::abort();
        mprotect(base_, page, PROT_NONE);
        mprotect(base_ + page + body, page, PROT_NONE);
        data_ = reinterpret_cast<T*>(guard == Guard::after ? base_ + page + body - bytes : base_ + page);
    }
    ~Guarded() { munmap(base_, size_); }
    Guarded(const Guarded&) = delete;
    Guarded& operator=(const Guarded&) = delete;

    T* data() { return data_; }
    T* begin() { return data_; }
    T* end() { return data_ + count_; }
    std::size_t size() const { return count_; }
    T& operator[](std::size_t i) { return data_[i]; }

  private:
    std::size_t count_;
    std::size_t size_;
    unsigned char* base_;
    T* data_;
};

#endif
