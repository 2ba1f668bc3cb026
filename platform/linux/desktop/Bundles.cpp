#include "platform/linux/desktop/Bundles.h"

#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "platform/linux/posix/Directory.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace platform::native {

namespace {

constexpr std::array<std::string_view, 24> packageExtensions{
    "app",   "appex",      "bundle",       "component",   "framework", "fcpbundle",
    "kext",  "mdimporter", "mpkg",         "nib",         "osax",      "photoslibrary",
    "pkg",   "plugin",     "prefpane",     "qlgenerator", "rtfd",      "saver",
    "scptd", "service",    "sparsebundle", "wdgt",        "workflow",  "xpc"};

constexpr int deepestFolder = 8;

bool isDirectory(const std::string& path, int flags) {
    struct stat status {};
    return ::fstatat(AT_FDCWD, path.c_str(), &status, flags) == 0 && S_ISDIR(status.st_mode);
}

std::string informationFile(const std::string& bundle) {
    return path::appending(bundle, "Contents/Info.plist");
}

bool looksLikePackage(const std::string& folder) {
    const auto extension = text::lowercased(path::extension(folder));
    if (std::find(packageExtensions.begin(), packageExtensions.end(), extension) !=
        packageExtensions.end()) {
        return true;
    }
    struct stat status {};
    return ::lstat(informationFile(folder).c_str(), &status) == 0;
}

std::vector<std::string> sortedNames(const std::string& folder) {
    std::vector<std::string> names;
    auto opening = opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC));
    if (!opening) {
        return names;
    }
    auto directory = Directory::of(*std::move(opening));
    while (directory) {
        auto entry = directory->next();
        if (!entry || !*entry) {
            break;
        }
        names.push_back(std::move((*entry)->name));
    }
    std::sort(names.begin(), names.end());
    return names;
}

class BundleSearch {
public:
    BundleSearch(const std::string& identifier, platform::PropertyLists& propertyLists)
        : identifier_(text::lowercased(identifier)), propertyLists_(propertyLists) {}

    std::optional<std::string> search(const std::string& folder, int foldersLeft) const {
        for (const auto& name : sortedNames(folder)) {
            const auto item = path::appending(folder, name);
            if (!isDirectory(item, AT_SYMLINK_NOFOLLOW)) {
                continue;
            }
            if (looksLikePackage(item)) {
                if (matches(item)) {
                    return item;
                }
            } else if (foldersLeft > 1) {
                if (auto found = search(item, foldersLeft - 1)) {
                    return found;
                }
            }
        }
        return std::nullopt;
    }

private:
    bool matches(const std::string& bundle) const {
        return text::lowercased(bundleIdentifier(bundle, propertyLists_)) == identifier_;
    }

    std::string identifier_;
    platform::PropertyLists& propertyLists_;
};

} // namespace

bool isPackage(const std::string& path) {
    return isDirectory(path, 0) && looksLikePackage(path);
}

Value bundleInformation(const std::string& bundle, platform::PropertyLists& propertyLists) {
    return propertyLists.read(informationFile(bundle));
}

std::string identifierIn(const Value& information) {
    const auto* identifier = information["CFBundleIdentifier"].as<std::string>();
    return identifier == nullptr ? std::string() : *identifier;
}

std::string bundleIdentifier(const std::string& bundle, platform::PropertyLists& propertyLists) {
    return identifierIn(bundleInformation(bundle, propertyLists));
}

std::optional<std::string> findBundle(const std::string& folder, const std::string& identifier,
                                      platform::PropertyLists& propertyLists) {
    return BundleSearch(identifier, propertyLists).search(folder, deepestFolder);
}

} // namespace platform::native
