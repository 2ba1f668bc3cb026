#include "platform/linux/process/ToolOverlay.h"

#include "platform/linux/process/Installation.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <mutex>
#include <string_view>
#include <utility>

namespace qf::native {

namespace {

namespace fs = std::filesystem;

std::string installedOverlay() {
    const auto directory = installationDirectory();
    return directory.empty() ? directory : directory + "/tools";
}

struct Overlay {
    std::mutex mutex;
    std::string directory = installedOverlay();
};

/// Never destroyed: detached threads may still launch tools while the process ends.
Overlay& overlay() {
    static auto& instance = *new Overlay;
    return instance;
}

/// Returns whether the path is absolute, without ".", ".." and empty components.
bool leadsStraightDown(std::string_view path) {
    if (!path.starts_with('/')) {
        return false;
    }
    while (!path.empty()) {
        path.remove_prefix(1);
        const auto name = path.substr(0, path.find('/'));
        if (name.empty() || name == "." || name == "..") {
            return false;
        }
        path.remove_prefix(name.size());
    }
    return true;
}

bool isProgram(const std::string& path) {
    std::error_code error;
    return fs::is_regular_file(path, error) &&
           ::faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS) == 0;
}

} // namespace

std::string resolveTool(const std::string& path) {
    std::string standIn;
    {
        const std::lock_guard lock(overlay().mutex);
        standIn = overlay().directory;
    }
    if (standIn.empty() || !leadsStraightDown(path)) {
        return path;
    }
    standIn += path;
    return isProgram(standIn) ? standIn : path;
}

std::string setToolOverlay(std::string directory) {
    const std::lock_guard lock(overlay().mutex);
    return std::exchange(overlay().directory, std::move(directory));
}

} // namespace qf::native
