#pragma once

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
};
