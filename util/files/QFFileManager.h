#pragma once

#include "platform/Workspace.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/Timeout.h"
#include "platform/foundation/Value.h"
#include "util/files/DoneBy.h"
#include "util/files/FileCopy.h"
#include "util/files/Finder.h"
#include "util/files/TrashResult.h"

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qf {

/// Whether an operation that the current user is not permitted to perform is performed with
/// administrator rights. That may ask the user for a password, and waits for the answer.
enum class ShouldAuth { no, yes };

/// Whether the names in an archive begin with the packed item's own name.
enum class IncludeParent { no, yes };

/// Whether touching an item also sets its creation date to now.
enum class SetCreationDate { no, yes };

/// Has no effect: matching never descends below the pattern's own components.
enum class SearchSubdirs { no, yes };

} // namespace qf

/// Operations on files and directories.
///
/// Paths are absolute. One that is empty, relative or contains a zero byte names no item. No member
/// throws once the services are installed: the result says whether the operation succeeded, and the
/// reason for a failure is written to the program's log, except where the system log is named. The
/// class has no state; any thread may call every member. Members that test whether an item exists
/// follow links: a dangling link counts as missing. Members that walk a tree follow links to
/// directories, but never back into a directory that the walk is in. A path that is missing,
/// unreadable or not a directory has no entries. Nothing is undone after a failure.
///
/// With ShouldAuth::yes, the default, an operation that the current user is not permitted to
/// perform is started with administrator rights, and true means that it was started. The members
/// with a time-out, in whole seconds, do the same, then wait for the result to appear on disk and
/// return whether it has; on the main thread the user interface goes on handling events.
///
/// Beside each operation whose result is whether it succeeded is a member …WithResult. It does the
/// same, and returns who did it, or the reason for the failure; of several items, that of the first
/// that failed. A time-out that expires is a failure with a reason of its own. Where no error of
/// the platform is the reason, its domain is "QFFileErrorDomain".
class QFFileManager {
public:
    QFFileManager() = delete;

    // Trash and remove.

    /// Moves an item into the user's Trash, from where the desktop can restore it. Clears its
    /// locked flag first; a link is moved itself. Returns true if the item is in the Trash or does
    /// not exist: a missing item is not a failure, but clearing its flag logs a line. With
    /// administrator rights it is QFAuthorization::authTrashFile. Logs nothing itself. An item that
    /// is in the Trash already stays there. An item in which a volume is mounted is refused, with
    /// administrator rights too.
    ///
    /// A power cut soon afterwards may undo the move, but leaves no item in the Trash that could
    /// not be restored. What the members for several items below have trashed is durable when they
    /// return.
    static bool trashFile(const std::string& path);
    static bool trashFile(const std::string& path, qf::ShouldAuth shouldAuth);
    static bool trashFile(const std::string& path, qf::Timeout timeout);

    /// As trashFile; return what became of the item, and why it was not moved.
    static qf::TrashResult trashFileWithResult(const std::string& path, qf::ShouldAuth shouldAuth);
    static qf::TrashResult trashFileWithResult(const std::string& path, qf::Timeout timeout);

    /// Trashes every entry of a directory as trashFile does, continuing after a failure, and keeps
    /// the directory. Returns true if no entry failed, and so for an empty directory.
    static bool trashDirectoryContents(const std::string& path);
    static bool trashDirectoryContents(const std::string& path, qf::ShouldAuth shouldAuth);
    static qf::Result<void> trashDirectoryContentsWithResult(const std::string& path,
                                                             qf::ShouldAuth shouldAuth);

    /// Trashes, as trashFile does, every item below a directory that has this extension, ignoring
    /// case, or exactly this name. Directories, packages included, are searched and never trashed.
    /// An empty extension matches items without one. Returns the paths of the matching items,
    /// whether or not they were trashed, depth-first in the order of the listings.
    static std::vector<std::string> trashFilesOfType(const std::string& type,
                                                     const std::string& inFolder);
    static std::vector<std::string> trashFilesNamed(const std::string& name,
                                                    const std::string& inFolder);

