#include "app/RunningPrograms.h"

#include "platform/foundation/Exception.h"
#include "util/task/QFTaskEx.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr qf::Timeout toolTimeout{5};

/// Signal 0 reaches the programs that another would reach, and does nothing.
bool isRunning(const std::string& tool, const std::string& name) {
    try {
        return QFTaskEx::terminationCodeFromTask(tool, {"-q", "-0", name}, toolTimeout) == 0;
    } catch (const qf::Exception&) {
        return false;
    }
}

} // namespace

void findRunning(std::vector<InventoryRow>& rows) {
    for (auto& row : rows) {
        if (row.action == PlanAction::kill) {
            std::ranges::copy_if(row.names, std::back_inserter(row.running),
                                 [&](const auto& name) { return isRunning(row.subject, name); });
        }
    }
}
