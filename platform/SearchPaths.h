#pragma once

#include <string>
#include <vector>

namespace qf {

/// The kinds of standard directory, with the numbers that applications store and exchange.
enum class DirectoryKind : int {
    application = 1,
    adminApplication = 4,
    library = 5,
    documentation = 8,
    document = 9,
    desktop = 12,
    caches = 13,
    applicationSupport = 14,
    movies = 17,
};

/// The owner of standard directories: the user, the machine, or the operating system. Numbers may
/// be added to mean several domains.
enum class DomainMask : unsigned { user = 1, local = 2, system = 8 };

/// The locations of the machine's standard directories.
class SearchPaths {
public:
    static constexpr const char* portName = "SearchPaths";
    virtual ~SearchPaths() = default;

    /// Returns the directories of one kind in the domains of the mask, the user's first, then the
    /// machine's: absolute paths without a trailing slash, empty if the domains have no such
    /// directory. Does not touch the disk. For the user domain of user id 0 the paths are under the
    /// superuser's home, "/var/root". Any thread may call it.
    virtual std::vector<std::string> directories(DirectoryKind kind, DomainMask domain) = 0;
};

} // namespace qf
