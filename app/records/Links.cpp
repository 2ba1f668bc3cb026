#include "app/records/Links.h"

#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/foundation/Path.h"

namespace path = qf::path;

namespace records {

std::vector<std::string> linksTo(const std::string& itemPath) {
    std::vector<std::string> links;
    std::string way;
    for (const auto& component : path::components(path::deletingLastComponent(itemPath))) {
        way = path::appending(way, component);
        const auto item = qf::service<qf::FileSystem>().attributesOfItem(way);
        if (item && item->kind == qf::ItemKind::link) {
            links.push_back(way);
        }
    }
    return links;
}

} // namespace records
