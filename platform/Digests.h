#pragma once

#include "platform/Services.h"

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace qf {

/// The digest algorithms, by their published names.
enum class DigestAlgorithm { md5, sha1, sha256, sha512 };

/// The state of a digest over the bytes fed so far. Not shared between threads.
class DigestState {
public:
    virtual ~DigestState() = default;

    /// Returns an independent copy.
    virtual std::unique_ptr<DigestState> copy() const = 0;

    /// Feeds bytes.
    virtual void update(std::span<const std::byte> bytes) = 0;

    /// Returns the digest of all bytes fed: 16, 20, 32 or 64 bytes, depending on the algorithm. The
    /// state cannot be used afterwards.
    virtual std::vector<std::byte> finish() = 0;
};

/// The published digest algorithms. Any thread may call every member.
class Digests {
public:
    static constexpr const char* portName = "Digests";
    virtual ~Digests() = default;

    /// Returns the state before the first byte. Throws qf::Exception "QFDigestUnavailable"
    /// when the machine does not allow the algorithm.
    virtual std::unique_ptr<DigestState> begin(DigestAlgorithm algorithm) = 0;
};

/// A running digest with value semantics: a copy starts from the state of the original and is
/// independent of it. A moved-from object can only be assigned to or destroyed. Not shared between
/// threads.
class DigestContext {
public:
    /// Throws as Digests::begin.
    explicit DigestContext(DigestAlgorithm algorithm)
        : state_(service<Digests>().begin(algorithm)) {}
    ~DigestContext() = default;

    /// Copies the state of the other digest.
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

    /// Returns the digest of all bytes fed so far. The context is unchanged and can be fed more
    /// bytes.
    std::vector<std::byte> finished() const { return state_->copy()->finish(); }

private:
    std::unique_ptr<DigestState> state_;
};

/// A running digest whose algorithm is known at compile time.
template <DigestAlgorithm algorithm>
class DigestContextOf : public DigestContext {
public:
    DigestContextOf() : DigestContext(algorithm) {}
};

} // namespace qf
