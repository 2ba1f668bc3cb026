#pragma once

#include "platform/Services.h"

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace platform {

/// The algorithms, by their published names.
enum class DigestAlgorithm { md5, sha1, sha256, sha512 };

/// What a digest has made so far of the bytes that it was fed. One thread at a time uses it.
class DigestState {
public:
    virtual ~DigestState() = default;

    /// A state that goes its own way from here.
    virtual std::unique_ptr<DigestState> copy() const = 0;

    /// Feeds bytes.
    virtual void update(std::span<const std::byte> bytes) = 0;

    /// The digest of all bytes fed: 16, 20, 32 or 64 bytes, by algorithm. The state is used up.
    virtual std::vector<std::byte> finish() = 0;
};

/// The published digest algorithms. Any thread may call every member.
class Digests {
public:
    static constexpr const char* portName = "Digests";
    virtual ~Digests() = default;

    /// The state before the first byte. Throws platform::Exception "QFDigestUnavailable" when the
    /// machine does not allow the algorithm.
    virtual std::unique_ptr<DigestState> begin(DigestAlgorithm algorithm) = 0;
};

/// A running digest, a value: a copy has the state of the original and goes its own way. What is
/// moved from can only be assigned to or destroyed. One thread at a time uses it.
class DigestContext {
public:
    /// Throws as Digests::begin.
    explicit DigestContext(DigestAlgorithm algorithm)
        : state_(service<Digests>().begin(algorithm)) {}
    ~DigestContext() = default;

    /// The state of the other one.
    DigestContext(const DigestContext& other) : state_(other.state_->copy()) {}
    DigestContext& operator=(const DigestContext& other) {
        if (this != &other) {
            state_ = other.state_->copy();
        }
        return *this;
    }
    DigestContext(DigestContext&&) noexcept = default;
    DigestContext& operator=(DigestContext&&) noexcept = default;

    /// Feeds bytes.
    void update(std::span<const std::byte> bytes) { state_->update(bytes); }

    /// The digest of all bytes fed so far. The context stays as it is and can be fed on.
    std::vector<std::byte> finished() const { return state_->copy()->finish(); }

private:
    std::unique_ptr<DigestState> state_;
};

/// A running digest whose algorithm is known to the compiler.
template <DigestAlgorithm algorithm>
class DigestContextOf : public DigestContext {
public:
    DigestContextOf() : DigestContext(algorithm) {}
};

} // namespace platform
