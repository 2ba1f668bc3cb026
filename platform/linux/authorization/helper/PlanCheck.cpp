#include "platform/linux/authorization/helper/PlanCheck.h"

#include "platform/linux/authorization/helper/BundleIdentifier.h"
#include "platform/linux/authorization/helper/Refusal.h"

#include <pwd.h>
#include <strings.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>

namespace qf::native::helper {

namespace {

namespace fs = std::filesystem;
using Kind = PlannedItems::Kind;

bool isInHome(const PlannedItems& items) {
    return items.directory.starts_with('~');
}

/// Whether a text begins so, whatever the case of its letters.
bool begins(const std::string& text, const std::string& beginning) {
    return ::strncasecmp(text.c_str(), beginning.c_str(), beginning.size()) == 0;
}

/// Whether a directory is one that an item is in, or that one of those is in, and so on.
bool isAbove(const fs::path& directory, const fs::path& item) {
    const auto end = std::mismatch(directory.begin(), directory.end(), item.begin(), item.end());
    return end.first == directory.end() && end.second != item.end();
}

/// Whether nobody but root can have made an item as it is. On a file system where programs do not
/// get their owner's rights, any owner may be anybody's work.
bool isSurelyRoots(const Item& item) {
    struct statvfs fileSystem {};
    return !item.isChangeable() && ::fstatvfs(item.descriptor.get(), &fileSystem) == 0 &&
           (fileSystem.f_flag & ST_NOSUID) == 0;
}

/// The home directory in the list of accounts. Throws a Refusal.
std::string homeOf(uid_t user) {
    const passwd* account = ::getpwuid(user);
    std::string home = account == nullptr ? "" : account->pw_dir;
    if (!home.starts_with('/') || home == "/") {
        throw Refusal{Status::itemUnreachable, "the home folder of user " + std::to_string(user)};
    }
    return home;
}

class PlanCheck {
public:
    PlanCheck(Plan plan, uid_t user) : plan_(plan), user_(user), home_(homeOf(user)) {}

    void operator()(const Command& command) const { require(false, command.tool.path); }
    void operator()(const Copy& copy) const { require(false, copy.source.path); }
    void operator()(const Change& change) const { require(false, change.place.path); }
    void operator()(Nothing /*nothing*/) const {}

    void operator()(Removal& removal) const {
        const bool isEmptying = std::all_of(removal.places.begin(), removal.places.end(),
                                            [&](const Place& place) { return isTrashed(place); });
        for (const auto& place : removal.places) {
            const bool isDirectory = place.item && place.item->isDirectory();
            require(isEmptying || (isAt(place, isJobs) && !isDirectory), place.path);
        }
        if (isEmptying) {
            removal.options = {"-Rf", "--one-file-system"};
        } else {
            removal.options = {"-f"}; // a directory that comes to be there stays
        }
    }

    void operator()(const Move& move) const {
        const auto& [from, to, remover] = move.copy;
        if (isInTrash(to)) {
            require(isAt(from, hasPlaces) || isApplication(*from.item), from.path);
        } else {
            require(mayBeTakenFrom(from) && mayGoBack(from, to), to.path);
        }
    }

    void operator()(const Directories& directories) const {
        require(std::any_of(plan_.begin(), plan_.end(),
                            [&](const PlannedItems& items) {
                                return isMachines(items) && isAny(items, [&](const fs::path& item) {
                                           return isAbove(directories.path, item);
                                       });
                            }),
                directories.path);
    }

private:
    static void require(bool isPlanned, const std::string& about) {
        if (!isPlanned) {
            throw Refusal{Status::notPlanned, about};
        }
    }

    // Which items of the plan are meant.
    using Meant = bool (*)(const PlannedItems& items);
    static bool hasPlaces(const PlannedItems& items) { return items.kind != Kind::application; }
    static bool isJobs(const PlannedItems& items) { return items.kind == Kind::job; }
    static bool isUsers(const PlannedItems& items) { return hasPlaces(items) && isInHome(items); }
    static bool isMachines(const PlannedItems& items) {
        return hasPlaces(items) && !isInHome(items);
    }

