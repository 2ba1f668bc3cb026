#include "app/records/WayBack.h"

#include "app/records/Links.h"
#include "platform/AuthorizationServices.h"
#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/UserAccount.h"

#include <algorithm>

namespace records {

bool isSuperuser() {
    return qf::service<qf::UserAccount>().realUserId() == 0;
}

bool isTaken(const std::string& itemPath) {
    return qf::service<qf::FileSystem>().attributesOfItem(itemPath).has_value();
}

std::string linkOnTheWay(const RecordedStep& step) {
    const auto links = linksTo(step.path);
    const auto isNew = [&](const std::string& link) {
        return std::ranges::find(step.links, link) == step.links.end();
    };
    const auto found = std::ranges::find_if(links, isNew);
    return found == links.end() ? std::string() : *found;
}

bool mayBeOnItsWay(const RecordedStep& step) {
    return step.end && !step.end->place.empty() && !isTaken(step.path) && !isSuperuser() &&
           linkOnTheWay(step).empty() &&
           qf::service<qf::AuthorizationServices>().mayHaveUnfinishedMove(step.path);
}

} // namespace records
