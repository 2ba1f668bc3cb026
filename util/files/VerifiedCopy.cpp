#include "platform/Console.h"
#include "platform/FileStreams.h"
#include "platform/foundation/Path.h"
#include "util/files/CopyDestination.h"
#include "util/files/CopyProgress.h"
#include "util/files/Failures.h"
#include "util/files/QFFileManager.h"
#include "util/files/ReadBackVerifier.h"
#include "util/files/Services.h"
#include "util/log/QFLog.h"

#include <algorithm>
#include <optional>
#include <span>
#include <utility>

using qf::systemLog;
using qf::filereading::chunkSize;

namespace {

constexpr std::string_view sourceIsMissing =
    "Error: File %@ doesn't exist. Aborting copy process...";
constexpr std::string_view noDestination =
    "Error: You must have at least one destination. Aborting copy process...";
constexpr std::string_view unableToReadSource =
    "Error: Unable to read source file %@. Aborting copy process...";
constexpr std::string_view copyOutOfMemory = "Error copying file %@ - out of memory";
constexpr std::string_view copyErrorReading = "Error reading file %@ - aborting...";
constexpr std::string_view sizeDiffers =
    "Error: copied file size does not match original source %@";

constexpr std::string_view copyOperation =
    "copyFileWithProgress:destinations:verificationType:delegate:object:object:";

/// How many bytes of each verified destination are copied between two requests to begin writing
/// them to the medium: enough to be worth a request, few enough that the medium is never idle.
constexpr std::uint64_t syncInterval = 8'388'608;

/// Returns the attributes of the item that a path leads to, following links; no value if it does
/// not exist.
std::optional<qf::ItemAttributes> attributesFollowingLinks(std::string path) {
    constexpr int mostLinks = 40;
    for (int links = 0; links <= mostLinks; ++links) {
        const auto attributes = qf::fileSystem().attributesOfItem(path);
        if (!attributes || attributes->kind != qf::ItemKind::link) {
            return attributes;
        }
        const auto target = qf::fileSystem().destinationOfSymbolicLink(path).value_or("");
        path = target.starts_with('/')
                   ? target
                   : qf::path::appending(qf::path::deletingLastComponent(path), target);
    }
    return std::nullopt;
}

qf::FileCopySettings settingsOf(const std::string& source,
                                const std::vector<std::string>& destinations,
                                const std::shared_ptr<qf::FileCopyDelegate>& delegate,
                                const qf::Value& object, const qf::Value& object2) {
    auto settings = std::make_shared<qf::SharedDictionary>();
    settings->set("source", source);
    settings->set("destinations", qf::Value::Array(destinations.begin(), destinations.end()));
    settings->set("operationtype", "copy");
    if (delegate != nullptr) {
        settings->set("delegate", qf::Value::Object(delegate));
    }
    if (!object.isNone()) {
        settings->set("object", object);
    }
    if (!object2.isNone()) {
        settings->set("object2", object2);
    }
    return settings;
}

/// One run of a copy: the steps in order, and what they pass on.
class VerifiedCopy {
public:
    VerifiedCopy(const std::string& source, const std::vector<std::string>& destinations,
                 const qf::FileCopyOptions& options,
                 const std::shared_ptr<qf::FileCopyDelegate>& delegate,
                 const qf::FileCopySettings& settings)
        : source_(source), settings_(settings), progress_(delegate, settings),
          verifier_(options.verificationType), options_(options) {
        destinations_.reserve(destinations.size());
        for (const auto& path : destinations) {
            destinations_.emplace_back(path, options);
        }
    }

