#include "util/files/Finder.h"

#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/Workspace.h"
#include "platform/foundation/Format.h"
#include "util/files/QFFileManager.h"
#include "util/task/QFTaskEx.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <deque>
#include <iterator>
#include <map>
#include <mutex>
#include <string_view>

namespace {

constexpr const char* xattrTool = "/usr/bin/xattr";
constexpr const char* fractionCompleted = "com.apple.progress.fractionCompleted";
constexpr std::string_view fractionFormat = "%0.3f";
constexpr std::size_t longPathsKept = 10000;
constexpr float noProgress = -1.0F;

/// The creation date that, beside the attribute, makes file browsers draw a progress bar.
constexpr qf::Date progressDate = std::chrono::sys_days(std::chrono::January / 24 / 1984) +
                                  std::chrono::hours(8); // 1984-01-24 08:00:00 +0000

/// By index, from 1 on.
constexpr std::array<qf::CalibratedColor, 7> labelColors{{
    {.hue = 0.0, .saturation = 0.0, .brightness = 0.72},     // grey
    {.hue = 0.2056, .saturation = 0.5, .brightness = 0.85},  // green
    {.hue = 0.7917, .saturation = 0.26, .brightness = 0.86}, // purple
    {.hue = 0.5789, .saturation = 0.56, .brightness = 0.98}, // blue
    {.hue = 0.1388, .saturation = 0.54, .brightness = 0.95}, // yellow
    {.hue = 0.0083, .saturation = 0.54, .brightness = 1.0},  // red
    {.hue = 0.0888, .saturation = 0.52, .brightness = 0.98}, // orange
}};

/// The paths that are too long for a reference, which then holds a number instead. Only the latest
/// are kept, so that a program that makes references forever does not grow.
class LongPaths {
public:
    std::uint64_t numberOf(const std::string& path) {
        const std::lock_guard lock(mutex_);
        const auto [entry, isNew] = numbers_.try_emplace(path, first_ + paths_.size());
        if (isNew) {
            paths_.push_back(&entry->first);
            if (paths_.size() > longPathsKept) {
                numbers_.erase(numbers_.find(*paths_.front()));
                paths_.pop_front();
                ++first_;
            }
        }
        return entry->second;
    }

    /// Returns no value for a number that no path has.
    std::optional<std::string> path(std::uint64_t number) {
        const std::lock_guard lock(mutex_);
        return number < first_ || number - first_ >= paths_.size()
                   ? std::nullopt
                   : std::optional(*paths_[number - first_]);
    }

private:
    std::mutex mutex_;
    std::uint64_t first_ = 1; ///< The number of the first of `paths_`.
    std::map<std::string, std::uint64_t> numbers_;
    std::deque<const std::string*> paths_;
};

/// Never destroyed: detached threads may outlive main().
LongPaths& longPaths() {
    static auto& instance = *new LongPaths;
    return instance;
}

qf::Workspace& workspace() {
    return qf::service<qf::Workspace>();
}

} // namespace

std::int32_t qf::SendFinderSyncEvent(const qf::FSRef& reference) {
    const auto path = QFFileManager::stringWithFSRef(reference);
    if (!path) {
        return qf::fnfErr;
    }
    const auto noted = workspace().noteFileSystemChanged(*path);
    return noted ? qf::noErr : noted.error();
}

void QFFileManager::notifyFileSystemChanged(const std::string& path) {
    static_cast<void>(qf::SendFinderSyncEvent(stringToFSRef(path)));
}

// The bytes are the path, padded with zeros. For a longer path they are a zero, which begins no
// path, and the path's number.
qf::FSRef QFFileManager::stringToFSRef(const std::string& path) {
    qf::FSRef reference;
    if (path.find('\0') != std::string::npos) {
        return reference;
    }
    if (path.size() <= reference.hidden.size()) {
        std::memcpy(reference.hidden.data(), path.data(), path.size());
    } else {
        const auto number = longPaths().numberOf(path);
        std::memcpy(reference.hidden.data() + 1, &number, sizeof number);
    }
    return reference;
}

std::optional<std::string> QFFileManager::stringWithFSRef(const qf::FSRef& reference) {
    const auto& bytes = reference.hidden;
    if (bytes.front() == std::byte{0}) {
        std::uint64_t number = 0;
        std::memcpy(&number, bytes.data() + 1, sizeof number);
        return longPaths().path(number);
    }
    const auto end = std::find(bytes.begin(), bytes.end(), std::byte{0});
    std::string path(static_cast<std::size_t>(std::distance(bytes.begin(), end)), '\0');
    std::memcpy(path.data(), bytes.data(), path.size());
    return path;
}

int QFFileManager::finderColorIndexForPath(const std::string& path) {
    return workspace().labelNumber(path).value_or(0);
}

void QFFileManager::setFinderColorIndex(int index, const std::optional<std::string>& forPath) {
    if (forPath) {
        static_cast<void>(workspace().setLabelNumber(*forPath, index));
    }
}

std::optional<qf::CalibratedColor> QFFileManager::finderColorForColorIndex(int index) {
    if (index < 1 || index > static_cast<int>(labelColors.size())) {
        return std::nullopt;
    }
    return labelColors.at(static_cast<std::size_t>(index) - 1);
}

std::optional<qf::CalibratedColor> QFFileManager::finderColorForPath(const std::string& path) {
    return finderColorForColorIndex(finderColorIndexForPath(path));
}

void QFFileManager::setFinderProgress(float fraction, const std::string& forFile) {
    auto& fileSystem = qf::service<qf::FileSystem>();
    if (fraction >= 0) {
        QFTaskEx::runTask(xattrTool, {"-w", fractionCompleted,
                                      qf::format(fractionFormat, double{fraction}), forFile});
        static_cast<void>(fileSystem.setCreationDate(forFile, progressDate));
    } else if (fraction < 0) {
        QFTaskEx::runTask(xattrTool, {"-d", fractionCompleted, forFile});
        if (const auto attributes = fileSystem.attributesOfItem(forFile)) {
            static_cast<void>(fileSystem.setCreationDate(forFile, attributes->modificationDate));
        }
    }
}

void QFFileManager::removeFinderProgressForFile(const std::string& path) {
    setFinderProgress(noProgress, path);
}

bool QFFileManager::registerApplicationWithLaunchServices(const std::string& path) {
    return registerApplicationWithLaunchServicesWithResult(path).ok();
}

qf::Result<void, qf::WorkspaceStatus>
QFFileManager::registerApplicationWithLaunchServicesWithResult(const std::string& path) {
    return workspace().registerApplication(path);
}

void QFFileManager::disableFileSystemCachingForFile(const std::string& /*path*/) {
}
