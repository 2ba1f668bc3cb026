#pragma once

#include <chrono>
#include <optional>
#include <span>
#include <string_view>

namespace qf::native::helper {

/// Items that a program's plan names, one for each of `names`: prefix + name + suffix.
struct PlannedItems {
    enum class Kind {
        item,        ///< what is at this path in the directory
        beginning,   ///< whatever in the directory has a name that begins so, in whichever case
        job,         ///< the file of a background job, which may also be removed
        application, ///< an application with this identifier, wherever it is
    };
    Kind kind = Kind::item;
    /// An absolute path; "~" is the user's home directory. An application needs none.
    std::string_view directory;
    std::string_view prefix;
    std::span<const std::string_view> names;
    std::string_view suffix;
};

using Plan = std::span<const PlannedItems>;

/// What a helper serves. Each program that is built of these sources has its own.
struct Terms {
    /// How long it is there for a program that asks nothing of it.
    std::chrono::milliseconds patience;
    /// What it moves to the user's Trash and back, and does nothing else. Without a plan it starts
    /// whatever tool it is asked for.
    std::optional<Plan> plan;
};

extern const Terms terms;

} // namespace qf::native::helper
