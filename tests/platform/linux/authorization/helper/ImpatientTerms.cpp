#include "platform/linux/authorization/helper/Terms.h"

namespace qf::native::helper {

const Terms terms{.patience = std::chrono::milliseconds(500), .plan = std::nullopt};

} // namespace qf::native::helper
