#include "app/records/TrashedItems.h"

#include "platform/PropertyLists.h"
#include "platform/Services.h"
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

/// Returns whether an item may be what a step's row takes away: for an application, which may have
/// been anywhere, only the one with the row's identifier.
bool isOfRow(const RecordedStep& step, const std::string& place) {
    return step.action != PlanAction::trashBundle ||
           identifierOf(place) == platform::text::lowercased(step.subject);
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

TrashedItems::TrashedItems()
    : items_(
          platform::service<platform::Workspace>().itemsInTrash(QFLocalPaths::trashDirectory())) {
}

std::optional<std::string> TrashedItems::find(const RecordedStep& step) const {
    const auto name = step.end ? path::lastComponent(step.end->place) : std::string();
    for (const auto& [place, formerPath] : items_) {
        const bool isNamed = formerPath.empty() ? name.empty() || path::lastComponent(place) == name
                                                : formerPath == step.path;
        if (!isNamed) {
            continue;
        }
        const auto item = platform::service<platform::FileSystem>().attributesOfItem(place);
        if (item && isRecordedItem(*item, step.item) && isOfRow(step, place)) {
            return place;
        }
    }
    return std::nullopt;
}

} // namespace records
