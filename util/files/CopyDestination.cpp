#include "util/files/CopyDestination.h"

#include "platform/Console.h"
#include "platform/foundation/Format.h"
#include "platform/foundation/Path.h"
#include "util/files/Failures.h"
#include "util/files/QFFileManager.h"
#include "util/files/Services.h"

#include <string_view>

namespace qf {

namespace {

constexpr std::string_view noDirectory =
    "Unable to copy file %@ - destination directory %@ doesn't exist. Aborting copy process...";
constexpr std::string_view unableToOpenDestination =
    "Error: Unable to open destination file %@. Aborting copy process...";
constexpr std::string_view errorWriting = "Error writing file %@: %i";
constexpr std::string_view errorSettingMetadata = "Error setting metadata for file %@ - %@";
constexpr std::string_view errorKeepingMetadata = "Error setting metadata for file %@: %i";
constexpr std::string_view errorNaming = "Error naming file %@: %i";

constexpr Timeout timeForADirectory{10};

} // namespace

void CopyDestination::fail(FileCopyOutcome failure) {
    if (!hasFailed()) {
        outcome_ = failure;
    }
}

template <class... Arguments>
Result<void> CopyDestination::isUnreachable(std::string_view why, const Arguments&... arguments) {
    systemLog(why, arguments...);
    fail(FileCopyOutcome::unreachable);
    return fileFailure(format(why, arguments...));
}

Result<void> CopyDestination::makeDirectory(const std::string& source) {
    const auto directory = path::deletingLastComponent(path_);
    if (QFFileManager::fileExistsAtPath(directory) ||
        QFFileManager::createDirectory(directory, timeForADirectory)) {
        return {};
    }
    return isUnreachable(noDirectory, source, directory);
}

Result<void> CopyDestination::open(const FileStream& source, std::uint64_t size) {
    auto& streams = service<FileStreams>();
    auto opened = options_.filling == Filling::aside
                      ? streams.openBeside(path_, source.identity(), size)
                      : streams.openForUpdating(path_, source.identity(), size);
    if (!opened) {
        return isUnreachable(unableToOpenDestination, path_);
    }
    file_ = *std::move(opened);
    return {};
}

Result<void> CopyDestination::makeEmpty(const FileStream& source) {
    if (!file_->makeEmpty()) {
        return isUnreachable(unableToOpenDestination, path_);
    }
    static_cast<void>(copyMetadata(source));
    return {};
}

void CopyDestination::write(std::span<const std::byte> chunk, std::uint64_t offset) {
    if (file_->position() != offset) {
        static_cast<void>(file_->seek(offset));
    }
    if (file_->write(chunk) < chunk.size()) {
        systemLog(errorWriting, path_, file_->errorIndicator());
        fail(FileCopyOutcome::notWritten);
    }
}

void CopyDestination::keepMetadata(const FileStream& source) {
    if (const auto kept = copyMetadata(source); !kept) {
        systemLog(errorKeepingMetadata, path_, static_cast<int>(kept.error()));
    }
}

Result<void, SystemError> CopyDestination::copyMetadata(const FileStream& source) {
    if (options_.keepMetadata == KeepMetadata::no) {
        return {};
    }
    return file_->copyMetadata(source);
}

bool CopyDestination::sync() {
    isSynced_ = file_->sync().ok();
    if (!isSynced_) {
        fail(FileCopyOutcome::notSynced);
    }
    return isSynced_;
}

void CopyDestination::takeName() {
    if (hasFailed()) {
        return;
    }
    if (const auto named = file_->takeName(); !named) {
        systemLog(errorNaming, path_, static_cast<int>(named.error()));
        fail(FileCopyOutcome::notNamed);
    }
}

void CopyDestination::setDates(const ItemAttributes& source) const {
    if (options_.filling == Filling::aside && hasFailed()) {
        return;
    }
    const auto created = fileSystem().setCreationDate(path_, *source.creationDate);
    const auto modified = fileSystem().setModificationDate(path_, source.modificationDate);
    if (const auto& both = created ? modified : created; !both) {
        systemLog(errorSettingMetadata, path_, both.error().localizedDescription);
    }
}

} // namespace qf