    /// Deletes an item, a directory with its contents; links are deleted, not followed. Clears its
    /// locked flag first. Returns true if the item was deleted or does not exist, as trashFile
    /// does. A failure logs "Error removing file: %@. Authorizing...", even with ShouldAuth::no.
    /// With administrator rights it is QFAuthorization::authRemoveFile.
    static bool removeFile(const std::string& path);
    static bool removeFile(const std::string& path, qf::ShouldAuth shouldAuth);
    static bool removeFile(const std::string& path, qf::Timeout timeout);

    /// As removeFile; return who did it, or why it failed.
    static qf::FileResult removeFileWithResult(const std::string& path, qf::ShouldAuth shouldAuth);
    static qf::FileResult removeFileWithResult(const std::string& path, qf::Timeout timeout);

    /// Returns whether a directory holds nothing that counts: entries named ".DS_Store" or "Icon\r"
    /// do not count, and directories count only for their contents.
    static bool isFolderEmpty(const std::string& path);

    /// Deletes a directory, with administrator rights if necessary, if it is empty as isFolderEmpty
    /// defines it; otherwise returns false. A path without entries counts as empty: a file is
    /// deleted too, and so is a directory that the user cannot read, with all that is in it. Where
    /// that could be, test first.
    static bool removeFolderIfEmpty(const std::string& path);
    static qf::FileResult removeFolderIfEmptyWithResult(const std::string& path);

    // Create, move and copy. Destinations are full paths, not directories to put the item into.

    /// Creates a directory and its missing parents; an existing directory is success. On a volume
    /// that is not mounted, returns false with "Unable to create directory. Drive is not mounted."
    /// in the system log. A failure logs "Error creating folder: %@. Authorizing...", even with
    /// ShouldAuth::no. With administrator rights it is QFAuthorization::authCreateDir.
    static bool createDirectory(const std::string& path);
    static bool createDirectory(const std::string& path, qf::ShouldAuth shouldAuth);
    static bool createDirectory(const std::string& path, qf::Timeout timeout);

    /// As createDirectory; return who did it, or why it failed.
    static qf::FileResult createDirectoryWithResult(const std::string& path,
                                                    qf::ShouldAuth shouldAuth);
    static qf::FileResult createDirectoryWithResult(const std::string& path, qf::Timeout timeout);

    /// Creates the directory whose path is `destination` followed by the whole path of a directory,
    /// and returns that path, whether or not it was created. For anything except a plain directory,
    /// such as a file or a package, the path of its parent directory is used.
    static std::string createDirectoryStructure(const std::string& path,
                                                const std::string& destination);

    /// Moves an item. An item at the destination has its locked flag cleared first and is not
    /// replaced without administrator rights. Also clears the flags below the directory inside the
    /// destination that has the item's name. A move that only changes the case of letters goes
    /// through a unique name, under which the item may be left after a failure. A failure logs
    /// "Error moving file: %@." and, only if QFAuthorization::authMoveFile follows,
    /// "Authorizing...". It does not follow if the item has been copied to another volume and only
    /// its removal failed: it is at both places then. The member with a time-out waits until the
    /// item is gone from its place or, after a change of case, for 500 microseconds.
    static bool moveFile(const std::string& path, const std::string& toPath);
    static bool moveFile(const std::string& path, const std::string& toPath,
                         qf::ShouldAuth shouldAuth);
    static bool moveFile(const std::string& path, const std::string& toPath, qf::Timeout timeout);

    /// As moveFile; return who did it, or why it failed.
    static qf::FileResult moveFileWithResult(const std::string& path, const std::string& toPath,
                                             qf::ShouldAuth shouldAuth);
    static qf::FileResult moveFileWithResult(const std::string& path, const std::string& toPath,
                                             qf::Timeout timeout);