    /// Whether any of these items has a path of which this holds.
    template <class Holds>
    bool isAny(const PlannedItems& items, const Holds& holds) const {
        const fs::path directory = isInHome(items) ? home_ + std::string(items.directory.substr(1))
                                                   : std::string(items.directory);
        return std::any_of(items.names.begin(), items.names.end(), [&](std::string_view name) {
            return holds(directory / fs::path(nameOf(items, name)));
        });
    }

    static std::string nameOf(const PlannedItems& items, std::string_view name) {
        return std::string(items.prefix).append(name).append(items.suffix);
    }

    /// Whether a place is that of an item that is meant.
    bool isAt(const Place& place, Meant isMeant) const {
        const fs::path path = place.path;
        return std::any_of(plan_.begin(), plan_.end(), [&](const PlannedItems& items) {
            return isMeant(items) && isAny(items, [&](const fs::path& item) {
                       return items.kind == Kind::beginning
                                  ? path.parent_path() == item.parent_path() &&
                                        begins(path.filename(), item.filename())
                                  : path == item;
                   });
        });
    }

    bool isApplication(const Item& item) const {
        const std::string identifier = bundleIdentifier(item);
        return std::any_of(plan_.begin(), plan_.end(), [&](const PlannedItems& items) {
            return items.kind == Kind::application &&
                   std::any_of(items.names.begin(), items.names.end(), [&](std::string_view name) {
                       return ::strcasecmp(identifier.c_str(), nameOf(items, name).c_str()) == 0;
                   });
        });
    }

    bool isInTrash(const Place& place) const {
        const auto trash = walk(home_ + "/.Trash");
        return trash && trash->isOwners() && trash->end.status.stx_uid == user_ &&
               trash->end.identity() == place.directory.identity();
    }

    /// Whether something may be taken from a place, which is in the Trash. For a moment the user's
    /// own programs can have the way to the Trash lead to any other directory of his.
    bool mayBeTakenFrom(const Place& place) const {
        return isInTrash(place) &&
               (isUsersDirectory(place.directory) || holdsTrashedItems(place.directory));
    }

    /// Whether a directory is the user's "~/.Trash" itself, to which no link leads.
    bool isUsersDirectory(const Item& directory) const {
        const auto home = walk(home_);
        const auto trash = home ? findItem(home->end.descriptor.get(), ".Trash") : std::nullopt;
        return trash && trash->identity() == directory.identity();
    }

    /// Whether a directory is the one of the items in a Trash (the freedesktop.org Trash
    /// specification 1.0, "Contents of a trash directory").
    static bool holdsTrashedItems(const Item& directory) {
        const auto trash = openItem(directory.descriptor.get(), "..");
        if (!trash) {
            return false;
        }
        const auto files = openItem(trash->descriptor.get(), "files");
        const auto infos = openItem(trash->descriptor.get(), "info");
        return files && files->identity() == directory.identity() && infos && infos->isDirectory();
    }

    /// Whether a place is in the Trash, and what is there may have come from the plan: it is the
    /// user's or root's, and called as a planned item is, except for what makes the name unique, or
    /// a planned application.
    bool isTrashed(const Place& place) const {
        return place.item && mayBeTakenFrom(place) && isUsersOrRoots(*place.item) &&
               (isApplication(*place.item) ||
                std::any_of(plan_.begin(), plan_.end(), [&](const PlannedItems& items) {
                    return hasPlaces(items) && isAny(items, [&](const fs::path& item) {
                               return begins(place.name, item.stem());
                           });
                }));
    }

    bool isUsersOrRoots(const Item& item) const {
        return item.status.stx_uid == user_ || item.status.stx_uid == 0;
    }

    bool mayGoBack(const Place& from, const Place& to) const {
        return !to.item &&
               (isAt(to, isUsers) || (isAt(to, isMachines) && isSurelyRoots(*from.item)));
    }

    const Plan plan_;
    const uid_t user_;
    const std::string home_;
};

} // namespace

void requirePlanned(Task& task, Plan plan, uid_t user) {
    std::visit(PlanCheck(plan, user), task);
}

} // namespace qf::native::helper
