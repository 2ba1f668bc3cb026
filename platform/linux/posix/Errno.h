#pragma once

#include "platform/foundation/Result.h"

#include <cerrno>
#include <concepts>
#include <string>

namespace qf::native {

/// The error number of a failed system call: a distinct type, so that it is not mistaken for a
/// count, a descriptor or a success.
class Errno {
public:
    constexpr explicit Errno(int number) : number_(number) {}

    /// Returns the errno of the thread's last failed system call.
    static Errno last() { return Errno(errno); }

    constexpr int number() const { return number_; }

    /// Returns whether it is one of these numbers of <cerrno>.
    template <std::same_as<int>... Numbers>
    constexpr bool is(Numbers... numbers) const {
        return ((number_ == numbers) || ...);
    }

    constexpr bool operator==(const Errno&) const = default;

private:
    int number_;
};

/// A failure that concerns one entry of a tree.
struct EntryError {
    Errno number;
    std::string name;
};

/// The result of a system call, or of a function built on system calls.
template <class T>
using SystemResult = Result<T, Errno>;

/// The result of work on a tree: a failure names the entry that it is about.
template <class T>
using EntryResult = Result<T, EntryError>;

/// Returns whether the operation failed with one of these numbers.
template <class T, std::same_as<int>... Numbers>
bool failedWith(const SystemResult<T>& result, Numbers... numbers) {
    return !result && result.error().is(numbers...);
}

/// Adds the entry that a failure is about.
inline EntryResult<void> aboutEntry(const std::string& name, const SystemResult<void>& result) {
    if (!result) {
        return Unexpected(EntryError{result.error(), name});
    }
    return {};
}

/// Returns the outcome of a function that returns 0 or an error number, as posix_spawn() does.
inline SystemResult<void> checkedNumber(int number) {
    if (number != 0) {
        return Unexpected(Errno(number));
    }
    return {};
}

/// Returns the outcome of a system call that returns -1 on failure.
inline SystemResult<void> checked(long returned) {
    if (returned == -1) {
        return Unexpected(Errno::last());
    }
    return {};
}

} // namespace qf::native