    /// Copies an item, a directory with its contents. An item at the destination is not replaced
    /// without administrator rights. Clears the locked flag of the destination's directory first. A
    /// missing path logs and prints "Error copying file: source path is nil" or "Error copying file
    /// %@: destination path is nil". A failure logs "Error copying file: %@. Authorizing...", even
    /// with ShouldAuth::no. With administrator rights it is QFAuthorization::authCopyFile.
    static bool copyFile(const std::optional<std::string>& path,
                         const std::optional<std::string>& toPath);
    static bool copyFile(const std::optional<std::string>& path,
                         const std::optional<std::string>& toPath, qf::ShouldAuth shouldAuth);
    static bool copyFile(const std::optional<std::string>& path,
                         const std::optional<std::string>& toPath, qf::Timeout timeout);

    /// As copyFile; return who did it, or why it failed.
    static qf::FileResult copyFileWithResult(const std::optional<std::string>& path,
                                             const std::optional<std::string>& toPath,
                                             qf::ShouldAuth shouldAuth);
    static qf::FileResult copyFileWithResult(const std::optional<std::string>& path,
                                             const std::optional<std::string>& toPath,
                                             qf::Timeout timeout);

    /// Copies every entry of a directory into another, which must exist, as copyFile does; logs
    /// "File: %@" with each entry's name first. The time-out applies to each entry. Returns false
    /// at the first entry that fails; the entries before it remain copied.
    static bool copyContentsOfDirectory(const std::string& path, const std::string& toPath,
                                        qf::Timeout timeout);
    static qf::Result<void> copyContentsOfDirectoryWithResult(const std::string& path,
                                                              const std::string& toPath,
                                                              qf::Timeout timeout);

    /// Packs an item into a zip archive, under its own name unless IncludeParent says otherwise.
    /// Trashes an item at the archive's path first. Returns true if an item exists there
    /// afterwards; the tool's status is ignored. Waits for the tool.
    static bool compressFile(const std::string& path, const std::string& toDestinationFile);
    static bool compressFile(const std::string& path, const std::string& toDestinationFile,
                             qf::IncludeParent includeParent);
    static qf::Result<void> compressFileWithResult(const std::string& path,
                                                   const std::string& toDestinationFile,
                                                   qf::IncludeParent includeParent);

    /// Unpacks an archive into a directory. Moves an existing one to the Trash first, whole and
    /// without administrator rights. Returns true if the directory exists afterwards. Waits for the
    /// tool.
    static bool decompressFile(const std::string& path, const std::string& toDestinationFolder);
    static qf::Result<void> decompressFileWithResult(const std::string& path,
                                                     const std::string& toDestinationFolder);

    // Queries about an item.

    /// Returns whether an item exists at the path.
    static bool fileExistsAtPath(const std::string& path);

    /// Returns whether the path is a directory; follows links.
    static bool isDirectoryAtPath(const std::string& path);

    /// Returns whether users see the directory at the path as one item, such as an application
    /// bundle.
    static bool isPackageAtPath(const std::string& path);

    /// Returns whether the item is a link, even a dangling one.
    static bool isSymbolicLinkAtPath(const std::string& path);

    /// Return an item's dates, for a link its own; no value if it is missing or has no such date.
    static std::optional<qf::Date> modificationDateForFile(const std::string& path);
    static std::optional<qf::Date> creationDateForFile(const std::string& path);

    /// Returns the size of an item in bytes, 0 if it is missing; for a directory, the sum of the
    /// items below it. A link that does not lead to a directory counts with its own size.
    static std::uint64_t fileSize(const std::string& path);

    /// Formats a number of bytes for display, in binary units: "1023 B", "1.50 KB", up to "TB".
    static std::string formatFileSize(double size);

    /// Returns whether the flag is set that keeps an item from being changed, moved or deleted.
    static bool isFileLocked(const std::string& path);

    /// Returns false for any path.
    static bool fileIsOpenForWriting(const std::string& path);

    // Attributes of an item.

    /// Set or clear the locked flag. Both log "Unable to unlock file %@: %@" on failure, a missing
    /// item included; they never wait for the log.
    static void lockFile(const std::string& path);
    static void unlockFile(const std::string& path);

