#include "util/files/QFFileManager.h"

#include "platform/Services.h"
#include "platform/Workspace.h"
#include "platform/foundation/Format.h"
#include "util/files/DirectoryWalk.h"
#include "util/files/Services.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <string_view>

namespace {

/// How sizes below a threshold are shown.
struct SizeStep {
    double below;
    double unit;
    std::string_view format;
};

constexpr double kilobyte = 1024;
constexpr double megabyte = 1024 * kilobyte;
constexpr double gigabyte = 1024 * megabyte;
constexpr double terabyte = 1024 * gigabyte;

constexpr std::array sizeSteps{
    SizeStep{kilobyte, 1, "%0.0f B"},
    SizeStep{megabyte, kilobyte, "%0.2f KB"},
    SizeStep{gigabyte, megabyte, "%0.2f MB"},
    SizeStep{terabyte, gigabyte, "%0.2f GB"},
    SizeStep{std::numeric_limits<double>::infinity(), terabyte, "%0.2f TB"},
};

} // namespace

bool QFFileManager::fileExistsAtPath(const std::string& path) {
    return qf::fileSystem().exists(path);
}

bool QFFileManager::isDirectoryAtPath(const std::string& path) {
    return qf::fileSystem().isDirectory(path);
}

bool QFFileManager::isPackageAtPath(const std::string& path) {
    return qf::service<qf::Workspace>().isFilePackage(path);
}

bool QFFileManager::isSymbolicLinkAtPath(const std::string& path) {
    return qf::fileSystem().destinationOfSymbolicLink(path).has_value();
}

std::optional<qf::Date> QFFileManager::modificationDateForFile(const std::string& path) {
    const auto attributes = qf::fileSystem().attributesOfItem(path);
    return attributes ? std::optional(attributes->modificationDate.nearestDate()) : std::nullopt;
}

std::optional<qf::Date> QFFileManager::creationDateForFile(const std::string& path) {
    const auto attributes = qf::fileSystem().attributesOfItem(path);
    return attributes && attributes->creationDate
               ? std::optional(attributes->creationDate->nearestDate())
               : std::nullopt;
}

std::uint64_t QFFileManager::fileSize(const std::string& path) {
    if (!isDirectoryAtPath(path)) {
        const auto attributes = qf::fileSystem().attributesOfItem(path);
        return attributes ? attributes->size : 0;
    }
    std::uint64_t size = 0;
    qf::DirectoryWalk walk(path, &qf::FileSystem::contentsOfDirectoryWithSizes);
    while (walk.next()) {
        if (walk.descend() == qf::Descent::notADirectory) {
            size += walk.entry().size.value_or(0);
        }
    }
    return size;
}

std::string QFFileManager::formatFileSize(double size) {
    // The last unit has no upper limit.
    const auto* const step =
        std::find_if(sizeSteps.begin(), std::prev(sizeSteps.end()),
                     [size](const SizeStep& candidate) { return size < candidate.below; });
    return qf::format(step->format, size / step->unit);
}

bool QFFileManager::isFileLocked(const std::string& path) {
    const auto attributes = qf::fileSystem().attributesOfItem(path);
    return attributes && attributes->immutable;
}

bool QFFileManager::fileIsOpenForWriting(const std::string& /*path*/) {
    return false;
}
