#include "app/records/TrashedItems.h"

#include "app/records/Links.h"
#include "platform/PropertyLists.h"
#include "platform/Services.h"
#include "platform/foundation/Exception.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "util/paths/QFLocalPaths.h"

namespace path = platform::path;

namespace records {

namespace {

/// Returns the identifier of an application in lower case; empty if it has none.
std::string identifierOf(const std::string& application) {
    const auto information = platform::service<platform::PropertyLists>().read(
        path::appending(application, "Contents/Info.plist"));
    const auto* identifier = information["CFBundleIdentifier"].as<std::string>();
    return identifier == nullptr ? "" : platform::text::lowercased(*identifier);
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
    auto& disk = platform::service<platform::FileSystem>();
    const auto directory = path::deletingLastComponent(one);
    const auto otherDirectory = path::deletingLastComponent(other);
    const auto id = disk.fileIdOfItem(directory);
    const auto otherId = disk.fileIdOfItem(otherDirectory);
    return id || otherId ? id == otherId : isSamePath(directory, otherDirectory);
}

} // namespace

bool isRecordedItem(const platform::ItemAttributes& item,
                    const platform::ItemAttributes& recorded) {
    if (item.kind != recorded.kind) {
        return false;
    }
    const bool isIdentical = item.id == recorded.id && item.creationDate == recorded.creationDate;
    const bool hasSize = item.kind == platform::ItemKind::directory || item.size == recorded.size;
    return isIdentical || (hasSize && item.modificationDate == recorded.modificationDate);
}

bool isItemOf(const RecordedStep& step, const std::string& itemPath) {
    const auto item = platform::service<platform::FileSystem>().attributesOfItem(itemPath);
    return item && isRecordedItem(*item, step.item) &&
           (step.action != PlanAction::trashBundle ||
            identifierOf(itemPath) == platform::text::lowercased(step.subject));
}

void forget(const RecordedStep& step) {
    if (step.end && !step.end->place.empty()) {
        platform::service<platform::Workspace>().forgetTrashed(step.end->place, step.path);
    }
}

platform::Result<HeldItem> HeldItem::hold(const std::string& place) {
    const auto directory = path::deletingLastComponent(place);
    auto held = platform::service<platform::FileSystem>().holdDirectory(
        directory, linksTo(directory), platform::MissingDirectories::fail);
    if (!held) {
        return platform::Unexpected(std::move(held).error());
    }
    auto item = path::appending((*held)->path(), path::lastComponent(place));
    return HeldItem(*std::move(held), std::move(item));
}

TrashedItems::TrashedItems() {
    auto items =
        platform::service<platform::Workspace>().itemsInTrash(QFLocalPaths::trashDirectory());
    if (!items) {
        throw platform::Exception("QFTrashUnreadable", items.error().localizedDescription);
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

} // namespace records
