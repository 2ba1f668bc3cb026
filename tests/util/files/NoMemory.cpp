#include "tests/util/files/NoMemory.h"

#include <cstddef>
#include <limits>

namespace {

constexpr std::size_t large = 65536;
constexpr int all = std::numeric_limits<int>::max();

thread_local int sparedBuffers = all;

} // namespace

// The linker puts the first one in the place of the second, which is calloc under its own name.
extern "C" void* callocOrFail(std::size_t count, std::size_t size) asm("__wrap_calloc");
extern "C" void* ownCalloc(std::size_t count, std::size_t size) asm("__real_calloc");

extern "C" void* callocOrFail(std::size_t count, std::size_t size) {
    if (count * size >= large && sparedBuffers != all && sparedBuffers-- <= 0) {
        return nullptr;
    }
    return ownCalloc(count, size);
}

NoMemory::NoMemory(int spared) {
    sparedBuffers = spared;
}

NoMemory::~NoMemory() {
    sparedBuffers = all;
}
