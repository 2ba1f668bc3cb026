#include "app/PlanInventory.h"

#include "app/UninstallPlan.h"
#include "platform/Console.h"
#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/Workspace.h"
#include "platform/foundation/Exception.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "util/files/QFFileManager.h"
#include "util/paths/QFLocalPaths.h"

#include <set>
#include <utility>

using platform::InventoryRow;
using platform::ItemState;

namespace {

using Paths = std::vector<std::string>;

platform::FileSystem& fileSystem() {
    return platform::service<platform::FileSystem>();
}

Paths agentFile(const std::string& label) {
    const auto library = QFLocalPaths::libraryDirectory(Domain::user);
    return library ? Paths{platform::path::appending(*library, "LaunchAgents/" + label + ".plist")}
                   : Paths{};
}

Paths matchingReceipts(const std::string& library, const std::string& prefix) {
    Paths paths;
    const auto folder = library + "/Receipts";
    const auto entries = fileSystem().contentsOfDirectory(folder);
    for (const auto& entry : entries.value_or(std::vector<platform::DirectoryEntry>())) {
        if (platform::text::hasPrefixIgnoringCase(entry.name, prefix)) {
            paths.push_back(folder + "/" + entry.name);
        }
    }
    return paths;
}

/// Where a row looks for what it takes away.
Paths pathsOf(const PlanRow& row) {
    switch (row.action) {
    case PlanAction::kill:
        break;
    case PlanAction::trashBundle:
        if (const auto path =
                platform::service<platform::Workspace>().applicationPath(row.subject)) {
            return {*path};
        }
        break;
    case PlanAction::trash:
        return {row.subject};
    case PlanAction::removeAgent:
        return agentFile(row.subject);
    case PlanAction::trashMatching:
        return matchingReceipts(row.subject, row.names.front());
    }
    return {};
}

/// The same; a row that the system cannot look up has no place, as the walk goes on without it.
Paths placesOf(const PlanRow& row) {
    try {
        return pathsOf(row);
    } catch (const platform::Exception& exception) {
        platform::systemLog("%@", exception.reason());
        return {};
    }
}

std::uint64_t sizeOf(const std::string& path) {
    const auto attributes = fileSystem().attributesOfItem(path);
    if (!attributes) {
        return 0;
    }
    if (attributes->kind != platform::ItemKind::folder) {
        return attributes->size;
    }
    std::uint64_t size = 0;
    const auto entries = fileSystem().contentsOfDirectory(path);
    for (const auto& entry : entries.value_or(std::vector<platform::DirectoryEntry>())) {
        size += sizeOf(platform::path::appending(path, entry.name));
    }
    return size;
}

/// Takes down one row of the plan after another.
class Taking {
public:
    explicit Taking(platform::Sizes sizes) : sizes_(sizes) {}

    void add(const PlanRow& row) {
        const auto paths = placesOf(row);
        for (const auto& path : paths) {
            const auto state = stateOf(path);
            const bool isSized = state == ItemState::found && sizes_ == platform::Sizes::yes;
            add(row, path, state, isSized ? sizeOf(path) : 0);
        }
        if (paths.empty()) {
            add(row, {}, row.action == PlanAction::kill ? ItemState::none : ItemState::absent, 0);
        }
    }

    std::vector<InventoryRow> rows() && { return std::move(rows_); }

private:
    void add(const PlanRow& row, const std::string& path, ItemState state, std::uint64_t size) {
        rows_.push_back({nameOf(row.action), row.subject, row.names, path, state, size});
    }

    ItemState stateOf(const std::string& path) {
        if (!QFFileManager::fileExistsAtPath(path)) {
            return ItemState::absent;
        }
        return found_.insert(path).second ? ItemState::found : ItemState::repeated;
    }

    const platform::Sizes sizes_;
    std::set<std::string> found_;
    std::vector<InventoryRow> rows_;
};

} // namespace

std::vector<InventoryRow> PlanInventory::take(platform::SharedItems sharedItems,
                                              platform::Sizes sizes) {
    const bool removeShared = sharedItems == platform::SharedItems::go;
    Taking taking(sizes);
    for (const auto& row : uninstallPlan(removeShared ? RemoveShared::yes : RemoveShared::no)) {
        taking.add(row);
    }
    return std::move(taking).rows();
}
