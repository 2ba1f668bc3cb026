#include "app/PlanInventory.h"

#include "app/UninstallPlan.h"
#include "platform/Console.h"
#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/foundation/Exception.h"
#include "platform/foundation/Path.h"
#include "util/files/DirectoryWalk.h"
#include "util/files/QFFileManager.h"
#include "util/paths/QFLocalPaths.h"

#include <set>
#include <utility>

using qf::ItemKind;

namespace {

using Paths = std::vector<std::string>;

Paths agentFile(const std::string& label) {
    const auto library = QFLocalPaths::libraryDirectory(qf::Domain::user);
    return library ? Paths{qf::path::appending(*library, "LaunchAgents/" + label + ".plist")}
                   : Paths{};
}

/// Returns where a row looks for what it takes away. A row that the system cannot look up has no
/// place, since the walk skips it.
Paths placesOf(const PlanRow& row) {
    try {
        return row.action == PlanAction::removeAgent ? agentFile(row.subject) : pathsToTrash(row);
    } catch (const qf::Exception& exception) {
        qf::systemLog("%@", exception.reason());
        return {};
    }
}

/// Returns the size of an item with its contents; does not follow links.
std::uint64_t sizeOf(const std::string& path) {
    const auto attributes = qf::service<qf::FileSystem>().attributesOfItem(path);
    if (attributes && attributes->kind != ItemKind::directory) {
        return attributes->size;
    }
    std::uint64_t size = 0;
    qf::DirectoryWalk walk(path, &qf::FileSystem::contentsOfDirectoryWithSizes);
    while (walk.next()) {
        if (walk.entry().kind == ItemKind::directory) {
            walk.descend();
        } else {
            size += walk.entry().size.value_or(0);
        }
    }
    return size;
}

/// Records one row of the plan after another.
class Taking {
public:
    explicit Taking(Sizes sizes) : sizes_(sizes) {}

    void add(const PlanRow& row) {
        const auto paths = placesOf(row);
        for (const auto& path : paths) {
            const auto state = stateOf(path);
            const bool isSized = state == ItemState::found && sizes_ == Sizes::yes;
            add(row, path, state, isSized ? sizeOf(path) : 0);
        }
        if (paths.empty()) {
            add(row, {}, row.action == PlanAction::kill ? ItemState::none : ItemState::absent, 0);
        }
    }

    std::vector<InventoryRow> rows() && { return std::move(rows_); }

private:
    void add(const PlanRow& row, const std::string& path, ItemState state, std::uint64_t size) {
        rows_.push_back({row.action, row.subject, row.names, path, state, size});
    }

    ItemState stateOf(const std::string& path) {
        if (!QFFileManager::fileExistsAtPath(path)) {
            return ItemState::absent;
        }
        return found_.insert(path).second ? ItemState::found : ItemState::repeated;
    }

    const Sizes sizes_;
    std::set<std::string> found_;
    std::vector<InventoryRow> rows_;
};

} // namespace

std::vector<InventoryRow> PlanInventory::take(RemoveShared removeShared, Sizes sizes) {
    Taking taking(sizes);
    for (const auto& row : uninstallPlan(removeShared)) {
        taking.add(row);
    }
    return std::move(taking).rows();
}
