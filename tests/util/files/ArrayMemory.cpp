#include "tests/util/files/ArrayMemory.h"

#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t large = 65536;
constexpr int all = std::numeric_limits<int>::max();

thread_local int sparedArrays = all;

void* allocate(std::size_t size) noexcept {
    if (size >= large && sparedArrays != all && sparedArrays-- <= 0) {
        sparedArrays = 0;
        return nullptr;
    }
    return std::malloc(size);
}

} // namespace

NoMemoryForArrays::NoMemoryForArrays(int spared) {
    sparedArrays = spared;
}

NoMemoryForArrays::~NoMemoryForArrays() {
    sparedArrays = all;
}

// All forms are replaced together: what one of them makes another one frees.

void* operator new[](std::size_t size) {
    if (auto* memory = allocate(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return allocate(size);
}

void operator delete[](void* memory) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}
