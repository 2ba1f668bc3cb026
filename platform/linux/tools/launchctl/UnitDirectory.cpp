#include "platform/linux/tools/launchctl/UnitDirectory.h"

#include "platform/foundation/Path.h"
#include "platform/linux/files/AtomicFile.h"
#include "platform/linux/posix/Directories.h"
#include "platform/linux/tools/Tool.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace qf::native::launchctl {

namespace {

using tool::ToolError;

namespace fs = std::filesystem;

constexpr std::size_t largestUnit = std::size_t{4} * 1024 * 1024;

void require(const SystemResult<void>& result, const std::string& path) {
    if (!result) {
        throw ToolError(path + ": " + std::generic_category().message(result.error().number()));
    }
}

void require(const std::error_code& error, const std::string& path) {
    if (error) {
        throw ToolError(path + ": " + error.message());
    }
}

fs::file_type typeOf(const fs::path& path) {
    std::error_code error;
    const auto type = fs::symlink_status(path, error).type();
    if (type == fs::file_type::none) {
        require(error, path);
    }
    return type;
}

bool exists(const fs::path& path) {
    return typeOf(path) != fs::file_type::not_found;
}

/// Returns the text of a unit file; an empty one for anything else at the path, including links.
/// Throws a ToolError if it cannot be read.
std::string textOfUnit(const fs::path& path) {
    if (typeOf(path) != fs::file_type::regular) {
        return {};
    }
    if (auto text = readFile(path.string(), largestUnit)) {
        return *std::move(text);
    }
    std::error_code error;
    if (fs::file_size(path, error) <= largestUnit && !error) {
        throw ToolError(path.string() + ": Could not be read");
    }
    return {};
}

std::vector<fs::path> entriesOf(const std::string& directory) {
    std::error_code error;
    std::vector<fs::path> entries;
    for (fs::directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error)) {
        entries.push_back(entry->path());
    }
    if (error != std::errc::no_such_file_or_directory) {
        require(error, directory);
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

void makeDirectory(const std::string& path) {
    constexpr mode_t mode = 0755;
    require(makeDirectories(path, mode), path);
}

/// Leaves a directory that is not empty, and a link to a directory.
bool removeEmptyDirectory(const std::string& path) {
    return ::rmdir(path.c_str()) == 0;
}

} // namespace

std::vector<std::string> UnitDirectory::unitsOf(const std::string& label) const {
    auto names = unitNames(label);
    std::erase_if(names,
                  [&](const auto& name) { return labelOfUnit(textOfUnit(pathOf(name))) != label; });
    return names;
}

bool UnitDirectory::has(const std::string& unit) const {
    return exists(pathOf(unit));
}

bool UnitDirectory::isLoaded(const std::string& label) const {
    const auto units = unitsOf(label);
    const auto service = unitNames(label).back();
    return std::find(units.begin(), units.end(), service) != units.end() &&
           std::all_of(units.begin(), units.end(), [&](const auto& unit) {
               const auto target = targetOfUnit(textOfUnit(pathOf(unit)));
               return target.empty() || exists(linkOf(unit, target));
           });
}

std::vector<std::string> UnitDirectory::loadedLabels() const {
    std::vector<std::string> labels;
    for (const auto& entry : entriesOf(path_)) {
        if (entry.extension() != ".service") {
            continue;
        }
        if (auto label = labelOfUnit(textOfUnit(entry)); !label.empty() && isLoaded(label)) {
            labels.push_back(std::move(label));
        }
    }
    return labels;
}

void UnitDirectory::write(const std::vector<UnitFile>& units) const {
    makeDirectory(path_);
    std::for_each(units.rbegin(), units.rend(), [this](const auto& unit) {
        require(replaceFile(pathOf(unit.name), unit.text), pathOf(unit.name));
    });
}

void UnitDirectory::writeLinks(const std::vector<UnitFile>& units) const {
    for (const auto& unit : units) {
        if (unit.wantedBy.empty()) {
            continue;
        }
        const auto link = linkOf(unit.name, unit.wantedBy);
        makeDirectory(path::deletingLastComponent(link));
        std::error_code error;
        fs::remove(link, error);
        fs::create_symlink(pathOf(unit.name), link, error);
        require(error, link);
    }
}

void UnitDirectory::removeLinks(const std::vector<std::string>& units) const {
    for (const auto& directory : entriesOf(path_)) {
        std::error_code unknown;
        if (directory.extension() != ".wants" || !fs::is_directory(directory, unknown)) {
            continue;
        }
        bool removed = false;
        for (const auto& unit : units) {
            std::error_code error;
            removed = fs::remove(directory / unit, error) || removed;
            require(error, directory / unit);
        }
        if (removed) {
            removeEmptyDirectory(directory);
        }
    }
}

void UnitDirectory::remove(const std::vector<std::string>& units) const {
    std::for_each(units.rbegin(), units.rend(), [this](const auto& unit) {
        std::error_code error;
        fs::remove(pathOf(unit), error);
        require(error, pathOf(unit));
    });
}

void UnitDirectory::removeIfEmpty() const {
    if (removeEmptyDirectory(path_)) {
        removeEmptyDirectory(path::deletingLastComponent(path_));
    }
}

} // namespace qf::native::launchctl
