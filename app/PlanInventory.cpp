#include "app/PlanInventory.h"

#include "app/UninstallPlan.h"
#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/Workspace.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "util/files/QFFileManager.h"
#include "util/paths/QFLocalPaths.h"

#include <set>

using platform::InventoryRow;
using platform::ItemState;

namespace {

using Paths = std::vector<std::string>;

platform::FileSystem& fileSystem() {
    return platform::service<platform::FileSystem>();
}

const char* nameOf(PlanAction action) {
    switch (action) {
    case PlanAction::kill:
        return "kill";
    case PlanAction::trashBundle:
        return "trashBundle";
    case PlanAction::trash:
        return "trash";
    case PlanAction::removeAgent:
        return "removeAgent";
    case PlanAction::trashMatching:
        return "trashMatching";
    }
    return "";
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
    for (const auto& [name, kind] : entries.value_or(std::vector<platform::DirectoryEntry>())) {
        if (platform::text::hasPrefixIgnoringCase(name, prefix)) {
            paths.push_back(folder + "/" + name);
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

} // namespace

std::vector<InventoryRow> PlanInventory::take(platform::SharedItems sharedItems,
                                              platform::Sizes sizes) {
    std::vector<InventoryRow> rows;
    std::set<std::string> taken;
    const bool removeShared = sharedItems == platform::SharedItems::go;
    for (const auto& row : uninstallPlan(removeShared ? RemoveShared::yes : RemoveShared::no)) {
        const auto paths = pathsOf(row);
        if (paths.empty()) {
            const auto state = row.action == PlanAction::kill ? ItemState::none : ItemState::absent;
            rows.push_back({nameOf(row.action), row.subject, row.names, {}, state, 0});
        }
        for (const auto& path : paths) {
            auto state = ItemState::absent;
            if (QFFileManager::fileExistsAtPath(path)) {
                state = taken.insert(path).second ? ItemState::found : ItemState::repeated;
            }
            const bool isSized = state == ItemState::found && sizes == platform::Sizes::yes;
            rows.push_back({nameOf(row.action), row.subject, row.names, path, state,
                            isSized ? sizeOf(path) : 0});
        }
    }
    return rows;
}
