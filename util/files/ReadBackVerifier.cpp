#include "util/files/ReadBackVerifier.h"

#include "platform/Console.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

namespace qf {

namespace {

// Logged, line by line, if a destination cannot be read back from where it was written.
constexpr std::string_view unableToSeek = "Error: unable to seek within file %@";
constexpr std::string_view currentPosition = "cur pos: %llu";
constexpr std::string_view readSize = "read size: %zu";
constexpr std::string_view systemErrorNumber = "errno: %i";
constexpr std::string_view streamErrorIndicator = "err: %i";

std::optional<DigestContext> contextFor(VerificationType type) {
    switch (type) {
    case VerificationType::md5:
        return MD5Context();
    case VerificationType::sha1:
        return SHA1Context();
    case VerificationType::sha256:
        return SHA256Context();
    case VerificationType::sha512:
        return SHA512Context();
    case VerificationType::none:
        break;
    }
    return std::nullopt;
}

} // namespace

ReadBackVerifier::ReadBackVerifier(VerificationType type) : type_(type) {
}

bool ReadBackVerifier::prepare() {
    sourceDigest_ = contextFor(type_);
    buffer_ = filereading::makeBuffer();
    return buffer_ != nullptr;
}

void ReadBackVerifier::check(FileStream& file, const std::string& path, Chunk written,
                             std::uint64_t offset, OwnDigest& digest) {
    if (const auto sought = file.seek(offset); !sought) {
        systemLog(unableToSeek, path);
        systemLog(currentPosition, offset);
        systemLog(readSize, written.size());
        systemLog(systemErrorNumber, static_cast<int>(sought.error()));
        systemLog(streamErrorIndicator, file.errorIndicator());
    }
    const auto count = file.read({buffer_.get(), written.size()});
    if (count < written.size()) {
        clearNeverFilled(count, written.size());
    }
    mostFilled_ = std::max(mostFilled_, count);
    if (sourceDigest_) {
        compare(written, count, digest);
    }
}

/// Sets the part of the buffer that was never filled to zeros.
void ReadBackVerifier::clearNeverFilled(std::size_t count, std::size_t size) {
    const auto begin = std::max(count, mostFilled_);
    if (begin < size) {
        std::memset(buffer_.get() + begin, 0, size - begin);
        mostFilled_ = size;
    }
}

/// After a short read the rest of the buffer holds the bytes of an earlier read, which take the
/// place of the missing ones, on purpose. If they happen to be equal, the first one is changed,
/// because data that could not be read back must not pass as verified.
void ReadBackVerifier::compare(Chunk written, std::size_t count, OwnDigest& digest) {
    const auto isSame = [&] {
        return std::memcmp(buffer_.get(), written.data(), written.size()) == 0;
    };
    if (count < written.size() && isSame()) {
        buffer_[count] = ~buffer_[count];
    }
    if (!digest) {
        if (isSame()) {
            return;
        }
        digest = sourceDigest_;
    }
    digest->update({buffer_.get(), written.size()});
}

void ReadBackVerifier::checkAgain(FileStream& file, OwnDigest& digest) {
    if (!sourceDigest_ || digest) {
        return;
    }
    file.dropCache();
    auto whole = digestOfWhole(file);
    if (whole.finished() != sourceDigest_->finished()) {
        digest = std::move(whole);
    }
}

/// What cannot be read makes a difference, whatever was read before.
DigestContext ReadBackVerifier::digestOfWhole(FileStream& file) {
    auto digest = *contextFor(type_);
    bool isReadable = file.seek(0).ok();
    while (isReadable && !file.isAtEnd()) {
        const auto count = file.read({buffer_.get(), filereading::chunkSize});
        digest.update({buffer_.get(), count});
        isReadable = count > 0 || file.isAtEnd();
    }
    if (!isReadable) {
        digest.update({buffer_.get(), 1});
    }
    return digest;
}

void ReadBackVerifier::addToSource(Chunk chunk) {
    if (sourceDigest_) {
        sourceDigest_->update(chunk);
    }
}

std::optional<std::string> ReadBackVerifier::sourceChecksum() const {
    return sourceDigest_ ? std::optional(filereading::digestText(*sourceDigest_)) : std::nullopt;
}

std::optional<std::string> ReadBackVerifier::checksum(const OwnDigest& digest) const {
    return digest ? std::optional(filereading::digestText(*digest)) : sourceChecksum();
}

} // namespace qf
