#include "platform/linux/authorization/helper/Terms.h"

namespace qf::native::helper {

const Terms terms{.patience = std::chrono::minutes(5), .plan = std::nullopt};

} // namespace qf::native::helper
