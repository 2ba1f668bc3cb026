#pragma once

#include "platform/foundation/Result.h"

#include <cerrno>
#include <concepts>
#include <string>

namespace platform::native {

/// The number of a failed system call: a type of its own, so that nobody takes it for a count, a
/// descriptor or a success.
class Errno {
public:
    constexpr explicit Errno(int number) : number_(number) {}

    /// What the thread's last failed system call left in errno.
    static Errno last() { return Errno(errno); }

    constexpr int number() const { return number_; }

    /// Whether it is one of these, as <cerrno> names them.
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

/// What a system call, or what is built of system calls, returns.
template <class T>
using SystemResult = Result<T, Errno>;

/// What work on a tree returns: a failure tells the entry that it is about.
template <class T>
using EntryResult = Result<T, EntryError>;

/// Whether the operation failed with one of these numbers.
template <class T, std::same_as<int>... Numbers>
bool failedWith(const SystemResult<T>& result, Numbers... numbers) {
    return !result && result.error().is(numbers...);
}

/// Tells the entry that a failure is about.
inline EntryResult<void> aboutEntry(const std::string& name, const SystemResult<void>& result) {
    if (!result) {
        return Unexpected(EntryError{result.error(), name});
    }
    return {};
}

/// The outcome of a system call that returns -1 on failure.
inline SystemResult<void> checked(long returned) {
    if (returned == -1) {
        return Unexpected(Errno::last());
    }
    return {};
}

} // namespace platform::native
