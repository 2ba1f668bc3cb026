#pragma once

#include "platform/linux/EntryFailure.h"
#include "platform/linux/ItemPlace.h"

#include <optional>

namespace platform::native {

/// Copies an item with all that is in it to a place where nothing stands, as
/// platform::FileSystem::copyItem() says. The copy grows under a hidden name beside its place.
[[nodiscard]] std::optional<EntryFailure> copyItem(const ItemPlace& source,
                                                   const ItemPlace& destination);

/// Moves an item to a place where nothing stands, as platform::FileSystem::moveItem() says. Whether
/// that needs a copy is found out by the attempt to rename. An item of which a part could not be
/// removed afterwards is not copied at all.
[[nodiscard]] std::optional<EntryFailure> moveItem(const ItemPlace& source,
                                                   const ItemPlace& destination);

} // namespace platform::native
