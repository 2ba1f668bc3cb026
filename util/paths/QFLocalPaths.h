#pragma once

#include "platform/SearchPaths.h"

#include <cstddef>
#include <optional>
#include <string>

namespace qf {

/// The owner of the directories: the machine, under the root directory, or the user, under home.
enum class Domain { local, user };

/// Whether only the protected directories themselves match, or also everything beneath the
/// operating system's own trees.
enum class ExactMatch { no, yes };

} // namespace qf

/// The standard locations of this machine, and the rules for trailing slashes.
///
/// Paths are absolute and have no trailing slash; for a location that the platform does not know
/// there is no value, never an empty string. Nothing here touches the disk or writes to a log. Any
/// thread may call every member.
class QFLocalPaths {
public:
    QFLocalPaths() = delete;

    /// Returns the first of the platform's directories of this kind in the domains of this mask, if
    /// any.
    ///
    /// For the superuser (real user id 0), a directory of the user domain alone is moved under the
    /// home directory of the process: a leading "/var/root" is dropped, then the first 16
    /// characters if the path begins with "/private/var/root", and the rest is appended to
    /// userDirectory(). 16 is one less than the length of that prefix, on purpose:
    /// "/private/var/root/Library" becomes "t/Library".
    static std::optional<std::string> pathForDirectory(qf::DirectoryKind kind,
                                                       qf::DomainMask domain);

    /// Return a domain's directories for applications, administrators' tools, documents,
    /// application data ("Library") and, inside that, preferences, caches, support files and logs.
    static std::optional<std::string> applicationDirectory(qf::Domain domain);
    static std::optional<std::string> adminApplicationDirectory(qf::Domain domain);
    static std::optional<std::string> documentDirectory(qf::Domain domain);
    static std::optional<std::string> libraryDirectory(qf::Domain domain);
    static std::optional<std::string> prefsDirectory(qf::Domain domain);
    static std::optional<std::string> cacheDirectory(qf::Domain domain);
    static std::optional<std::string> appSupportDirectory(qf::Domain domain);
    static std::optional<std::string> logDirectory(qf::Domain domain);

    /// Return the user's own.
    static std::optional<std::string> movieDirectory();
    static std::optional<std::string> desktopDirectory();

    /// Returns the operating system's library directory.
    static std::optional<std::string> systemLibraryDirectory();

    /// Returns the machine's documentation directory.
    static std::optional<std::string> localDocumentationDirectory();

    /// Returns the user's home directory.
    static std::string userDirectory();

    /// Returns the user's login name.
    static std::string username();

    /// Returns the user's Trash directory, which need not exist.
    static std::string trashDirectory();

    /// Returns the user's directory for caches that the system may empty, if any.
    static std::optional<std::string> darwinCacheDirectory();

    /// Returns the directory for the process's temporary files.
    static std::string tempDirectory();

    /// Returns a path in tempDirectory() that has never been used. Creates nothing on disk.
    static std::string tempFile();

    /// Returns a string that no other call on any machine returns.
    static std::string uuid();

    /// Returns `length` random characters out of the 26 lowercase letters and the 10 digits.
    ///
    /// Every call, even for length 0, seeds the C library's generator with the product of the
    /// processor clock and the time in seconds, truncated to 32 bits: two calls that read the same
    /// values return the same string, and other users of that generator are affected. Not for
    /// secrets.
    static std::string randomString(std::size_t length);

    /// Returns the path with a "/" at its end. Returns a missing or empty path unchanged.
    static std::optional<std::string> ensureTrailingSlash(std::optional<std::string> path);

    /// Returns the path without its trailing "/", if it has one that is not the whole path.
    static std::optional<std::string> stripTrailingSlash(std::optional<std::string> path);

    /// Returns whether the path is a directory that must never be deleted or moved: the root, the
    /// standard directories of both domains, the home directory, and the operating system's own
    /// trees; with ExactMatch::no also everything beneath those trees.
    ///
    /// The path is compared byte for byte; nothing is resolved. A path that ends in "/" loses that
    /// slash and the character before it first, so that, on purpose, a directory written with a
    /// trailing slash does not match the protected one. A missing path is not protected.
    static bool isPathSystemDirectory(const std::optional<std::string>& path,
                                      qf::ExactMatch exactMatch);

    /// Does the same with ExactMatch::no.
    static bool isPathSystemDirectory(const std::optional<std::string>& path);

    /// Returns whether the path is in the snapshot store of a backup volume: it begins with
    /// "/Volumes/" and one of its components is "Backups.backupdb". False for a missing path.
    static bool isPathOnTimeMachineVolume(const std::optional<std::string>& path);
};
