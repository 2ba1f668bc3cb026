#pragma once

#include "platform/SearchPaths.h"

#include <cstddef>
#include <optional>
#include <string>

/// Whose directories are meant: the machine's, under the root directory, or the user's own, under
/// home.
enum class Domain { local, user };

/// Whether only the protected directories themselves count, or also what lies beneath the operating
/// system's own trees.
enum class ExactMatch { no, yes };

/// Where things live on this machine, and the rules for trailing slashes.
///
/// Paths are absolute and without a trailing slash; a location that the platform does not know is
/// missing, never an empty string. Nothing here touches the disk or writes to a log. Every member
/// may be called from any thread.
class QFLocalPaths {
public:
    QFLocalPaths() = delete;

    /// The first of the platform's directories of this kind in the domains of this mask, missing
    /// when there is none.
    ///
    /// For the superuser (real user id 0) a directory of the user domain alone is moved under the
    /// home directory of the process: a leading "/var/root" is dropped, then the first 16
    /// characters if
    /// "/private/var/root" leads, and what remains is joined to userDirectory(). Those 16 are one
    /// less than that prefix, on purpose: "/private/var/root/Library" becomes "t/Library" there.
    static std::optional<std::string> pathForDirectory(platform::DirectoryKind kind,
                                                       platform::DomainMask domain);

    /// A domain's directories for applications, tools for administrators, documents, what
    /// applications keep ("Library") and, in there, preferences, caches, support files and logs.
    static std::optional<std::string> applicationDirectory(Domain domain);
    static std::optional<std::string> adminApplicationDirectory(Domain domain);
    static std::optional<std::string> documentDirectory(Domain domain);
    static std::optional<std::string> libraryDirectory(Domain domain);
    static std::optional<std::string> prefsDirectory(Domain domain);
    static std::optional<std::string> cacheDirectory(Domain domain);
    static std::optional<std::string> appSupportDirectory(Domain domain);
    static std::optional<std::string> logDirectory(Domain domain);

    /// The user's own.
    static std::optional<std::string> movieDirectory();
    static std::optional<std::string> desktopDirectory();

    /// The operating system's library directory.
    static std::optional<std::string> systemLibraryDirectory();

    /// The machine's documentation directory.
    static std::optional<std::string> localDocumentationDirectory();

    /// The user's home directory.
    static std::string userDirectory();

    /// The user's login name.
    static std::string username();

    /// The user's Trash directory. It need not exist.
    static std::string trashDirectory();

    /// The user's directory for caches that the system may empty, missing where there is none.
    static std::optional<std::string> darwinCacheDirectory();

    /// The directory for the process's temporary files.
    static std::string tempDirectory();

    /// A path in tempDirectory() that nothing has used before. Nothing is made on disk.
    static std::string tempFile();

    /// A string that no other call on any machine gives.
    static std::string uuid();

    /// `length` random characters out of the 26 small letters and the 10 digits.
    ///
    /// Every call, also for no characters, seeds the C library's generator with the product of the
    /// processor clock and the time in seconds, truncated to 32 bits: two calls that read the same
    /// of both give the same string, and other users of that generator notice. Not for secrets.
    static std::string randomString(std::size_t length);

    /// The path with a "/" at its end. A missing and an empty path stay as they are.
    static std::optional<std::string> ensureTrailingSlash(std::optional<std::string> path);

    /// The path without the last "/" at its end, if there is one and it is not the whole path.
    static std::optional<std::string> stripTrailingSlash(std::optional<std::string> path);

    /// Whether the path is a directory that nothing may delete or move: the root, the standard
    /// directories of both domains, the home directory, and the operating system's own trees;
    /// without an exact match also everything beneath those trees.
    ///
    /// The path is compared as it stands, byte for byte; nothing is resolved. A path that ends in
    /// "/" loses that slash and the character before it first, so that, on purpose, a directory
    /// written with a trailing slash is not taken for the protected one. A missing path is not
    /// protected.
    static bool isPathSystemDirectory(const std::optional<std::string>& path,
                                      ExactMatch exactMatch);

    /// The same without an exact match.
    static bool isPathSystemDirectory(const std::optional<std::string>& path);

    /// Whether the path lies in the snapshot store of a backup volume: it begins with "/Volumes/"
    /// and one of its components is "Backups.backupdb". A missing path does not.
    static bool isPathOnTimeMachineVolume(const std::optional<std::string>& path);
};
