#include "tests/util/files/NoMemory.h"

#include <cstddef>
#include <limits>

namespace {

constexpr std::size_t large = 65536;
constexpr int all = std::numeric_limits<int>::max();

thread_local int sparedBuffers = all;

} // namespace

// The linker replaces the second, which is the real malloc, by the first.
extern "C" void* mallocOrFail(std::size_t size) asm("__wrap_malloc");
extern "C" void* ownMalloc(std::size_t size) asm("__real_malloc");

extern "C" void* mallocOrFail(std::size_t size) {
    if (size >= large && sparedBuffers != all && sparedBuffers-- <= 0) {
        return nullptr;
    }
    return ownMalloc(size);
}

NoMemory::NoMemory(int spared) {
    sparedBuffers = spared;
}

NoMemory::~NoMemory() {
    sparedBuffers = all;
}
