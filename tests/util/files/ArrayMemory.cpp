#include "tests/util/files/ArrayMemory.h"

#include <cstddef>
#include <limits>
#include <new>

namespace {

constexpr std::size_t large = 65536;
constexpr int all = std::numeric_limits<int>::max();

thread_local int sparedArrays = all;

} // namespace

// The linker puts the first one in the place of the second, which is operator new[](size, nothrow)
// under its own name.
void* allocateOrFail(std::size_t size, const std::nothrow_t& tag) noexcept
    asm("__wrap__ZnamRKSt9nothrow_t");
void* allocate(std::size_t size, const std::nothrow_t& tag) noexcept
    asm("__real__ZnamRKSt9nothrow_t");

void* allocateOrFail(std::size_t size, const std::nothrow_t& tag) noexcept {
    if (size >= large && sparedArrays != all && sparedArrays-- <= 0) {
        return nullptr;
    }
    return allocate(size, tag);
}

NoMemoryForArrays::NoMemoryForArrays(int spared) {
    sparedArrays = spared;
}

NoMemoryForArrays::~NoMemoryForArrays() {
    sparedArrays = all;
}
