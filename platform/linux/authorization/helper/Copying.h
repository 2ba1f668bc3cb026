#pragma once

#include "platform/linux/authorization/helper/Walk.h"

#include <string>

namespace platform::native::helper {

/// Copies an item and all that is in it to a name in a directory that none but root can enter. The
/// copy has the item's owners, rights, times, access lists and the user's attributes. No link is
/// followed and only plain files are read, each as far as it reached when it was opened. A device,
/// or an owner that the copy cannot have, fails the whole of it. What a failure leaves is the
/// caller's to remove. Throws a Refusal.
void copyItem(const Item& item, const Item& closedDirectory, const std::string& name);

} // namespace platform::native::helper
