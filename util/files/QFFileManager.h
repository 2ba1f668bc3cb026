#pragma once

#include "platform/foundation/Date.h"
#include "platform/foundation/Timeout.h"
#include "platform/foundation/Value.h"
#include "util/files/FileCopy.h"
#include "util/files/Finder.h"
#include "util/files/TrashResult.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Whether an operation that the current user may not do is done with administrator rights, which
/// may ask the user for a password and waits for the answer.
enum class ShouldAuth { no, yes };

/// Whether what an archive holds begins with the packed item's own name, or lies loose in it.
enum class IncludeParent { no, yes };

/// Whether touching an item makes the present its creation date, too.
enum class SetCreationDate { no, yes };

/// Without effect: matching never goes further down than the pattern's own components.
enum class SearchSubdirs { no, yes };

/// What programs do with files and directories.
///
/// Paths are absolute. Nothing is raised: results say whether it worked, and the reason goes to the
/// program's log, unless it is said that it goes to the system log. The class holds no state and
/// any thread may call every member. Members that test whether an item exists follow links: a link
/// that leads nowhere counts as missing. Members that go through all that is below a directory
/// follow links to directories, but not back into a directory that they are in. A directory that is
/// missing, unreadable or none has no entries. Nothing is undone after a failure.
///
/// With ShouldAuth::yes, the default, what the current user may not do goes the privileged way, and
/// true means that this was started. The members with a time-out, in whole seconds, do that too,
/// then wait for the result to be on disk and tell whether it is; on the main thread they let the
/// user interface handle its events meanwhile.
class QFFileManager {
public:
    QFFileManager() = delete;

    // Trash and remove.

    /// Moves an item into the user's Trash, from where the desktop can restore it. Its locked flag
    /// is cleared first; a link is moved itself. True when the item is in the Trash, or when there
    /// is none: a missing item is no failure, but clearing its flag leaves its line in the log.
    /// The privileged way is QFAuthorization::authTrashFile. Logs nothing itself.
    static bool trashFile(const std::string& path);
    static bool trashFile(const std::string& path, ShouldAuth shouldAuth);
    static bool trashFile(const std::string& path, platform::Timeout timeout);

    /// As trashFile; tells what became of the item, and why it was not moved.
    static TrashResult trashFileWithResult(const std::string& path, ShouldAuth shouldAuth);

    /// Trashes every entry of a directory, as trashFile does, going on after a failure, and keeps
    /// the directory. True when none failed, so for an empty directory too.
    static bool trashDirectoryContents(const std::string& path);
    static bool trashDirectoryContents(const std::string& path, ShouldAuth shouldAuth);

    /// Trashes, as trashFile does, every item below a directory that has this extension, compared
    /// without case, or exactly this name. Directories are searched, never trashed; packages are
    /// directories. An empty extension is that of an item without one. Gives the paths of what was
    /// to be trashed, whether or not that worked, depth-first in the order of the listings.
    static std::vector<std::string> trashFilesOfType(const std::string& type,
                                                     const std::string& inFolder);
    static std::vector<std::string> trashFilesNamed(const std::string& name,
                                                    const std::string& inFolder);

    /// Deletes an item, a directory with all that is in it; links are deleted, not followed. Its
    /// locked flag is cleared first. True when the item is deleted, or when there is none, as for
    /// trashFile. A failure logs "Error removing file: %@. Authorizing...", also where ShouldAuth
    /// forbids that. The privileged way is QFAuthorization::authRemoveFile.
    static bool removeFile(const std::string& path);
    static bool removeFile(const std::string& path, ShouldAuth shouldAuth);
    static bool removeFile(const std::string& path, platform::Timeout timeout);

    /// Whether nothing that counts is below a directory: entries named ".DS_Store" or "Icon\r"
    /// count for nothing, and directories only for what is in them.
    static bool isFolderEmpty(const std::string& path);

    /// Deletes a directory, as removeFile does, if it counts as empty; false if it does not.
    static bool removeFolderIfEmpty(const std::string& path);

    // Create, move and copy. Destinations are full paths, not directories to put the item into.

