#pragma once

// Which change is in force, in a program all of whose changes were compiled into it: see "check".

#include <cstddef>
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace mutant {

inline constexpr std::size_t mostMutants = 65536;

/// A byte for each mutant, in a file that all processes of a test share, even those that are
/// killed.
inline char* sharedReached() {
    const char* const path = std::getenv("QF_MUTANTS_REACHED");
    if (path == nullptr) {
        return nullptr;
    }
    const int file = ::open(path, O_RDWR | O_CLOEXEC);
    if (file < 0) {
        return nullptr;
    }
    void* const bytes = ::mmap(nullptr, mostMutants, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    ::close(file);
    return bytes == MAP_FAILED ? nullptr : static_cast<char*>(bytes);
}

inline int chosen() {
    const char* const number = std::getenv("QF_MUTANT");
    return number == nullptr ? 0 : std::atoi(number);
}

// Before main, so that no test's limits or environment matter.
inline char* const reached = sharedReached();
inline const int inForce = chosen();

/// Whether the program is the mutant of this number. Notes that the place was reached.
inline bool is(int number) {
    if (reached != nullptr) {
        reached[number] = 1;
    }
    return number == inForce;
}

} // namespace mutant
