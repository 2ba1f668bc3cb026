#include "platform/linux/authorization/helper/Terms.h"

namespace platform::native::helper {

const Terms terms{.patience = std::chrono::milliseconds(500), .plan = std::nullopt};

} // namespace platform::native::helper
