#include "platform/linux/authorization/helper/Terms.h"

namespace platform::native::helper {

const Terms terms{.patience = std::chrono::milliseconds(50), .plan = std::nullopt};

} // namespace platform::native::helper
