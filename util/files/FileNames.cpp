#include "util/files/FileNames.h"

#include "platform/foundation/Format.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "util/files/QFFileManager.h"

#include <string_view>

namespace {

constexpr std::string_view numberFormat = " %li";

} // namespace

std::string qf::numberedFilename(const std::string& path) {
    const auto stem = path::deletingExtension(path);
    const auto extension = path::extension(path);
    for (long number = 2;; ++number) {
        auto candidate = stem + qf::format(numberFormat, number);
        if (!extension.empty()) {
            candidate += "." + extension;
        }
        if (!QFFileManager::fileExistsAtPath(candidate)) {
            return candidate;
        }
    }
}

std::string QFFileManager::uniqueFilename(const std::string& path) {
    return fileExistsAtPath(path) ? qf::numberedFilename(path) : path;
}

std::string QFFileManager::validateFilename(const std::string& filename) {
    if (filename == ".") {
        return {};
    }
    const auto visible = std::string_view(filename).substr(filename.starts_with('.') ? 1 : 0);
    std::string valid(qf::text::trimmed(visible));
    std::erase_if(valid, [](char character) { return character == '/' || character == ':'; });
    return valid;
}