    /// Do the same for every item below a directory that is not itself a directory.
    static void lockFolder(const std::string& path);
    static void unlockFolder(const std::string& path);

    /// Sets the permission bits, or logs "Error setting permissions for file %@: %@".
    static void setPosixPermissions(unsigned permissions, const std::string& forFile);

    /// Sets the modification date. Returns whether that succeeded.
    static bool setModificationDate(qf::Date date, const std::string& forFile);
    static qf::Result<void> setModificationDateWithResult(qf::Date date,
                                                          const std::string& forFile);

    /// Sets an item's modification date to now, and notifies the desktop. An item that the user may
    /// write is touched by the system's tool, for at most 5 seconds, and the result is true
    /// whatever the tool does. Any other item, a missing one included, is touched with
    /// administrator rights, and the result is whether the tool ran. Never creates a file. Returns
    /// false without a path.
    static bool touchFile(const std::optional<std::string>& path);
    static bool touchFile(const std::optional<std::string>& path,
                          qf::SetCreationDate setCreationDate);
    static qf::FileResult touchFileWithResult(const std::optional<std::string>& path,
                                              qf::SetCreationDate setCreationDate);

    /// Creates an empty file in the directory for temporary files and moves it to the path as
    /// moveFile does.
    static bool createEmptyFile(const std::string& path);
    static qf::FileResult createEmptyFileWithResult(const std::string& path);

    /// Returns the value of an extended attribute as text; no value if it is missing, empty or not
    /// UTF-8. A value of more than 255 bytes is returned as that many zero bytes. Always writes the
    /// size to the system log, "buffer val: %i", and on failure "Error retrieving file attribute:
    /// %i" with the system's error number.
    static std::optional<std::string> metadataValueForKey(const std::string& key,
                                                          const std::string& file);

    /// Sets an extended attribute. Returns whether that succeeded. A failure writes "Error setting
    /// extended attribute for file %@ - %i", with the number -1, to the system log.
    static bool setMetadataValue(const std::string& value, const std::string& forKey,
                                 const std::string& file);
    static qf::Result<void> setMetadataValueWithResult(const std::string& value,
                                                       const std::string& forKey,
                                                       const std::string& file);

    // File names.

    /// Returns the name without one leading dot, without white space at its ends, and without
    /// slashes and colons. The result may be empty or too long.
    static std::string validateFilename(const std::string& filename);

    /// Returns the path itself if no item exists there, otherwise the first free path with a space
    /// and a number from 2 upwards before the extension: "clip 2.mov".
    static std::string uniqueFilename(const std::string& path);

    // Waiting for files that another process writes.

    /// Returns at once if the file exists and is not empty, or the time-out is zero; otherwise logs
    /// "File %@ is not yet created. Waiting..." and pauses once, for 500 microseconds.
    static void waitForFileCreation(const std::string& path, qf::Timeout timeout);

    /// Returns at once if the file has not changed for more than 5 seconds and the lock file, if
    /// any, does not exist. Otherwise logs "File %@ is currently being written to. Waiting...",
    /// waits until the file exists and has not changed for that long, ignoring the lock file and
    /// without any time limit, and logs "File %@ finished writing.".
    static void waitForFileWrites(const std::string& path);
    static void waitForFileWrites(const std::string& path,
                                  const std::optional<std::string>& lockFile);

    // Paths with wildcards.

    /// Returns the existing items that match a pattern, in the order of the listings. Components
    /// with a "*" are wildcards: "*" matches any run of characters, even an empty one or one that
    /// begins with a dot, "?" matches one character; case matters. Other components are literal
    /// names, whatever they contain. The pattern is relative to the base directory, or to "/", even
    /// if it is absolute. A pattern without any "*" returns its full path (the pattern unchanged if
    /// there is no base directory), whether or not an item exists there.
    static std::vector<std::string> filesMatchingWildcardPath(const std::string& path);
    static std::vector<std::string>
    filesMatchingWildcardPath(const std::string& path,
                              const std::optional<std::string>& fromBasePath);
    static std::vector<std::string>
    filesMatchingWildcardPath(const std::string& path,
                              const std::optional<std::string>& fromBasePath,
                              qf::SearchSubdirs searchSubdirs);