    /// Makes a directory and those on the way to it; one that exists is success. False, with
    /// "Unable to create directory. Drive is not mounted." in the system log, on a volume that is
    /// not mounted. A failure logs "Error creating folder: %@. Authorizing...", also where
    /// ShouldAuth forbids that. The privileged way is QFAuthorization::authCreateDir.
    static bool createDirectory(const std::string& path);
    static bool createDirectory(const std::string& path, ShouldAuth shouldAuth);
    static bool createDirectory(const std::string& path, platform::Timeout timeout);

    /// Makes the directory whose path is the whole path of a directory put behind `destination`,
    /// and gives its path, whether or not that worked. For anything but a plain directory, such as
    /// a file or a package, it is the path of the directory that it lies in.
    static std::string createDirectoryStructure(const std::string& path,
                                                const std::string& destination);

    /// Moves an item; what stands at the destination, whose locked flag is cleared first, is not
    /// replaced without privilege. The flags below the directory that has the item's name inside
    /// the destination are cleared, too. A move that only changes the case of letters goes through
    /// a free name, under which the item may be left when it fails. A failure logs "Error moving
    /// file: %@." and, only when the privileged way (QFAuthorization::authMoveFile) follows,
    /// "Authorizing...". The member with a time-out waits for the item to be gone from its place
    /// or, after a change of case, 500 microseconds.
    static bool moveFile(const std::string& path, const std::string& toPath);
    static bool moveFile(const std::string& path, const std::string& toPath, ShouldAuth shouldAuth);
    static bool moveFile(const std::string& path, const std::string& toPath,
                         platform::Timeout timeout);

    /// Copies an item, a directory with all that is in it; what stands at the destination is not
    /// replaced without privilege. The locked flag of the directory that takes the copy is cleared
    /// first. A missing path logs and prints "Error copying file: source path is nil" or "Error
    /// copying file %@: destination path is nil". A failure logs "Error copying file: %@.
    /// Authorizing...", also where ShouldAuth forbids that. The privileged way is
    /// QFAuthorization::authCopyFile.
    static bool copyFile(const std::optional<std::string>& path,
                         const std::optional<std::string>& toPath);
    static bool copyFile(const std::optional<std::string>& path,
                         const std::optional<std::string>& toPath, ShouldAuth shouldAuth);
    static bool copyFile(const std::optional<std::string>& path,
                         const std::optional<std::string>& toPath, platform::Timeout timeout);

    /// Copies every entry of a directory into another, which exists, as copyFile does, and logs
    /// "File: %@" with the name of each before. The time-out is each entry's. False at the first
    /// that fails; those before it stay copied.
    static bool copyContentsOfDirectory(const std::string& path, const std::string& toPath,
                                        platform::Timeout timeout);

    /// Packs an item into a zip archive, with its own name unless IncludeParent says otherwise. An
    /// item that stands at the archive's path is trashed first. True when something stands there
    /// afterwards; the tool's own result is not looked at. Waits for the tool.
    static bool compressFile(const std::string& path, const std::string& toDestinationFile);
    static bool compressFile(const std::string& path, const std::string& toDestinationFile,
                             IncludeParent includeParent);

    /// Unpacks an archive into a directory. One that exists goes to the Trash first, as a whole and
    /// without privilege. True when the directory exists afterwards. Waits for the tool.
    static bool decompressFile(const std::string& path, const std::string& toDestinationFolder);

    // Questions about an item.

    /// Whether something stands at the path.
    static bool fileExistsAtPath(const std::string& path);

    /// Whether a directory stands at the path; links are followed.
    static bool isDirectoryAtPath(const std::string& path);

    /// Whether a person sees the directory at the path as one item, such as an application bundle.
    static bool isPackageAtPath(const std::string& path);

    /// Whether the item is a link, wherever it leads.
    static bool isSymbolicLinkAtPath(const std::string& path);

    /// An item's dates, of a link its own; nothing when it is missing or has no such date.
    static std::optional<platform::Date> modificationDateForFile(const std::string& path);
    static std::optional<platform::Date> creationDateForFile(const std::string& path);

    /// The size of an item in bytes, 0 when it is missing; of a directory, the sum of what is below
    /// it. A link that leads to no directory counts with its own size.
    static std::uint64_t fileSize(const std::string& path);

    /// A number of bytes for display, in binary steps: "1023 B", "1.50 KB", up to "TB".
    static std::string formatFileSize(double size);

