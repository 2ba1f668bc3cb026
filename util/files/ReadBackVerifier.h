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

/// Reads back what a copy has written, and makes the digests of the source and of what was read.
///
/// Comparing costs a fraction of a digest, so a destination gets a digest of its own only when it
/// differs from the source. Used on the copying thread.
class ReadBackVerifier {
public:
    /// The digest of what was read back from one destination. Empty while all of it was what was
    /// read from the source: then the source's is its digest, too.
    using OwnDigest = std::optional<platform::DigestContext>;
    using Chunk = std::span<const std::byte>;

    explicit ReadBackVerifier(VerificationType type);

    /// Whether anything is read back at all.
    bool isOn() const { return type_ != VerificationType::none; }

    /// Begins the source's digest, and allocates the chunk that is read back; without memory for it
    /// returns false. Comes before everything below. Throws platform::Exception when the machine
    /// does not allow the digest.
    [[nodiscard]] bool prepare();

    /// Reads the chunk back that was written to the file at this offset, in bytes. A file that
    /// cannot be positioned there is reported to the system log, and read all the same.
    void check(platform::FileStream& file, const std::string& path, Chunk written,
               std::uint64_t offset, OwnDigest& digest);

    /// Adds a chunk of the source to its digest. Comes after the checks of that chunk, so that what
    /// the digest was before is at hand for a destination that differs from here on.
    void addToSource(Chunk chunk);

    /// The digests as text; empty where the type has none.
    std::optional<std::string> sourceChecksum() const;
    std::optional<std::string> checksum(const OwnDigest& digest) const;

private:
    void clearNeverFilled(std::size_t count, std::size_t size);
    void compare(Chunk written, std::size_t count, OwnDigest& digest);

    const VerificationType type_;
    std::optional<platform::DigestContext> sourceDigest_;
    filereading::Buffer buffer_;
    std::size_t mostFilled_ = 0; // how much of the buffer was ever filled, in bytes
};
