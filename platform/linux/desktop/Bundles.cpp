#include "platform/linux/desktop/Bundles.h"

#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "platform/linux/posix/DirectoryReader.h"
#include "platform/linux/posix/LongPath.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace qf::native {

namespace {

constexpr std::array<std::string_view, 24> packageExtensions{
    "app",   "appex",      "bundle",       "component",   "framework", "fcpbundle",
    "kext",  "mdimporter", "mpkg",         "nib",         "osax",      "photoslibrary",
    "pkg",   "plugin",     "prefpane",     "qlgenerator", "rtfd",      "saver",
    "scptd", "service",    "sparsebundle", "wdgt",        "workflow",  "xpc"};

constexpr int deepestDirectory = 8;

bool isDirectory(const std::string& path, int flags) {
    struct stat status {};
    const auto found = atPath(path, [&](int directory, const char* rest) {
        return ::fstatat(directory, rest, &status, flags);
    });
    return found && S_ISDIR(status.st_mode);
}

std::string informationFile(const std::string& bundle) {
    return path::appending(bundle, "Contents/Info.plist");
}

bool looksLikePackage(const std::string& directory) {
    const auto extension = text::lowercased(path::extension(directory));
    if (std::find(packageExtensions.begin(), packageExtensions.end(), extension) !=
        packageExtensions.end()) {
        return true;
    }
    struct stat status {};
    return ::lstat(informationFile(directory).c_str(), &status) == 0;
}

std::vector<std::string> sortedNames(const std::string& directory) {
    std::vector<std::string> names;
    auto opening =
        opened(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC));
    if (!opening) {
        return names;
    }
    auto reader = DirectoryReader::of(*std::move(opening));
    while (reader) {
        auto entry = reader->next();
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
    BundleSearch(const std::string& identifier, qf::PropertyLists& propertyLists)
        : identifier_(text::lowercased(identifier)), propertyLists_(propertyLists) {}

    std::optional<std::string> search(const std::string& directory, int directoriesLeft) const {
        for (const auto& name : sortedNames(directory)) {
            const auto item = path::appending(directory, name);
            if (!isDirectory(item, AT_SYMLINK_NOFOLLOW)) {
                continue;
            }
            if (looksLikePackage(item)) {
                if (matches(item)) {
                    return item;
                }
            } else if (directoriesLeft > 1) {
                if (auto found = search(item, directoriesLeft - 1)) {
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
    qf::PropertyLists& propertyLists_;
};

} // namespace

bool isPackage(const std::string& path) {
    return isDirectory(path, 0) && looksLikePackage(path);
}

Value bundleInformation(const std::string& bundle, qf::PropertyLists& propertyLists) {
    return propertyLists.read(informationFile(bundle));
}

std::string identifierIn(const Value& information) {
    const auto* identifier = information["CFBundleIdentifier"].as<std::string>();
    return identifier == nullptr ? std::string() : *identifier;
}

std::string bundleIdentifier(const std::string& bundle, qf::PropertyLists& propertyLists) {
    return identifierIn(bundleInformation(bundle, propertyLists));
}

std::optional<std::string> findBundle(const std::string& directory, const std::string& identifier,
                                      qf::PropertyLists& propertyLists) {
    return BundleSearch(identifier, propertyLists).search(directory, deepestDirectory);
}

} // namespace qf::native
