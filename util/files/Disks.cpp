#include "platform/Console.h"
#include "platform/PropertyLists.h"
#include "platform/Services.h"
#include "platform/Workspace.h"
#include "util/files/QFFileManager.h"
#include "util/task/QFTaskEx.h"

#include <chrono>
#include <string_view>
#include <utility>

namespace {

constexpr std::string_view root = "/";
constexpr std::string_view volumesDirectory = "/Volumes";

constexpr const char* diskutilTool = "/usr/sbin/diskutil";
constexpr auto patience = std::chrono::seconds(5);
constexpr std::string_view errorConverting = "Error converting diskutil output: %@";
constexpr std::string_view noPropertyList =
    "The data couldn’t be read because it isn’t a property list.";

} // namespace

std::optional<std::string> QFFileManager::volumeMountPointForPath(const std::string& path) {
    for (auto& volume : qf::service<qf::Workspace>().mountedLocalVolumePaths()) {
        if (volume != root && (path == volume || path.starts_with(volume + "/"))) {
            return std::move(volume);
        }
    }
    return path.starts_with(volumesDirectory) ? std::nullopt : std::optional(std::string(root));
}

qf::Value QFFileManager::infoForDiskAtMountpoint(const std::string& mountpoint) {
    const auto output =
        QFTaskEx::dataFromTask(diskutilTool, {"info", "-plist", mountpoint}, patience);
    if (!output || output->bytes.empty()) {
        return {};
    }
    const std::string_view text(reinterpret_cast<const char*>(output->bytes.data()),
                                output->bytes.size());
    auto info = qf::service<qf::PropertyLists>().parse(text);
    if (info.isNone()) {
        qf::systemLog(errorConverting, noPropertyList);
    }
    return info;
}
