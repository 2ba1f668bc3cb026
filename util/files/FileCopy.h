#pragma once

#include "platform/Digests.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/SharedDictionary.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qf {

/// A running digest, one type for each algorithm.
using MD5Context = DigestContextOf<DigestAlgorithm::md5>;
using SHA1Context = DigestContextOf<DigestAlgorithm::sha1>;
using SHA256Context = DigestContextOf<DigestAlgorithm::sha256>;
using SHA512Context = DigestContextOf<DigestAlgorithm::sha512>;

/// How a copy is verified. With any other number the copy is read back all the same, no digest is
/// computed, and every destination counts as failed.
enum class VerificationType : int { none = 0, md5 = 1, sha1 = 2, sha256 = 3, sha512 = 4 };

/// Whether a verified copy reads every destination a second time, as a whole, once it is written
/// through and the system has forgotten what it holds of it in memory.
enum class FromMedium { no, yes };

/// Where a destination's bytes go. Filled aside, a destination keeps what it held before until its
/// copy is whole, and in a verified copy has passed; what fails leaves it untouched.
enum class Filling { inPlace, aside };

/// Whether the copies get the source's owner, mode, extended attributes and modification date, as
/// far as the user may set them and the volume keeps them. From its first byte on nobody can open a
/// copy who could not open the source.
enum class KeepMetadata { no, yes };

/// How a copy is made.
struct FileCopyOptions {
    /// How it is verified.
    VerificationType verificationType = VerificationType::none;
    /// Has no effect on a copy without digests.
    FromMedium fromMedium = FromMedium::no;
    Filling filling = Filling::inPlace;
    KeepMetadata keepMetadata = KeepMetadata::no;
};

/// What became of one destination.
enum class FileCopyOutcome {
    copied,      ///< it took all bytes and, in a verified copy, passed
    unreachable, ///< its directory could not be created, or it could not be opened and emptied
    incomplete,  ///< the copy ended before all bytes were written
    notWritten,  ///< it did not take all bytes
    notSynced,   ///< the medium did not take all bytes
    different,   ///< what was read back is not known to equal the source
    notNamed,    ///< it was filled aside and did not get its name, or perhaps not durably
};

/// The result of a copy.
struct FileCopyResult {
    /// What copyFileWithProgress returns: true even if a destination failed.
    bool succeeded = false;
    /// In the destinations' order: the first thing that went wrong with each.
    std::vector<FileCopyOutcome> outcomes;
    /// Why it did not succeed; no value if it did, or if the delegate cancelled it.
    std::optional<Error> error;
};

/// A copy's description of itself for its delegate. The copy adds to it as it proceeds, and so may
/// the delegate.
///   "source"          the source's path
///   "destinations"    the array of the destinations' paths
///   "operationtype"   "copy"
///   "delegate"        the delegate (a FileCopyDelegate object), when there is one
///   "object"          the first context object, when there is one
///   "object2"         the second, when there is one
///   "sourceChecksum"  the source's digest, once all is copied, where there are digests
///   "destChecksum"    the digest of the destination that is being told to have failed
///   "destChecksums"   the array of the destinations' digests in the destinations' order, once all
///                     is verified
using FileCopySettings = std::shared_ptr<SharedDictionary>;

/// Receives the progress of a copy. Each operation is optional. An exception of any type that one
/// throws is logged as QFException::logException does, and changes nothing.
struct FileCopyDelegate {
    /// So many bytes are copied. Called on the global concurrent queue while the copy proceeds,
    /// possibly overlapping other calls or after the copy has returned, and once on the copying
    /// thread when all is copied.
    std::function<void(std::uint64_t bytes, const FileCopySettings& settings)> fileCopyBytesWritten;

    /// Returns whether to continue; false cancels the copy. Called on the global concurrent queue
    /// at the same points.
    std::function<bool(const FileCopySettings& settings)> fileCopyShouldContinue;

    /// A destination, read back, differs from the source, or its medium did not take everything.
    /// Called on the copying thread, once for each such destination.
    std::function<void(const FileCopySettings& settings, const std::string& file)>
        fileCopyVerificationFailed;

    /// All of the source was read; destinations may have failed. Called last, on the copying
    /// thread.
    std::function<void(const FileCopySettings& settings)> fileCopyFinished;
};

/// Can stop the computation of a file's digest.
struct ChecksumDelegate {
    /// Returns whether to continue with the file at the path; false stops. Optional. Called on the
    /// global concurrent queue after every 50 MiB, possibly overlapping other calls or after the
    /// operation has returned. An exception that it throws is logged and changes nothing.
    std::function<bool(const std::string& path)> checksumShouldContinue;
};

} // namespace qf
