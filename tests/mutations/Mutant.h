#pragma once

// Which change is in force, in a program all of whose changes were compiled into it: see "check".
// It tells that by the name of the host, which stays whatever a test does with the environment, the
// user and the root directory of its processes.

#include <array>
#include <cstddef>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace mutant {

inline constexpr std::size_t mostMutants = 65536;

/// What follows the prefix in the name of the host, empty if it begins otherwise.
inline std::string told(const std::string& prefix) {
    std::array<char, 65> name{}; // HOST_NAME_MAX and a zero
    ::gethostname(name.data(), name.size() - 1);
    const std::string host(name.data());
    return host.rfind(prefix, 0) == 0 ? host.substr(prefix.size()) : "";
}

/// A byte for each mutant, in a file that all processes of a test share, even those that are
/// killed.
inline char* sharedReached() {
    const auto name = told("reached-");
    if (name.empty()) {
        return nullptr;
    }
    const int file = ::open((QF_MUTANTS_REACHED "/" + name).c_str(), O_RDWR | O_CLOEXEC);
    if (file < 0) {
        return nullptr;
    }
    void* const bytes = ::mmap(nullptr, mostMutants, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    ::close(file);
    return bytes == MAP_FAILED ? nullptr : static_cast<char*>(bytes);
}

inline int chosen() {
    return std::atoi(told("mutant-").c_str());
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
