#pragma once

#include <string>
#include <vector>

namespace platform {

/// The kinds of standard directory, by the numbers that applications store and exchange.
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

/// Whose directories are meant: the user's own, the machine's, or the operating system's. Their
/// numbers may be added up, which means all of these domains.
enum class DomainMask : unsigned { user = 1, local = 2, system = 8 };

/// Where the standard directories of a machine lie.
class SearchPaths {
public:
    static constexpr const char* portName = "SearchPaths";
    virtual ~SearchPaths() = default;

    /// The directories of one kind in the domains of the mask, the user's first, then the
    /// machine's: absolute paths without a trailing slash, empty when the domains have no such
    /// directory. The disk is not touched. For the user domain of user id 0 the paths lie under the
    /// superuser's home, "/var/root". Any thread may call it.
    virtual std::vector<std::string> directories(DirectoryKind kind, DomainMask domain) = 0;
};

} // namespace platform
