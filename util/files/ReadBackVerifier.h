#pragma once

#include "platform/Digests.h"
#include "platform/FileStreams.h"
#include "util/files/FileCopy.h"
#include "util/files/FileReading.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace qf {

/// Reads back what a copy has written, and computes the digests of the source and of the data read
/// back.
///
/// Comparing costs a fraction of a digest, so a destination gets a digest of its own only when it
/// differs from the source. Used on the copying thread.
class ReadBackVerifier {
public:
    /// The digest of the data read back from one destination. Empty while that equals the source:
    /// then the source's digest is also the destination's.
    using OwnDigest = std::optional<DigestContext>;
    using Chunk = std::span<const std::byte>;

    explicit ReadBackVerifier(VerificationType type);

    /// Returns whether anything is read back at all.
    bool isOn() const { return type_ != VerificationType::none; }

    /// Begins the source's digest, and allocates the buffer for reading back; returns false if
    /// there is no memory for it. Must be called before the functions below. Throws
    /// qf::Exception if the machine does not allow the digest.
    [[nodiscard]] bool prepare();

    /// Reads back the chunk that was written to the file at this offset, in bytes. A file that
    /// cannot be positioned there is reported to the system log, and read all the same.
    void check(FileStream& file, const std::string& path, Chunk written, std::uint64_t offset,
               OwnDigest& digest);

    /// Reads a whole destination again, from its medium as far as the system allows, if it has
    /// equalled the source so far. Must be called after the last addToSource().
    void checkAgain(FileStream& file, OwnDigest& digest);

    /// Adds a chunk of the source to its digest. Must be called after the checks of that chunk,
    /// because a destination that differs from here on needs the digest as it was before.
    void addToSource(Chunk chunk);

    /// Return the digests as text; no value if the type has no digest.
    std::optional<std::string> sourceChecksum() const;
    std::optional<std::string> checksum(const OwnDigest& digest) const;

private:
    void clearNeverFilled(std::size_t count, std::size_t size);
    void compare(Chunk written, std::size_t count, OwnDigest& digest);

    DigestContext digestOfWhole(FileStream& file);

    const VerificationType type_;
    std::optional<DigestContext> sourceDigest_;
    filereading::Buffer buffer_;
    std::size_t mostFilled_ = 0; // how much of the buffer was ever filled, in bytes
};

} // namespace qf