    /// Whether the flag is set that keeps an item from being changed, moved or deleted.
    static bool isFileLocked(const std::string& path);

    /// False for any path.
    static bool fileIsOpenForWriting(const std::string& path);

    // Attributes of an item.

    /// Sets, or clears, the locked flag. Both log "Unable to unlock file %@: %@" on failure, which
    /// a missing item is; they never wait for the log.
    static void lockFile(const std::string& path);
    static void unlockFile(const std::string& path);

    /// The same for every item below a directory that is none itself.
    static void lockFolder(const std::string& path);
    static void unlockFolder(const std::string& path);

    /// Sets the permission bits, or logs "Error setting permissions for file %@: %@".
    static void setPosixPermissions(unsigned permissions, const std::string& forFile);

    /// Sets the date of the last change and tells whether that worked.
    static bool setModificationDate(platform::Date date, const std::string& forFile);

    /// Makes the present an item's date of the last change, and tells the desktop. What the user
    /// may write is touched by the system's tool, at most 5 seconds long, and the answer is true
    /// whatever that does; anything else, also what is missing, is touched with administrator
    /// rights, and the answer tells whether the tool ran. No file is ever made. False without a
    /// path.
    static bool touchFile(const std::optional<std::string>& path);
    static bool touchFile(const std::optional<std::string>& path, SetCreationDate setCreationDate);

    /// Makes an empty file in the directory for temporary files and moves it to the path, as
    /// moveFile does.
    static bool createEmptyFile(const std::string& path);

    /// The value of an extended attribute as text: nothing when it is missing, empty or no UTF-8.
    /// A value of more than 255 bytes is given as that many zeros. The system log is told the size,
    /// "buffer val: %i", every time, and "Error retrieving file attribute: %i" with the system's
    /// error number.
    static std::optional<std::string> metadataValueForKey(const std::string& key,
                                                          const std::string& file);

    /// Sets an extended attribute and tells whether that worked. A failure is told to the system
    /// log: "Error setting extended attribute for file %@ - %i", with the number -1.
    static bool setMetadataValue(const std::string& value, const std::string& forKey,
                                 const std::string& file);

    // File names.

    /// A name made safe: without one leading dot, without white space at its ends, without slashes
    /// and colons. It may be empty or too long all the same.
    static std::string validateFilename(const std::string& filename);

    /// The path itself if nothing stands there, else the first free one of those with a blank and
    /// a number from 2 upwards before the extension: "clip 2.mov".
    static std::string uniqueFilename(const std::string& path);

    // Waits for files that another process writes.

    /// Returns at once when the file exists and is not empty, or the time-out is zero; otherwise
    /// logs "File %@ is not yet created. Waiting..." and pauses, once, 500 microseconds.
    static void waitForFileCreation(const std::string& path, platform::Timeout timeout);

    /// Returns at once when the file has not been changed for more than 5 seconds and nothing
    /// stands at the lock file's path, if one is given. Otherwise logs "File %@ is currently being
    /// written to. Waiting...", waits until the file exists and has been quiet that long, whatever
    /// the lock file does and however long it takes, and logs "File %@ finished writing.".
    static void waitForFileWrites(const std::string& path);
    static void waitForFileWrites(const std::string& path,
                                  const std::optional<std::string>& lockFile);

    // Paths with wildcards.

    /// The existing items that a pattern leads to, in the order of the listings. Components with a
    /// "*" are wildcards: "*" stands for any run of characters, also of none and with a dot in
    /// front, "?" for one; case counts. Other components are names, whatever they hold. The
    /// pattern is taken from the base directory, or from "/", also where it is absolute. One
    /// without any "*" gives its full path (with no base directory, the pattern as it stands),
    /// whether or not anything is there.
    static std::vector<std::string> filesMatchingWildcardPath(const std::string& path);
    static std::vector<std::string>
    filesMatchingWildcardPath(const std::string& path,
                              const std::optional<std::string>& fromBasePath);
    static std::vector<std::string>
    filesMatchingWildcardPath(const std::string& path,
                              const std::optional<std::string>& fromBasePath,
                              SearchSubdirs searchSubdirs);

