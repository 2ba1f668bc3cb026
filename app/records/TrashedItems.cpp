#include "app/records/TrashedItems.h"

#include "app/records/Links.h"
#include "platform/PropertyLists.h"
#include "platform/Services.h"
#include "platform/foundation/Exception.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "util/paths/QFLocalPaths.h"

#include <algorithm>

namespace path = qf::path;

namespace records {

namespace {

/// Returns the identifier of an application in lower case; empty if it has none.
std::string identifierOf(const std::string& application) {
    const auto information =
        qf::service<qf::PropertyLists>().read(path::appending(application, "Contents/Info.plist"));
    const auto* identifier = information["CFBundleIdentifier"].as<std::string>();
    return identifier == nullptr ? "" : qf::text::lowercased(*identifier);
}

/// Returns whether two absolute paths mean the same, by whatever links their directories are
/// reached: what is on another volume is recorded there by the path from that volume.
bool isSamePath(const std::string& one, const std::string& other) {
    if (one == other) {
        return true;
    }
    if (path::lastComponent(one) != path::lastComponent(other)) {
        return false;
    }
    auto& disk = qf::service<qf::FileSystem>();
    const auto directory = path::deletingLastComponent(one);
    const auto otherDirectory = path::deletingLastComponent(other);
    const auto id = disk.fileIdOfItem(directory);
    const auto otherId = disk.fileIdOfItem(otherDirectory);
    return id || otherId ? id == otherId : isSamePath(directory, otherDirectory);
}

/// Returns the attributes of an item. What cannot be looked at once, as without memory, is looked
/// at again: it would pass for gone.
std::optional<qf::ItemAttributes> attributesOf(const std::string& itemPath) {
    auto& disk = qf::service<qf::FileSystem>();
    auto item = disk.attributesOfItem(itemPath);
    return item ? item : disk.attributesOfItem(itemPath);
}

/// Returns whether an item is the copy of which the step found only the rest.
bool isCopy(const qf::ItemAttributes& item, const RecordedStep& step) {
    return step.end && step.end->copied && item.kind == qf::ItemKind::directory &&
           item.modificationDate == *step.end->copied;
}

} // namespace

bool isRecordedItem(const qf::ItemAttributes& item, const qf::ItemAttributes& recorded) {
    if (item.kind != recorded.kind) {
        return false;
    }
    const bool isIdentical = item.id == recorded.id && item.creationDate == recorded.creationDate;
    const bool hasSize = item.kind == qf::ItemKind::directory || item.size == recorded.size;
    return isIdentical || (hasSize && item.modificationDate == recorded.modificationDate);
}

std::optional<DirectoryIdentity> identityOf(const qf::ItemAttributes& item) {
    if (item.kind != qf::ItemKind::directory || !item.creationDate) {
        return std::nullopt;
    }
    return DirectoryIdentity{.id = item.id, .creationDate = *item.creationDate};
}

bool isItemOf(const RecordedStep& step, const std::string& itemPath) {
    const auto item = attributesOf(itemPath);
    return item && (isRecordedItem(*item, step.item) || isCopy(*item, step)) &&
           (step.action != PlanAction::trashBundle ||
            identifierOf(itemPath) == qf::text::lowercased(step.subject));
}

bool isDirectoryOf(const RecordedStep& step, const std::string& itemPath) {
    const auto trashed = step.end && step.end->copy ? step.end->copy : identityOf(step.item);
    const auto item = attributesOf(itemPath);
    return trashed && item && identityOf(*item) == trashed;
}

void forget(const RecordedStep& step) {
    if (step.end && !step.end->place.empty()) {
        qf::service<qf::Workspace>().forgetTrashed(step.end->place, step.path);
    }
}

qf::Result<HeldItem> HeldItem::hold(const std::string& place) {
    const auto directory = path::deletingLastComponent(place);
    auto held = qf::service<qf::FileSystem>().holdDirectory(directory, linksTo(directory),
                                                            qf::MissingDirectories::fail);
    if (!held) {
        return qf::Unexpected(std::move(held).error());
    }
    auto item = path::appending((*held)->path(), path::lastComponent(place));
    return HeldItem(*std::move(held), std::move(item));
}

TrashedItems::TrashedItems() {
    auto items = qf::service<qf::Workspace>().itemsInTrash(QFLocalPaths::trashDirectory());
    if (!items) {
        throw qf::Exception("QFTrashUnreadable", items.error().localizedDescription);
    }
    items_ = *std::move(items);
}

std::optional<std::string> TrashedItems::find(const RecordedStep& step) const {
    const auto name = step.end ? path::lastComponent(step.end->place) : std::string();
    for (const auto& [place, formerPath] : items_) {
        const bool isNamed = formerPath.empty() ? name.empty() || path::lastComponent(place) == name
                                                : isSamePath(formerPath, step.path);
        if (!isNamed) {
            continue;
        }
        if (isItemOf(step, place)) {
            return place;
        }
    }
    return std::nullopt;
}

/// The place of an item that was handed over is told by the user's name for the Trash, which may be
/// a link.
const qf::ItemInTrash* TrashedItems::itemAtPlaceOf(const RecordedStep& step) const {
    if (!step.end || step.end->place.empty()) {
        return nullptr;
    }
    const auto found = std::ranges::find_if(items_, [&step](const qf::ItemInTrash& item) {
        return isSamePath(item.place, step.end->place) &&
               (item.path.empty() || isSamePath(item.path, step.path));
    });
    return found == items_.end() ? nullptr : &*found;
}

std::optional<std::string> TrashedItems::findRemains(const RecordedStep& step) const {
    const auto* const item = itemAtPlaceOf(step);
    const bool isPart =
        item != nullptr && isDirectoryOf(step, item->place) && !isItemOf(step, step.path);
    return isPart ? std::optional(item->place) : std::nullopt;
}

std::optional<std::string> TrashedItems::findRest(const RecordedStep& step) const {
    if (const auto* const item = itemAtPlaceOf(step)) {
        return item->place;
    }
    const bool isFree = step.end && !step.end->place.empty() &&
                        !qf::service<qf::FileSystem>().attributesOfItem(step.end->place);
    return isFree ? std::optional(step.end->place) : std::nullopt;
}

bool TrashedItems::hasNamesake(const RecordedStep& step) const {
    if (step.item.kind != qf::ItemKind::directory) {
        return false;
    }
    if (step.end) {
        const auto* const item = itemAtPlaceOf(step);
        return item != nullptr && !item->path.empty();
    }
    return !isItemOf(step, step.path) &&
           std::ranges::any_of(items_, [&step](const qf::ItemInTrash& item) {
               return !item.path.empty() && isSamePath(item.path, step.path);
           });
}

} // namespace records