    /// Returns whether all of the source was read.
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
        if (options_.filling == qf::Filling::inPlace) {
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
    std::vector<qf::FileCopyOutcome> outcomes(bool succeeded) const {
        std::vector<qf::FileCopyOutcome> outcomes;
        for (const auto& destination : destinations_) {
            const bool isGood = succeeded && !destination.hasFailed();
            outcomes.push_back(isGood ? qf::FileCopyOutcome::copied : destination.outcome());
        }
        return outcomes;
    }

    /// Returns why the copy ended early; no value if it did not, or was cancelled.
    const std::optional<qf::Error>& error() const { return error_; }

private:
    /// Ends the copy with a reason.
    bool abort(std::string why) {
        error_ = qf::fileFailure(std::move(why)).error();
        return false;
    }

    /// The same with a line in the system log.
    template <class... Arguments>
    bool abortWithLine(std::string_view why, const Arguments&... arguments) {
        systemLog(why, arguments...);
        return abort(qf::format(why, arguments...));
    }

    /// The same for a step about a destination, which has told the system log.
    bool isDone(const qf::Result<void>& step) {
        if (!step) {
            error_ = step.error();
        }
        return step.ok();
    }

    bool hasSourceAndDestinations() {
        if (!QFFileManager::fileExistsAtPath(source_)) {
            return abortWithLine(sourceIsMissing, source_);
        }
        return !destinations_.empty() || abortWithLine(noDestination);
    }

    bool makeDirectories() {
        return std::ranges::all_of(destinations_, [this](auto& destination) {
            return isDone(destination.makeDirectory(source_));
        });
    }

    bool openSource() {
        auto opened = qf::service<qf::FileStreams>().openForReading(source_);
        if (!opened) {
            return abortWithLine(unableToReadSource, source_);
        }
        file_ = *std::move(opened);
        return true;
    }

    /// A source that has vanished since counts as empty and without dates.
    void measureSource() {
        attributes_ = attributesFollowingLinks(source_).value_or(qf::ItemAttributes());
        progress_.setSourceSize(attributes_.size);
    }

    bool openDestinations() {
        return std::ranges::all_of(destinations_, [this](auto& destination) {
            return isDone(destination.open(*file_, attributes_.size));
        });
    }

    bool emptyDestinations() {
        return std::ranges::all_of(destinations_, [this](auto& destination) {
            return isDone(destination.makeEmpty(*file_));
        });
    }

    void keepMetadata() {
        for (auto& destination : destinations_) {
            destination.keepMetadata(*file_);
        }
    }

    bool prepareBuffers() {
        buffer_ = qf::filereading::makeBuffer();
        if (!verifier_.prepare() || buffer_ == nullptr) {
            QFLog::appendLogAndPrint(copyOutOfMemory, source_);
            return abort(qf::format(copyOutOfMemory, source_));
        }
        return true;
    }

    /// A former copy is emptied only when the source has proved readable.
    bool copyChunks() {
        do {
            const auto count = file_->read({buffer_.get(), chunkSize});
            if (count == 0 && !file_->isAtEnd()) {
                QFLog::appendLogAndPrint(copyErrorReading, source_);
                return abort(qf::format(copyErrorReading, source_));
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
            destination.write(chunk, copied_);
            if (verifier_.isOn()) {
                verify(chunk, destination);
            }
        }
        verifier_.addToSource(chunk);
    }

    void verify(std::span<const std::byte> chunk, qf::CopyDestination& destination) {
        auto& file = destination.file();
        if ((copied_ + chunk.size()) % syncInterval == 0) {
            file.beginSync();
        }
        verifier_.check(file, destination.path(), chunk, copied_, destination.digest());
    }

    /// Writes every destination through to its medium, all media at a time, and if requested
    /// compares what the media hold.
    void verifyMedia() {
        if (progress_.isCancelled()) {
            return;
        }
        for (auto& destination : destinations_) {
            destination.file().beginSync();
        }
        for (auto& destination : destinations_) {
            if (destination.sync() && options_.fromMedium == qf::FromMedium::yes) {
                verifier_.checkAgain(destination.file(), destination.digest());
            }
        }
    }

    void closeFiles() {
        file_.reset();
        for (auto& destination : destinations_) {
            destination.close();
        }
    }

    bool isComplete() { return copied_ >= attributes_.size || abortWithLine(sizeDiffers, source_); }

    void compareChecksums() {
        if (!verifier_.isOn()) {
            return;
        }
        const auto sourceChecksum = verifier_.sourceChecksum();
        if (sourceChecksum) {
            settings_->set("sourceChecksum", *sourceChecksum);
        }
        qf::Value::Array checksums;
        for (auto& destination : destinations_) {
            const auto checksum = verifier_.checksum(destination.digest());
            if (checksum) {
                checksums.emplace_back(*checksum);
            }
            const bool isSame = checksum && checksum == sourceChecksum;
            if (!isSame) {
                destination.fail(qf::FileCopyOutcome::different);
            }
            if (!isSame || !destination.isSynced()) {
                progress_.reportFailure(destination.path(), checksum);
            }
        }
        settings_->set("destChecksums", std::move(checksums));
    }

    void nameCopies() {
        if (options_.filling == qf::Filling::inPlace) {
            return;
        }
        for (auto& destination : destinations_) {
            destination.takeName();
        }
        closeFiles();
    }

    /// If the source has no creation date, the copies keep their own dates, on purpose.
    void setDates() const {
        if (!attributes_.creationDate) {
            return;
        }
        for (const auto& destination : destinations_) {
            destination.setDates(attributes_);
        }
    }

    const std::string& source_;
    const qf::FileCopySettings settings_;
    qf::CopyProgress progress_;
    qf::ReadBackVerifier verifier_;
    const qf::FileCopyOptions options_;

    std::vector<qf::CopyDestination> destinations_;
    std::unique_ptr<qf::FileStream> file_;
    qf::ItemAttributes attributes_;
    qf::filereading::Buffer buffer_;
    std::uint64_t copied_ = 0;
    std::optional<qf::Error> error_;
};

} // namespace

qf::FileCopyResult QFFileManager::copyFileWithResult(
    const std::string& source, const std::vector<std::string>& destinations,
    const qf::FileCopyOptions& options, const std::shared_ptr<qf::FileCopyDelegate>& delegate,
    const qf::Value& object, const qf::Value& object2) {
    VerifiedCopy copy(source, destinations, options, delegate,
                      settingsOf(source, destinations, delegate, object, object2));
    try {
        const bool succeeded = copy.run();
        return {succeeded, copy.outcomes(succeeded), copy.error()};
    } catch (const qf::Exception& exception) {
        QFException::logException(exception, copyOperation);
        return {false, copy.outcomes(false), qf::fileFailure(exception.reason()).error()};
    }
}

bool QFFileManager::copyFileWithProgress(const std::string& source,
                                         const std::vector<std::string>& destinations,
                                         qf::VerificationType verificationType,
                                         const std::shared_ptr<qf::FileCopyDelegate>& delegate,
                                         const qf::Value& object, const qf::Value& object2) {
    return copyFileWithResult(source, destinations, {.verificationType = verificationType},
                              delegate, object, object2)
        .succeeded;
}

bool QFFileManager::copyFileWithProgress(const std::string& source, const std::string& destination,
                                         const std::shared_ptr<qf::FileCopyDelegate>& delegate,
                                         const qf::Value& object) {
    return copyFileWithProgress(source, destination, delegate, object, {});
}

bool QFFileManager::copyFileWithProgress(const std::string& source, const std::string& destination,
                                         const std::shared_ptr<qf::FileCopyDelegate>& delegate,
                                         const qf::Value& object, const qf::Value& object2) {
    return copyFileWithProgress(source, std::vector{destination}, qf::VerificationType::none,
                                delegate, object, object2);
}
