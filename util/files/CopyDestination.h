#pragma once

#include "platform/FileStreams.h"
#include "platform/FileSystem.h"
#include "util/files/FileCopy.h"
#include "util/files/ReadBackVerifier.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace qf {

/// One destination of a copy: its path, its file, and the first thing that went wrong with it. What
/// goes wrong is reported to the system log. Used on the copying thread.
class CopyDestination {
public:
    /// Opens nothing yet.
    CopyDestination(std::string path, const FileCopyOptions& options)
        : path_(std::move(path)), options_(options) {}

    const std::string& path() const { return path_; }
    FileStream& file() { return *file_; }

    /// Returns the digest of what was read back, for the verifier.
    ReadBackVerifier::OwnDigest& digest() { return digest_; }

    /// Returns what went wrong first: `incomplete` if nothing did so far.
    FileCopyOutcome outcome() const { return outcome_; }
    bool hasFailed() const { return outcome_ != FileCopyOutcome::incomplete; }

    /// Returns whether the medium has taken everything, as far as sync() was asked to see to it.
    bool isSynced() const { return isSynced_; }

    /// Records what went wrong, unless something did before.
    void fail(FileCopyOutcome failure);

    /// Creates the directory of the destination if it is missing. An error ends the copy.
    Result<void> makeDirectory(const std::string& source);

    /// Opens the file for a source of this size, in bytes. An error ends the copy. Must be called
    /// before the functions below.
    Result<void> open(const FileStream& source, std::uint64_t size);

    /// Empties what was there before. An error ends the copy. From then on only those who may read
    /// the source may read the copy, if that keeps its metadata.
    Result<void> makeEmpty(const FileStream& source);

    /// Writes a chunk at its own offset, in bytes, whatever went wrong before. A pipe has no
    /// offsets, and takes the chunk as it comes.
    void write(std::span<const std::byte> chunk, std::uint64_t offset);

    /// Copies the source's metadata again, if the copy is to keep that: writing takes from a file
    /// what would give its users other rights.
    void keepMetadata(const FileStream& source);

    /// Writes the file through to its medium; returns whether the medium has taken everything.
    bool sync();

    /// Renames a good copy that was filled aside to its path.
    void takeName();

    /// Closes the file.
    void close() { file_.reset(); }

    /// Sets the dates to those of the source, which has a creation date. A copy that was filled
    /// aside and has failed is no copy: what exists at its path is a former file.
    void setDates(const ItemAttributes& source) const;

private:
    template <class... Arguments>
    Result<void> isUnreachable(std::string_view why, const Arguments&... arguments);
    Result<void, SystemError> copyMetadata(const FileStream& source);

    std::string path_;
    FileCopyOptions options_;
    std::unique_ptr<FileStream> file_;
    ReadBackVerifier::OwnDigest digest_;
    bool isSynced_ = true;
    FileCopyOutcome outcome_ = FileCopyOutcome::incomplete;
};

} // namespace qf
