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
constexpr std::string_view errorKeepingMetadata = "Error setting metadata for file %@: %i";
constexpr std::string_view errorNaming = "Error naming file %@: %i";

constexpr std::string_view copyOperation =
    "copyFileWithProgress:destinations:verificationType:delegate:object:object:";

constexpr platform::Timeout timeForADirectory{10};

/// How many bytes of each verified destination are copied between two requests to begin writing
/// them to the medium: enough to be worth a request, few enough that the medium is never idle.
constexpr std::uint64_t syncInterval = 8'388'608;

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
    bool isSynced = true;
    FileCopyOutcome outcome = FileCopyOutcome::incomplete;

    /// Records what went wrong, unless something did before.
    void fail(FileCopyOutcome failure) {
        if (outcome == FileCopyOutcome::incomplete) {
            outcome = failure;
        }
    }
};

/// One run of a copy: the steps in order, and what they pass on.
class VerifiedCopy {
public:
    VerifiedCopy(const std::string& source, const std::vector<std::string>& destinations,
                 const FileCopyOptions& options, const std::shared_ptr<FileCopyDelegate>& delegate,
                 const FileCopySettings& settings)
        : source_(source), settings_(settings), progress_(delegate, settings),
          verifier_(options.verificationType), options_(options) {
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
        keepMetadata();
        if (verifier_.isOn()) {
            verifyMedia();
        }
        if (options_.filling == Filling::inPlace) {
            closeFiles();
        }
        if (progress_.isCancelled() || !isComplete()) {
            return false;
        }
        progress_.reportEnd(copied_);
        compareChecksums();
        nameCopies();
        setDates();
        progress_.reportFinish();
        return true;
    }