    /// The first of the items that a pattern leads to. When there is none, the pattern behind the
    /// base directory, or nothing without a base directory.
    static std::optional<std::string>
    decodeWildcardPath(const std::string& path, const std::optional<std::string>& fromBasePath);

    // Volumes.

    /// Whether the volume that a path lies on is mounted: something exists at the first directory
    /// below the one for volumes. True for a path that is not in there, or is that directory
    /// itself. The first takes any path that begins with "/Volumes", the second only those that
    /// begin with
    /// "/Volumes/".
    static bool isVolumeMountedForPath(const std::string& path);
    static bool isDriveMountedForPath(const std::string& path);

    /// The first of the mounted local volumes, in the system's order, that is at the path or on the
    /// way to it. "/" when none is, but nothing for a path that begins with "/Volumes".
    static std::optional<std::string> volumeMountPointForPath(const std::string& path);

    /// What diskutil says of the volume at a mount point: a dictionary, or none when it says
    /// nothing. What is no property list is none, too, and leaves "Error converting diskutil
    /// output: %@" in the system log. Takes at most 5 seconds, given that the main thread is not
    /// blocked.
    static platform::Value infoForDiskAtMountpoint(const std::string& mountpoint);

    // The file browser.

    /// Tells the file browser that an item, or what a directory holds, has changed, as
    /// SendFinderSyncEvent, whether or not anybody listens.
    static void notifyFileSystemChanged(const std::string& path);

    /// The reference that stands for a path of any length, whether or not anything is there, and
    /// the path that a reference stands for. The empty path, or one that holds a zero byte, gives a
    /// reference to nothing; that, and bytes that stringToFSRef never gave, give no path.
    static FSRef stringToFSRef(const std::string& path);
    static std::optional<std::string> stringWithFSRef(const FSRef& reference);

    /// The number of the label that an item has, 0 for none. Setting it to 0 takes the label away;
    /// without a path nothing is done, and that it could not be set is not told.
    static int finderColorIndexForPath(const std::string& path);
    static void setFinderColorIndex(int index, const std::optional<std::string>& forPath);

    /// The colour of a label, 1 to 7: grey, green, purple, blue, yellow, red, orange. Nothing for
    /// any other number, and for a path without label.
    static std::optional<CalibratedColor> finderColorForColorIndex(int index);
    static std::optional<CalibratedColor> finderColorForPath(const std::string& path);

    /// Shows on a file's icon how much of the file is complete, 0 to 1, by an attribute with three
    /// decimals and a creation date; a number below 0 takes that away and sets the creation date to
    /// the modification date. Waits for the tool that does so; that it failed is not told.
    static void setFinderProgress(float fraction, const std::string& forFile);
    static void removeFinderProgressForFile(const std::string& path);

    /// Makes an application bundle known to the desktop, again where it was known. True when it is.
    static bool registerApplicationWithLaunchServices(const std::string& path);

    /// Does nothing.
    static void disableFileSystemCachingForFile(const std::string& path);

    // Copies that are followed and verified, and digests.

    /// Copies a file to every destination, each the full path of the copy, in one pass on the
    /// calling thread; a destination that exists is overwritten, directories that are missing on
    /// the way to one are made. True when all of the source was read, also when a destination
    /// failed its verification, of which the delegate is told.
    ///
    /// With a verification type other than none each chunk is read back from each destination as
    /// soon as it is written. The dates of the source are put on the copies where it has a creation
    /// date. The delegate, and the context objects, which are for the delegate, may be none. It is
    /// told about at most 500 times, and never more often than every 20 MiB, how far the copy is.
    ///
    /// False, with the reason in the system log, when the source is missing, there is no
    /// destination, a destination's directory cannot be made, the source cannot be read, a
    /// destination cannot be opened or is the source itself, or the source has become shorter
    /// meanwhile; when a chunk of the source cannot be read, no memory is left or the machine does
    /// not allow the digest, the log and standard output have the reason. False without a word when
    /// the delegate cancels. Partial copies stay. A destination that takes no more bytes gets its
    /// lines in the system log and does not stop the copy of the others.
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
    /// when the file cannot be opened, which is said in the system log, when it cannot be read, no
    /// memory is left or the machine does not allow the algorithm, which is said in the log and on
    /// standard output, and when the delegate, which may be null, stops it.
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
