#pragma once

#include "platform/Digests.h"
#include "platform/foundation/SharedDictionary.h"
#include "platform/foundation/Value.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Whether an operation that the current user may not do is done with administrator rights, which
/// may ask the user for a password and waits for the answer.
enum class ShouldAuth { no, yes };

using MD5Context = platform::DigestContextOf<platform::DigestAlgorithm::md5>;
using SHA1Context = platform::DigestContextOf<platform::DigestAlgorithm::sha1>;
using SHA256Context = platform::DigestContextOf<platform::DigestAlgorithm::sha256>;
using SHA512Context = platform::DigestContextOf<platform::DigestAlgorithm::sha512>;

/// How a copy is verified. With any other number what was written is read back all the same, no
/// digest is made, and every destination counts as failed.
enum class VerificationType : int { none = 0, md5 = 1, sha1 = 2, sha256 = 3, sha512 = 4 };

/// What a copy tells its delegate about itself. The copy adds to it as it proceeds, and so may the
/// delegate.
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
using FileCopySettings = std::shared_ptr<platform::SharedDictionary>;

/// Who follows a copy. Each operation is optional. What one raises is logged, as
/// QFException::logException does, and changes nothing.
struct FileCopyDelegate {
    /// So many bytes are copied. Called on the global concurrent queue while the copy proceeds,
    /// where it may overlap other calls and come after the copy has returned, and once on the
    /// copying thread when all is copied.
    std::function<void(std::uint64_t bytes, const FileCopySettings& settings)> fileCopyBytesWritten;

    /// Whether to go on; false cancels the copy. Called on the global concurrent queue at the same
    /// points.
    std::function<bool(const FileCopySettings& settings)> fileCopyShouldContinue;

    /// What was read back from a destination is not what was read from the source. Called on the
    /// copying thread, once for each such destination.
    std::function<void(const FileCopySettings& settings, const std::string& file)>
        fileCopyVerificationFailed;

    /// The copy has succeeded. Called last, on the copying thread.
    std::function<void(const FileCopySettings& settings)> fileCopyFinished;
};

/// Who may stop the making of a file's digest.
struct ChecksumDelegate {
    /// Whether to go on with the file at the path; false stops. Optional. Called on the global
    /// concurrent queue after every 50 MiB, where it may overlap other calls and come after the
    /// operation has returned. What it raises is logged and changes nothing.
    std::function<bool(const std::string& path)> checksumShouldContinue;
};

/// What programs do with files and folders.
///
/// Paths are absolute. Nothing is raised: results say whether it worked, and the reason goes to the
/// program's log. The class holds no state and any thread may call every member. Members that test
/// whether an item exists follow links: a link that leads nowhere counts as missing.
class QFFileManager {
public:
    QFFileManager() = delete;

    /// Moves an item into the user's Trash, from where the desktop can restore it. Its locked flag
    /// is cleared first; a link is moved itself. True when the item is in the Trash, or when there
    /// is none: a missing item is no failure, but clearing its flag leaves its line in the log.
    /// With ShouldAuth::yes, the default, an item that the user may not move goes the privileged
    /// way (QFAuthorization::authTrashFile), and true means that this was started. Logs nothing
    /// itself.
    static bool trashFile(const std::string& path);
    static bool trashFile(const std::string& path, ShouldAuth shouldAuth);

    /// Deletes an item, a folder with all that is in it; links are deleted, not followed. Its
    /// locked flag is cleared first. True when the item is deleted, or when there is none, as for
    /// trashFile. A failure logs "Error removing file: %@. Authorizing...", also where ShouldAuth
    /// forbids that. With ShouldAuth::yes, the default, the privileged way follows
    /// (QFAuthorization::authRemoveFile), and true means that this was started.
    static bool removeFile(const std::string& path);
    static bool removeFile(const std::string& path, ShouldAuth shouldAuth);

    /// Whether something stands at the path.
    static bool fileExistsAtPath(const std::string& path);

    /// Whether a folder stands at the path; links are followed.
    static bool isDirectoryAtPath(const std::string& path);

    /// Whether a person sees the folder at the path as one item, such as an application bundle.
    static bool isPackageAtPath(const std::string& path);

    /// Sets, or clears, the flag that keeps an item from being changed, moved or deleted. Both log
    /// "Unable to unlock file %@: %@" on failure, which a missing item is.
    static void lockFile(const std::string& path);
    static void unlockFile(const std::string& path);

    // Copies that are followed and verified, and digests.

    /// Copies a file to every destination, each the full path of the copy, in one pass on the
    /// calling thread; a destination that exists is overwritten, folders that are missing on the
    /// way to one are made. True when all of the source was read, also when a destination failed
    /// its verification, of which the delegate is told.
    ///
    /// With a verification type other than none each chunk is read back from each destination as
    /// soon as it is written. The dates of the source are put on the copies where it has a creation
    /// date. The delegate, and the context objects, which are for the delegate, may be none. It is
    /// told about at most 500 times, and never more often than every 20 MiB, how far the copy is.
    ///
    /// False, with the reason in the system log, when the source is missing, there is no
    /// destination, a destination's folder cannot be made, the source cannot be read, a destination
    /// cannot be opened or is the source itself, or the source has become shorter meanwhile; when a
    /// chunk of the source cannot be read or no memory is left, the log and standard output have
    /// the reason. False without a word when the delegate cancels. Partial copies stay. A
    /// destination that takes no more bytes gets its lines in the system log and does not stop the
    /// copy of the others.
    static bool copyFileWithProgress(const std::string& source,
                                     const std::vector<std::string>& destinations,
                                     VerificationType verificationType,
                                     const std::shared_ptr<FileCopyDelegate>& delegate,
                                     const platform::Value& object, const platform::Value& object2);

    /// The same to one destination, without verification.
    static bool copyFileWithProgress(const std::string& source, const std::string& destination,
                                     const std::shared_ptr<FileCopyDelegate>& delegate,
                                     const platform::Value& object);
    static bool copyFileWithProgress(const std::string& source, const std::string& destination,
                                     const std::shared_ptr<FileCopyDelegate>& delegate,
                                     const platform::Value& object, const platform::Value& object2);

    /// The digest of what a context was fed, in lowercase hexadecimal digits: 32, 40, 64 or 128 of
    /// them. The context stays as it is and can be fed on.
    static std::string md5HashWithContext(const MD5Context& context);
    static std::string sha1HashWithContext(const SHA1Context& context);
    static std::string sha256HashWithContext(const SHA256Context& context);
    static std::string sha512HashWithContext(const SHA512Context& context);

    /// The digest of a file, in lowercase hexadecimal digits, made on the calling thread. Nothing
    /// when the file cannot be opened, which is said in the system log, when it cannot be read or
    /// no memory is left, which is said in the log and on standard output, and when the delegate,
    /// which may be null, stops it.
    static std::optional<std::string> md5HashForFile(const std::string& path);
    static std::optional<std::string>
    md5HashForFile(const std::string& path, const std::shared_ptr<ChecksumDelegate>& delegate);
    static std::optional<std::string> sha1HashForFile(const std::string& path);
    static std::optional<std::string>
    sha1HashForFile(const std::string& path, const std::shared_ptr<ChecksumDelegate>& delegate);
    static std::optional<std::string> sha512HashForFile(const std::string& path);
    static std::optional<std::string>
    sha512HashForFile(const std::string& path, const std::shared_ptr<ChecksumDelegate>& delegate);
};