    /// Returns what became of each destination once the copy has ended.
    std::vector<FileCopyOutcome> outcomes(bool succeeded) const {
        std::vector<FileCopyOutcome> outcomes;
        for (const auto& destination : destinations_) {
            const bool isGood = succeeded && destination.outcome == FileCopyOutcome::incomplete;
            outcomes.push_back(isGood ? FileCopyOutcome::copied : destination.outcome);
        }
        return outcomes;
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

    bool makeDirectories() {
        return std::ranges::all_of(destinations_, [this](auto& destination) {
            const auto directory = platform::path::deletingLastComponent(destination.path);
            if (QFFileManager::fileExistsAtPath(directory) ||
                QFFileManager::createDirectory(directory, timeForADirectory)) {
                return true;
            }
            systemLog(noDirectory, source_, directory);
            destination.fail(FileCopyOutcome::unreachable);
            return false;
        });
    }

    bool openSource() {
        auto opened = streams().openForReading(source_);
        if (!opened) {
            systemLog(unableToReadSource, source_);
            return false;
        }
        file_ = *std::move(opened);
        return true;
    }

    /// A source that has vanished since counts as empty and without dates.
    void measureSource() {
        attributes_ = attributesFollowingLinks(source_).value_or(platform::ItemAttributes());
        progress_.setSourceSize(attributes_.size);
    }

    bool openDestinations() {
        for (auto& destination : destinations_) {
            auto opened = open(destination.path);
            if (!opened) {
                return isUnreachable(destination);
            }
            destination.file = *std::move(opened);
        }
        return true;
    }

    platform::OpenedStream open(const std::string& path) const {
        return options_.filling == Filling::aside
                   ? streams().openBeside(path, file_->identity(), attributes_.size)
                   : streams().openForUpdating(path, file_->identity(), attributes_.size);
    }

    /// Empties what was at the destinations before. From then on only those who may read the source
    /// may read the copies, if these keep its metadata.
    bool emptyDestinations() {
        for (auto& destination : destinations_) {
            if (!destination.file->makeEmpty()) {
                return isUnreachable(destination);
            }
            static_cast<void>(keepMetadata(destination));
        }
        return true;
    }

    platform::Result<void, platform::SystemError> keepMetadata(Destination& destination) const {
        if (options_.keepMetadata == KeepMetadata::no) {
            return {};
        }
        return destination.file->copyMetadata(*file_);
    }

    /// Writing takes from a file what would give its users other rights.
    void keepMetadata() {
        for (auto& destination : destinations_) {
            if (const auto kept = keepMetadata(destination); !kept) {
                systemLog(errorKeepingMetadata, destination.path, static_cast<int>(kept.error()));
            }
        }
    }

    static bool isUnreachable(Destination& destination) {
        systemLog(unableToOpenDestination, destination.path);
        destination.fail(FileCopyOutcome::unreachable);
        return false;
    }

    bool prepareBuffers() {
        buffer_ = filereading::makeBuffer();
        if (!verifier_.prepare() || buffer_ == nullptr) {
            QFLog::appendLogAndPrint(copyOutOfMemory, source_);
            return false;
        }
        return true;
    }

    /// A former copy is emptied only when the source has proved readable.
    bool copyChunks() {
        do {
            const auto count = file_->read({buffer_.get(), chunkSize});
            if (count == 0 && !file_->isAtEnd()) {
                QFLog::appendLogAndPrint(copyErrorReading, source_);
                return false;
            }
            if (copied_ == 0 && !emptyDestinations()) {
                return false;
            }
            if (count == 0) {
                return true;
            }
            copyChunk({buffer_.get(), count});
            copied_ += count;
            progress_.advance(copied_);
        } while (!progress_.isCancelled() && !file_->isAtEnd());
        return true;
    }

    void copyChunk(std::span<const std::byte> chunk) {
        for (auto& destination : destinations_) {
            if (progress_.isCancelled()) {
                return;
            }
            write(chunk, destination);
            if (verifier_.isOn()) {
                verifier_.check(*destination.file, destination.path, chunk, copied_,
                                destination.digest);
            }
        }
        verifier_.addToSource(chunk);
    }

    /// Writes a chunk at its own offset, whatever went wrong before. A pipe has no offsets, and
    /// takes the chunk as it comes.
    void write(std::span<const std::byte> chunk, Destination& destination) const {
        auto& file = *destination.file;
        if (file.position() != copied_) {
            static_cast<void>(file.seek(copied_));
        }
        if (file.write(chunk) < chunk.size()) {
            systemLog(errorWriting, destination.path, file.errorIndicator());
            destination.fail(FileCopyOutcome::notWritten);
        }
        if (verifier_.isOn() && (copied_ + chunk.size()) % syncInterval == 0) {
            file.beginSync();
        }
    }

    /// Writes every destination through to its medium, all media at a time, and if requested
    /// compares what the media hold.
    void verifyMedia() {
        if (progress_.isCancelled()) {
            return;
        }
        for (auto& destination : destinations_) {
            destination.file->beginSync();
        }
        for (auto& destination : destinations_) {
            destination.isSynced = destination.file->sync().ok();
            if (!destination.isSynced) {
                destination.fail(FileCopyOutcome::notSynced);
            } else if (options_.fromMedium == FromMedium::yes) {
                verifier_.checkAgain(*destination.file, destination.digest);
            }
        }
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
        for (auto& destination : destinations_) {
            const auto checksum = verifier_.checksum(destination.digest);
            if (checksum) {
                checksums.emplace_back(*checksum);
            }
            const bool isSame = checksum && checksum == sourceChecksum;
            if (!isSame) {
                destination.fail(FileCopyOutcome::different);
            }
            if (!isSame || !destination.isSynced) {
                progress_.reportFailure(destination.path, checksum);
            }
        }
        settings_->set("destChecksums", std::move(checksums));
    }

    /// Gives their names to the good copies of those that were filled aside.
    void nameCopies() {
        if (options_.filling == Filling::inPlace) {
            return;
        }
        for (auto& destination : destinations_) {
            if (destination.outcome != FileCopyOutcome::incomplete) {
                continue;
            }
            if (const auto named = destination.file->takeName(); !named) {
                systemLog(errorNaming, destination.path, static_cast<int>(named.error()));
                destination.fail(FileCopyOutcome::notNamed);
            }
        }
        closeFiles();
    }

    /// If the source has no creation date, the copies keep their own dates, on purpose.
    void setDates() const {
        if (!attributes_.creationDate) {
            return;
        }
        for (const auto& destination : destinations_) {
            if (options_.filling == Filling::aside &&
                destination.outcome != FileCopyOutcome::incomplete) {
                continue; // what is there is a former file
            }
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
    const FileCopyOptions options_;

    std::vector<Destination> destinations_;
    std::unique_ptr<platform::FileStream> file_;
    platform::ItemAttributes attributes_;
    filereading::Buffer buffer_;
    std::uint64_t copied_ = 0;
};

} // namespace

FileCopyResult QFFileManager::copyFileWithResult(const std::string& source,
                                                 const std::vector<std::string>& destinations,
                                                 const FileCopyOptions& options,
                                                 const std::shared_ptr<FileCopyDelegate>& delegate,
                                                 const platform::Value& object,
                                                 const platform::Value& object2) {
    VerifiedCopy copy(source, destinations, options, delegate,
                      settingsOf(source, destinations, delegate, object, object2));
    bool succeeded = false;
    try {
        succeeded = copy.run();
    } catch (const platform::Exception& exception) {
        QFException::logException(exception, copyOperation);
    }
    return {succeeded, copy.outcomes(succeeded)};
}

bool QFFileManager::copyFileWithProgress(const std::string& source,
                                         const std::vector<std::string>& destinations,
                                         VerificationType verificationType,
                                         const std::shared_ptr<FileCopyDelegate>& delegate,
                                         const platform::Value& object,
                                         const platform::Value& object2) {
    return copyFileWithResult(source, destinations, {.verificationType = verificationType},
                              delegate, object, object2)
        .succeeded;
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
