#pragma once

#include "platform/foundation/Value.h"
#include "util/files/Finder.h"

#include <optional>
#include <string>

/// Whether an operation that the current user may not do is done with administrator rights, which
/// may ask the user for a password and waits for the answer.
enum class ShouldAuth { no, yes };

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

    // The file browser and the volumes.

    /// Tells the file browser that an item, or what a folder holds, has changed, as
    /// SendFinderSyncEvent, whether or not anybody listens.
    static void notifyFileSystemChanged(const std::string& path);

    /// The reference that stands for a path of any length, whether or not anything is there, and
    /// the path that a reference stands for. The empty path, or one that holds a zero byte, gives a
    /// reference to nothing; that, and bytes that stringToFSRef never gave, give no path.
    static FSRef stringToFSRef(const std::string& path);
    static std::optional<std::string> stringWithFSRef(const FSRef& reference);

    /// The first of the mounted local volumes, in the system's order, that is at the path or on the
    /// way to it. "/" when none is, but nothing for a path that begins with "/Volumes".
    static std::optional<std::string> volumeMountPointForPath(const std::string& path);

    /// What diskutil says of the volume at a mount point: a dictionary, or none when it says
    /// nothing. What is no property list is none, too, and leaves "Error converting diskutil
    /// output: %@" in the system log. Takes at most 5 seconds, given that the main thread is not
    /// blocked.
    static platform::Value infoForDiskAtMountpoint(const std::string& mountpoint);

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
};
