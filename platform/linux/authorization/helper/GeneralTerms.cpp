#include "platform/linux/authorization/helper/Terms.h"

namespace platform::native::helper {

const Terms terms{.patience = std::chrono::minutes(5)};

} // namespace platform::native::helper