    /// Returns the first item that matches a pattern. If none matches, returns the base directory
    /// followed by the pattern, or no value without a base directory.
    static std::optional<std::string>
    decodeWildcardPath(const std::string& path, const std::optional<std::string>& fromBasePath);

    // Volumes.

    /// Return whether the volume of a path is mounted: whether the first component below "/Volumes"
    /// exists. True for a path outside that directory, and for the directory itself. The first
    /// checks any path that begins with "/Volumes", the second only those that begin with
    /// "/Volumes/".
    static bool isVolumeMountedForPath(const std::string& path);
    static bool isDriveMountedForPath(const std::string& path);

    /// Returns the first mounted local volume, in the system's order, whose mount point is the path
    /// or one of its parents. If there is none, returns "/", or no value for a path that begins
    /// with "/Volumes".
    static std::optional<std::string> volumeMountPointForPath(const std::string& path);

    /// Returns diskutil's description of the volume at a mount point: a dictionary, or no value if
    /// diskutil prints nothing. Output that is not a property list yields no value too, and "Error
    /// converting diskutil output: %@" in the system log. Takes at most 5 seconds, provided that
    /// the main thread is not blocked.
    static qf::Value infoForDiskAtMountpoint(const std::string& mountpoint);

    // The file browser.

    /// Notifies the file browser, as SendFinderSyncEvent does, that an item or the contents of a
    /// directory have changed. Ignores failures.
    static void notifyFileSystemChanged(const std::string& path);

    /// Convert a path of any length, whether or not an item exists there, to a reference and back.
    /// An empty path, or one that contains a zero byte, yields a reference to nothing. That, and
    /// bytes that stringToFSRef never returned, yield no path.
    static qf::FSRef stringToFSRef(const std::string& path);
    static std::optional<std::string> stringWithFSRef(const qf::FSRef& reference);

    /// Return and set the number of an item's label, 0 if it has no label. Setting 0 removes the
    /// label; without a path nothing is done. A failure to set it is not reported.
    static int finderColorIndexForPath(const std::string& path);
    static void setFinderColorIndex(int index, const std::optional<std::string>& forPath);

    /// Return the colour of a label, 1 to 7: grey, green, purple, blue, yellow, red, orange. No
    /// value for any other number and for a path without a label.
    static std::optional<qf::CalibratedColor> finderColorForColorIndex(int index);
    static std::optional<qf::CalibratedColor> finderColorForPath(const std::string& path);

    /// Shows on a file's icon how much of the file is complete, 0 to 1, by an attribute with three
    /// decimals and a creation date. A number below 0 removes the attribute and sets the creation
    /// date to the modification date. Waits for the tool; does not report its failure.
    static void setFinderProgress(float fraction, const std::string& forFile);
    static void removeFinderProgressForFile(const std::string& path);

    /// Registers an application bundle with the desktop, again if it was registered. Returns
    /// whether it is registered.
    static bool registerApplicationWithLaunchServices(const std::string& path);
    static qf::Result<void, qf::WorkspaceStatus>
    registerApplicationWithLaunchServicesWithResult(const std::string& path);

    /// Does nothing.
    static void disableFileSystemCachingForFile(const std::string& path);

    // Verified copies with progress, and digests.

