#pragma once

#include "app/PlanObserver.h"

#include <map>
#include <optional>
#include <set>
#include <string>

namespace cli {

/// Remembers what became of each item, and makes the run wait for the tools that move items with
/// the administrator's right.
///
/// The walk's thread calls it during the run, any one thread when the run has ended.
class RunObserver : public PlanObserver {
public:
    void itemEnded(const std::string& path, const qf::TrashResult& result) override;

    /// The item that was at the path and in the Trash was deleted for good.
    void itemDeleted(const std::string& path) { deleted_.insert(path); }

    /// Returns whether that is so.
    bool wasDeleted(const std::string& path) const { return deleted_.contains(path); }

    /// Returns whether the item at the path was moved into the Trash by the user who runs the
    /// process.
    bool wasMoved(const std::string& path) const;

    /// Returns the path in the Trash of the item that was moved there from the path; empty if it
    /// was not.
    std::string placeInTrash(const std::string& path) const;

    /// Returns why the item at the path was not moved, in the user's words; empty if no attempt was
    /// made.
    std::string whyNotMoved(const std::string& path) const;

    /// Returns the last cause of that: about the administrator's right if that was tried, which is
    /// the same for many items. Empty if no attempt was made.
    std::string lastCause(const std::string& path) const;

private:
    /// The results of the attempts to move an item.
    struct Attempts {
        bool succeeded = false;
        std::string place;
        std::string failure;
        std::optional<qf::AuthorizationStatus> right;
    };

    std::map<std::string, Attempts> attempts_;
    std::set<std::string> deleted_;
};

} // namespace cli
