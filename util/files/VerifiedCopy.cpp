#include "platform/Console.h"
#include "platform/FileStreams.h"
#include "platform/foundation/Path.h"
#include "util/files/CopyProgress.h"
#include "util/files/QFFileManager.h"
#include "util/files/ReadBackVerifier.h"
#include "util/files/Services.h"
#include "util/log/QFLog.h"

#include <algorithm>
#include <span>

using filereading::chunkSize;
using platform::systemLog;

namespace {

constexpr std::string_view sourceIsMissing =
    "Error: File %@ doesn't exist. Aborting copy process...";
constexpr std::string_view noDestination =
    "Error: You must have at least one destination. Aborting copy process...";
constexpr std::string_view noDirectory =
    "Unable to copy file %@ - destination directory %@ doesn't exist. Aborting copy process...";
constexpr std::string_view unableToReadSource =
    "Error: Unable to read source file %@. Aborting copy process...";
constexpr std::string_view unableToOpenDestination =
    "Error: Unable to open destination file %@. Aborting copy process...";
constexpr std::string_view copyOutOfMemory = "Error copying file %@ - out of memory";
constexpr std::string_view copyErrorReading = "Error reading file %@ - aborting...";
constexpr std::string_view errorWriting = "Error writing file %@: %i";
constexpr std::string_view sizeDiffers =
    "Error: copied file size does not match original source %@";
constexpr std::string_view errorSettingMetadata = "Error setting metadata for file %@ - %@";

constexpr std::string_view copyOperation =
    "copyFileWithProgress:destinations:verificationType:delegate:object:object:";

constexpr platform::Timeout timeForADirectory{10};

/// Returns the attributes of the item that a path leads to, following links; no value if it does
/// not exist.
std::optional<platform::ItemAttributes> attributesFollowingLinks(std::string path) {
    constexpr int mostLinks = 40;
    for (int links = 0; links <= mostLinks; ++links) {
        const auto attributes = fileSystem().attributesOfItem(path);
        if (!attributes || attributes->kind != platform::ItemKind::link) {
            return attributes;
        }
        const auto target = fileSystem().destinationOfSymbolicLink(path).value_or("");
        path = target.starts_with('/')
                   ? target
                   : platform::path::appending(platform::path::deletingLastComponent(path), target);
    }
    return std::nullopt;
}

FileCopySettings settingsOf(const std::string& source, const std::vector<std::string>& destinations,
                            const std::shared_ptr<FileCopyDelegate>& delegate,
                            const platform::Value& object, const platform::Value& object2) {
    auto settings = std::make_shared<platform::SharedDictionary>();
    settings->set("source", source);
    settings->set("destinations", platform::Value::Array(destinations.begin(), destinations.end()));
    settings->set("operationtype", "copy");
    if (delegate != nullptr) {
        settings->set("delegate", platform::Value::Object(delegate));
    }
    if (!object.isNone()) {
        settings->set("object", object);
    }
    if (!object2.isNone()) {
        settings->set("object2", object2);
    }
    return settings;
}

struct Destination {
    std::string path;
    std::unique_ptr<platform::FileStream> file;
    ReadBackVerifier::OwnDigest digest;
};

/// One run of a copy: the steps in order, and what they pass on.
class VerifiedCopy {
public:
    VerifiedCopy(const std::string& source, const std::vector<std::string>& destinations,
                 VerificationType type, const std::shared_ptr<FileCopyDelegate>& delegate,
                 const FileCopySettings& settings)
        : source_(source), settings_(settings), progress_(delegate, settings), verifier_(type) {
        destinations_.reserve(destinations.size());
        for (const auto& path : destinations) {
            destinations_.push_back({.path = path});
        }
    }

    bool run() {
        if (!hasSourceAndDestinations() || !makeDirectories() || !openSource()) {
            return false;
        }
        measureSource();
        if (!openDestinations() || !prepareBuffers() || !copyChunks()) {
            return false;
        }
        closeFiles();
        if (progress_.isCancelled() || !isComplete()) {
            return false;
        }
        progress_.reportEnd(copied_);
        compareChecksums();
        setDates();
        progress_.reportFinish();
        return true;
    }

private:
    bool hasSourceAndDestinations() const {
        if (!QFFileManager::fileExistsAtPath(source_)) {
            systemLog(sourceIsMissing, source_);
            return false;
        }
        if (destinations_.empty()) {
            systemLog(noDestination);
            return false;
        }
        return true;
    }

    bool makeDirectories() const {
        return std::ranges::all_of(destinations_, [this](const auto& destination) {
            const auto directory = platform::path::deletingLastComponent(destination.path);
            if (QFFileManager::fileExistsAtPath(directory) ||
                QFFileManager::createDirectory(directory, timeForADirectory)) {
                return true;
            }
            systemLog(noDirectory, source_, directory);
            return false;
        });
    }

    bool openSource() {
        file_ = streams().openForReading(source_);
        if (file_ == nullptr) {
            systemLog(unableToReadSource, source_);
            return false;
        }
        return true;
    }

