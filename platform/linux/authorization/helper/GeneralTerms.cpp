#include "platform/linux/authorization/helper/Terms.h"

namespace platform::native::helper {

const Terms terms{.patience = std::chrono::minutes(5), .plan = std::nullopt};

} // namespace platform::native::helper
