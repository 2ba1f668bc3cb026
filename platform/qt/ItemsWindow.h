#pragma once

#include <string>
#include <vector>

namespace qf::qt {

struct ListedItem {
    /// A path or a name.
    std::string text;
    /// A short remark, such as a size; may be empty.
    std::string detail;
};

struct ItemsSection {
    std::string heading;
    std::vector<ListedItem> items;
};

/// The contents of a window that lists items.
struct ItemsDescription {
    std::string title;
    /// Shown above the list.
    std::string message;
    std::vector<ItemsSection> sections;
    /// Whether there is a button "Try Again".
    bool canTryAgain = false;
};

enum class ItemsAnswer { close, tryAgain };

/// Shows the items, or the message alone if there are none, in front of the other windows of the
/// program, which take no input meanwhile, and returns how the person closed the window, or `close`
/// if the application terminates. The button "Copy" copies the list as text. Main thread only.
ItemsAnswer showItems(const ItemsDescription& description);

/// Returns the list as "Copy" copies it: each heading in a line, its items indented below it.
std::string asText(const std::vector<ItemsSection>& sections);

} // namespace qf::qt