    /// A source that has vanished since counts as empty and without dates.
    void measureSource() {
        attributes_ = attributesFollowingLinks(source_).value_or(platform::ItemAttributes());
        progress_.setSourceSize(attributes_.size);
    }

    bool openDestinations() {
        for (auto& destination : destinations_) {
            destination.file =
                streams().openForUpdating(destination.path, file_->identity(), attributes_.size);
            if (destination.file == nullptr) {
                systemLog(unableToOpenDestination, destination.path);
                return false;
            }
        }
        return true;
    }

    bool prepareBuffers() {
        buffer_ = filereading::makeBuffer();
        if (!verifier_.prepare() || buffer_ == nullptr) {
            QFLog::appendLogAndPrint(copyOutOfMemory, source_);
            return false;
        }
        return true;
    }

    bool copyChunks() {
        do {
            const auto count = file_->read({buffer_.get(), chunkSize});
            if (count == 0) {
                return endsHere();
            }
            copyChunk({buffer_.get(), count});
            copied_ += count;
            progress_.advance(copied_);
        } while (!progress_.isCancelled() && !file_->isAtEnd());
        return true;
    }

    /// Handles a read of zero bytes: the source is at its end, or cannot be read.
    bool endsHere() const {
        if (!file_->isAtEnd()) {
            QFLog::appendLogAndPrint(copyErrorReading, source_);
            return false;
        }
        return true;
    }

    void copyChunk(std::span<const std::byte> chunk) {
        for (auto& [path, file, digest] : destinations_) {
            if (progress_.isCancelled()) {
                return;
            }
            if (file->write(chunk) < chunk.size()) {
                systemLog(errorWriting, path, file->errorIndicator());
            }
            if (verifier_.isOn()) {
                verifier_.check(*file, path, chunk, copied_, digest);
            }
        }
        verifier_.addToSource(chunk);
    }

    void closeFiles() {
        file_.reset();
        for (auto& destination : destinations_) {
            destination.file.reset();
        }
    }

    bool isComplete() const {
        if (copied_ < attributes_.size) {
            systemLog(sizeDiffers, source_);
            return false;
        }
        return true;
    }

    void compareChecksums() {
        if (!verifier_.isOn()) {
            return;
        }
        const auto sourceChecksum = verifier_.sourceChecksum();
        if (sourceChecksum) {
            settings_->set("sourceChecksum", *sourceChecksum);
        }
        platform::Value::Array checksums;
        for (const auto& destination : destinations_) {
            const auto checksum = verifier_.checksum(destination.digest);
            if (checksum) {
                checksums.emplace_back(*checksum);
            }
            if (!checksum || checksum != sourceChecksum) {
                progress_.reportFailure(destination.path, checksum);
            }
        }
        settings_->set("destChecksums", std::move(checksums));
    }

    /// If the source has no creation date, the copies keep their own dates, on purpose.
    void setDates() const {
        if (!attributes_.creationDate) {
            return;
        }
        for (const auto& destination : destinations_) {
            const auto created =
                fileSystem().setCreationDate(destination.path, *attributes_.creationDate);
            const auto modified =
                fileSystem().setModificationDate(destination.path, attributes_.modificationDate);
            if (const auto& both = created ? modified : created; !both) {
                systemLog(errorSettingMetadata, destination.path,
                          both.error().localizedDescription);
            }
        }
    }

    static platform::FileStreams& streams() { return platform::service<platform::FileStreams>(); }

    const std::string& source_;
    const FileCopySettings settings_;
    CopyProgress progress_;
    ReadBackVerifier verifier_;

    std::vector<Destination> destinations_;
    std::unique_ptr<platform::FileStream> file_;
    platform::ItemAttributes attributes_;
    filereading::Buffer buffer_;
    std::uint64_t copied_ = 0;
};

} // namespace

bool QFFileManager::copyFileWithProgress(const std::string& source,
                                         const std::vector<std::string>& destinations,
                                         VerificationType verificationType,
                                         const std::shared_ptr<FileCopyDelegate>& delegate,
                                         const platform::Value& object,
                                         const platform::Value& object2) {
    try {
        const auto settings = settingsOf(source, destinations, delegate, object, object2);
        return VerifiedCopy(source, destinations, verificationType, delegate, settings).run();
    } catch (const platform::Exception& exception) {
        QFException::logException(exception, copyOperation);
        return false;
    }
}

bool QFFileManager::copyFileWithProgress(const std::string& source, const std::string& destination,
                                         const std::shared_ptr<FileCopyDelegate>& delegate,
                                         const platform::Value& object) {
    return copyFileWithProgress(source, destination, delegate, object, {});
}

bool QFFileManager::copyFileWithProgress(const std::string& source, const std::string& destination,
                                         const std::shared_ptr<FileCopyDelegate>& delegate,
                                         const platform::Value& object,
                                         const platform::Value& object2) {
    return copyFileWithProgress(source, std::vector{destination}, VerificationType::none, delegate,
                                object, object2);
}