    /// Copies a file to every destination, each the full path of the copy, in one pass on the
    /// calling thread. Overwrites existing destinations and creates missing directories on the way
    /// to them, with administrator rights where the user may not. Returns true if all of the source
    /// was read, even if a destination failed its verification, which is reported to the delegate,
    /// or did not take all bytes.
    ///
    /// With a verification type other than none, each chunk is read back from each destination as
    /// soon as it is written, and in the end each destination is written through to its medium. The
    /// copies get the source's dates if it has a creation date. The
    /// delegate, and the context objects for it, may be missing. It receives at most about 500
    /// progress reports, and at most one every 20 MiB.
    ///
    /// Returns false, with the reason in the system log, if the source is missing, there is no
    /// destination, a destination's directory cannot be created, the source cannot be read, a
    /// destination cannot be opened or is the source itself, or the source has become shorter
    /// meanwhile. One destination that cannot be opened thus ends the copy to all. If a chunk of
    /// the source cannot be read, no memory is left or the machine does not allow the digest, the
    /// reason is in the log and on standard output. Returns false without a message if the delegate
    /// cancels. Partial copies remain; what was at a destination before is lost only once the
    /// source has proved readable. A destination that takes no more bytes is reported in the system
    /// log and does not stop the copies to the others.
    static bool copyFileWithProgress(const std::string& source,
                                     const std::vector<std::string>& destinations,
                                     qf::VerificationType verificationType,
                                     const std::shared_ptr<qf::FileCopyDelegate>& delegate,
                                     const qf::Value& object, const qf::Value& object2);

    /// As copyFileWithProgress; returns what became of each destination, and why the copy ended
    /// before all of the source was read.
    static qf::FileCopyResult
    copyFileWithResult(const std::string& source, const std::vector<std::string>& destinations,
                       const qf::FileCopyOptions& options,
                       const std::shared_ptr<qf::FileCopyDelegate>& delegate,
                       const qf::Value& object, const qf::Value& object2);

    /// Do the same for one destination, without verification.
    static bool copyFileWithProgress(const std::string& source, const std::string& destination,
                                     const std::shared_ptr<qf::FileCopyDelegate>& delegate,
                                     const qf::Value& object);
    static bool copyFileWithProgress(const std::string& source, const std::string& destination,
                                     const std::shared_ptr<qf::FileCopyDelegate>& delegate,
                                     const qf::Value& object, const qf::Value& object2);

    /// Two literals in braces would be taken for the beginning and the end of one text: name the
    /// destinations by a std::vector.
    static bool copyFileWithProgress(const std::string& source,
                                     std::initializer_list<const char*> destinations,
                                     const std::shared_ptr<qf::FileCopyDelegate>& delegate,
                                     const qf::Value& object) = delete;
    static bool copyFileWithProgress(const std::string& source,
                                     std::initializer_list<const char*> destinations,
                                     const std::shared_ptr<qf::FileCopyDelegate>& delegate,
                                     const qf::Value& object, const qf::Value& object2) = delete;

    /// Return the digest of the data that a context was fed, in lowercase hexadecimal digits: 32,
    /// 40, 64 or 128 of them. The context is unchanged and can be fed more.
    static std::string md5HashWithContext(const qf::MD5Context& context);
    static std::string sha1HashWithContext(const qf::SHA1Context& context);
    static std::string sha256HashWithContext(const qf::SHA256Context& context);
    static std::string sha512HashWithContext(const qf::SHA512Context& context);

    /// Return the digest of a file in lowercase hexadecimal digits, computed on the calling thread.
    /// No value if the file cannot be opened, which is reported in the system log; if it cannot be
    /// read, no memory is left or the machine does not allow the algorithm, which is reported in
    /// the log and on standard output; or if the delegate, which may be null, stops it.
    static std::optional<std::string> md5HashForFile(const std::string& path);
    static std::optional<std::string>
    md5HashForFile(const std::string& path, const std::shared_ptr<qf::ChecksumDelegate>& delegate);
    static std::optional<std::string> sha1HashForFile(const std::string& path);
    static std::optional<std::string>
    sha1HashForFile(const std::string& path, const std::shared_ptr<qf::ChecksumDelegate>& delegate);
    static std::optional<std::string> sha256HashForFile(const std::string& path);
    static std::optional<std::string>
    sha256HashForFile(const std::string& path,
                      const std::shared_ptr<qf::ChecksumDelegate>& delegate);
    static std::optional<std::string> sha512HashForFile(const std::string& path);
    static std::optional<std::string>
    sha512HashForFile(const std::string& path,
                      const std::shared_ptr<qf::ChecksumDelegate>& delegate);
};
