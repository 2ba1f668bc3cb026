#pragma once

#include "platform/foundation/Error.h"
#include "platform/foundation/Exception.h"

#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

namespace qf {

/// An error on its way into a Result: `return Unexpected(error);`.
template <class E>
class Unexpected {
public:
    /// Holds the error.
    constexpr explicit Unexpected(E error) : error_(std::move(error)) {}

    /// The error.
    constexpr const E& error() const& { return error_; }
    constexpr E&& error() && { return std::move(error_); }

private:
    E error_;
};

namespace detail {
/// Throws what Result::value() throws for a failure.
[[noreturn]] inline void throwNoValue() {
    throw Exception(exception_name::internalInconsistency, "the result of a failure has no value");
}
} // namespace detail

/// The value of an operation that succeeded, or the error of one that failed: std::expected<T, E>
/// of C++23, with the same names. A Result is true if the operation succeeded. Threads that share
/// one must synchronize changes.
template <class T, class E = Error>
class [[nodiscard]] Result {
public:
    using value_type = T; ///< As in std::expected.
    using error_type = E; ///< As in std::expected.

    // Both convert implicitly, as std::expected's constructors do.
    // NOLINTBEGIN(google-explicit-constructor, bugprone-forwarding-reference-overload)

    /// Makes a success whose value is made from the argument.
    template <class U = T>
    requires(std::is_convertible_v<U&&, T> &&
             !std::is_same_v<std::remove_cvref_t<U>, Result>) constexpr Result(U&& value)
        : content_(std::in_place_index<0>, std::forward<U>(value)) {}

    /// Makes a failure.
    template <class G>
    requires(std::is_constructible_v<E, G>) constexpr Result(Unexpected<G> failure)
        : content_(std::in_place_index<1>, std::move(failure).error()) {}

    // NOLINTEND(google-explicit-constructor, bugprone-forwarding-reference-overload)

    /// Returns whether the operation succeeded.
    constexpr bool has_value() const { return content_.index() == 0; }
    constexpr bool ok() const { return has_value(); }
    constexpr explicit operator bool() const { return has_value(); }

    /// Returns the value. Throws qf::Exception "NSInternalInconsistencyException" for a
    /// failure.
    constexpr const T& value() const& { return checked(*this); }
    constexpr T& value() & { return checked(*this); }
    constexpr T&& value() && { return std::move(checked(*this)); }

    /// Returns the value of a success; undefined for a failure.
    constexpr const T& operator*() const& { return *std::get_if<0>(&content_); }
    constexpr T& operator*() & { return *std::get_if<0>(&content_); }
    constexpr T&& operator*() && { return std::move(*std::get_if<0>(&content_)); }
    constexpr const T* operator->() const { return std::get_if<0>(&content_); }
    constexpr T* operator->() { return std::get_if<0>(&content_); }

    /// Returns the value of a success, or the argument for a failure.
    template <class U>
    constexpr T value_or(U&& other) const& {
        return has_value() ? **this : static_cast<T>(std::forward<U>(other));
    }
    template <class U>
    constexpr T value_or(U&& other) && {
        return has_value() ? *std::move(*this) : static_cast<T>(std::forward<U>(other));
    }

    /// Returns the error of a failure; undefined for a success.
    constexpr const E& error() const& { return *std::get_if<1>(&content_); }
    constexpr E& error() & { return *std::get_if<1>(&content_); }
    constexpr E&& error() && { return std::move(*std::get_if<1>(&content_)); }

private:
    template <class Self>
    static constexpr auto& checked(Self& self) {
        if (!self.has_value()) {
            detail::throwNoValue();
        }
        return *self;
    }

    std::variant<T, E> content_;
};

/// The outcome of an operation that returns no value.
template <class E>
class [[nodiscard]] Result<void, E> {
public:
    using value_type = void; ///< As in std::expected.
    using error_type = E;    ///< As in std::expected.

    /// Makes a success: `return {};`.
    constexpr Result() = default;

    /// Makes a failure.
    template <class G>
    requires(std::is_constructible_v<E, G>) constexpr Result(
        Unexpected<G> failure) // NOLINT(*-explicit-*): as std::expected's.
        : error_(std::in_place, std::move(failure).error()) {}

    /// Returns whether the operation succeeded.
    constexpr bool has_value() const { return !error_.has_value(); }
    constexpr bool ok() const { return has_value(); }
    constexpr explicit operator bool() const { return has_value(); }

    /// Throws qf::Exception "NSInternalInconsistencyException" for a failure.
    constexpr void value() const {
        if (!has_value()) {
            detail::throwNoValue();
        }
    }

    /// Does nothing; for code that is generic in the value type.
    constexpr void operator*() const {}

    /// Returns the error of a failure; undefined for a success.
    constexpr const E& error() const& { return *error_; }
    constexpr E& error() & { return *error_; }
    constexpr E&& error() && { return *std::move(error_); }

private:
    std::optional<E> error_;
};

} // namespace qf
