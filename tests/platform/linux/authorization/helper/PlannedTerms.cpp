#include "platform/linux/authorization/helper/Terms.h"

#include <array>

namespace qf::native::helper {

namespace {

using Kind = PlannedItems::Kind;

constexpr auto items = std::to_array<std::string_view>({"item", "other"});
constexpr auto itself = std::to_array<std::string_view>({""});
constexpr auto jobs = std::to_array<std::string_view>({"job"});
constexpr auto applications = std::to_array<std::string_view>({"Player"});

constexpr auto plan = std::to_array<PlannedItems>({
    {Kind::item, "/mnt/machine", "", items, ".plist"},
    {Kind::item, "/mnt/machine", "deep/er/item", itself, ""},
    {Kind::beginning, "/mnt/machine", "Install ", itself, ""},
    {Kind::item, "~/Library", "", items, ".plist"},
    {Kind::job, "~/Library/LaunchAgents", "com.example.", jobs, ".plist"},
    {Kind::application, "", "com.example.", applications, ""},
});

} // namespace

const Terms terms{.patience = std::chrono::minutes(5), .plan = plan};

} // namespace qf::native::helper
