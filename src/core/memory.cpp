// Aligned memory.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "qvovc/core.h"

namespace {

constexpr std::size_t alignment = 32;
// Room below the block for the allocator's own pointer; together with the alignment, what a block costs more than it
// holds.
constexpr std::size_t pointerSize = sizeof(void*);

}  // namespace

Qvo8u* qvosMalloc_8u(Qvo32s len) {
    if (len < 1) return nullptr;
    void* const block = std::malloc(static_cast<std::size_t>(len) + alignment + pointerSize);
    if (block == nullptr) return nullptr;
    const auto aligned = (reinterpret_cast<std::uintptr_t>(block) + pointerSize + alignment - 1) & ~(alignment - 1);
    Qvo8u* const p = reinterpret_cast<Qvo8u*>(aligned);
    std::memcpy(p - pointerSize, &block, pointerSize);
    return p;
}

QvoStatus qvosFree(void* p) {
    if (p == nullptr) return qvoStatusOk;
    void* block;
    std::memcpy(&block, static_cast<Qvo8u*>(p) - pointerSize, pointerSize);
    std::free(block);
    return qvoStatusOk;
}
