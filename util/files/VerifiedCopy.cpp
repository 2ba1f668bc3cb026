#include "platform/Console.h"
#include "platform/FileStreams.h"
#include "platform/foundation/Path.h"
#include "util/files/FileReading.h"
#include "util/files/QFFileManager.h"
#include "util/files/Services.h"
#include "util/log/QFLog.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <span>

using filereading::callDelegate;
using filereading::callDelegateLater;
using filereading::chunkSize;
using filereading::digestText;
using platform::systemLog;

namespace {

constexpr std::string_view sourceIsMissing =
    "Error: File %@ doesn't exist. Aborting copy process...";
constexpr std::string_view noDestination =
    "Error: You must have at least one destination. Aborting copy process...";
constexpr std::string_view noFolder =
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

// What is said, line by line, when a destination cannot be read back from where it was written.
constexpr std::string_view unableToSeek = "Error: unable to seek within file %@";
constexpr std::string_view currentPosition = "cur pos: %llu";
constexpr std::string_view readSize = "read size: %zu";
constexpr std::string_view systemErrorNumber = "errno: %i";
constexpr std::string_view streamErrorIndicator = "err: %i";

constexpr std::string_view bytesWritten = "fileCopyBytesWritten:settings:";
constexpr std::string_view copyShouldContinue = "fileCopyShouldContinue:";
constexpr std::string_view verificationFailed = "fileCopyVerificationFailed:file:";
constexpr std::string_view finished = "fileCopyFinished:";

/// The least distance between two reports, in bytes: 20 MiB, and more for a file of more than 500
/// times that.
constexpr std::uint64_t leastInterval = 20'971'520;
constexpr std::uint64_t mostReports = 500;

constexpr std::string_view copyOperation =
    "copyFileWithProgress:destinations:verificationType:delegate:object:object:";

constexpr platform::Timeout timeForAFolder{10};

using Chunk = std::span<const std::byte>;

std::optional<platform::DigestContext> contextFor(VerificationType type) {
    switch (type) {
    case VerificationType::md5:
        return MD5Context();
    case VerificationType::sha1:
        return SHA1Context();
    case VerificationType::sha256:
        return SHA256Context();
    case VerificationType::sha512:
        return SHA512Context();
    case VerificationType::none:
        break;
    }
    return std::nullopt;
}

/// The attributes of what a path leads to, through links; nothing when there is nothing.
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

struct Destination {
    std::string path;
    std::unique_ptr<platform::FileStream> file;

    /// The digest of what was read back. There is none while all of it was what was read from the
    /// source: then the source's is its digest, too.
    std::optional<platform::DigestContext> digest;
};

/// One run of a copy: the steps in their order, and what they hand on.
class VerifiedCopy {
public:
    VerifiedCopy(const std::string& source, const std::vector<std::string>& destinations,
                 VerificationType type, const std::shared_ptr<FileCopyDelegate>& delegate)
        : source_(source), type_(type), delegate_(delegate) {
        destinations_.reserve(destinations.size());
        for (const auto& path : destinations) {
            destinations_.push_back({.path = path});
        }
    }

    bool run(const platform::Value& object, const platform::Value& object2) {
        if (!hasSourceAndDestinations() || !makeFolders()) {
            return false;
        }
        makeSettings(object, object2);
        if (!openSource()) {
            return false;
        }
        measureSource();
        if (!openDestinations() || !makeBuffers() || !copyChunks()) {
            return false;
        }
        closeFiles();
        if (*cancelled_ || !isComplete()) {
            return false;
        }
        reportEnd();
        verify();
        setDates();
        reportFinish();
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

    bool makeFolders() const {
        return std::ranges::all_of(destinations_, [this](const auto& destination) {
            const auto folder = platform::path::deletingLastComponent(destination.path);
            if (QFFileManager::fileExistsAtPath(folder) ||
                QFFileManager::createDirectory(folder, timeForAFolder)) {
                return true;
            }
            systemLog(noFolder, source_, folder);
            return false;
        });
    }

    void makeSettings(const platform::Value& object, const platform::Value& object2) {
        platform::Value::Array paths;
        for (const auto& destination : destinations_) {
            paths.emplace_back(destination.path);
        }
        settings_->set("source", source_);
        settings_->set("destinations", std::move(paths));
        settings_->set("operationtype", "copy");
        if (delegate_ != nullptr) {
            settings_->set("delegate", platform::Value::Object(delegate_));
        }
        if (!object.isNone()) {
            settings_->set("object", object);
        }
        if (!object2.isNone()) {
            settings_->set("object2", object2);
        }
    }

    bool openSource() {
        file_ = streams().openForReading(source_);
        if (file_ == nullptr) {
            systemLog(unableToReadSource, source_);
            return false;
        }
        return true;
    }

    /// A source that has vanished since counts as one of no size and without dates.
    void measureSource() {
        attributes_ = attributesFollowingLinks(source_).value_or(platform::ItemAttributes());
        interval_ = std::max(attributes_.size / mostReports, leastInterval);
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
        digest_ = contextFor(type_);
        return true;
    }

    bool makeBuffers() {
        buffer_ = filereading::makeBuffer();
        readBack_ = filereading::makeBuffer();
        if (buffer_ == nullptr || readBack_ == nullptr) {
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
            reportProgress();
        } while (!*cancelled_ && !file_->isAtEnd());
        return true;
    }

    /// Nothing was read: because the source is at its end, or because it cannot be read.
    bool endsHere() const {
        if (!file_->isAtEnd()) {
            QFLog::appendLogAndPrint(copyErrorReading, source_);
            return false;
        }
        return true;
    }

    /// The source's digest comes last, so that what it was before this chunk is at hand for a
    /// destination that differs from here on.
    void copyChunk(Chunk chunk) {
        for (auto& destination : destinations_) {
            if (*cancelled_) {
                return;
            }
            write(destination, chunk);
            if (type_ != VerificationType::none) {
                readBack(destination, chunk);
            }
        }
        if (digest_) {
            digest_->update(chunk);
        }
    }

    static void write(Destination& destination, Chunk chunk) {
        if (destination.file->write(chunk) < chunk.size()) {
            systemLog(errorWriting, destination.path, destination.file->errorIndicator());
        }
    }

    void readBack(Destination& destination, Chunk chunk) {
        auto& file = *destination.file;
        if (!file.seek(copied_)) {
            systemLog(unableToSeek, destination.path);
            systemLog(currentPosition, copied_);
            systemLog(readSize, chunk.size());
            systemLog(systemErrorNumber, file.systemError());
            systemLog(streamErrorIndicator, file.errorIndicator());
        }
        const auto count = file.read({readBack_.get(), chunk.size()});
        if (count < chunk.size()) {
            clearWhatWasNeverRead(count, chunk.size());
        }
        mostReadBack_ = std::max(mostReadBack_, count);
        if (digest_) {
            compare(destination, chunk, count);
        }
    }

    /// What was never read into the buffer counts as zeros.
    void clearWhatWasNeverRead(std::size_t count, std::size_t size) {
        const auto begin = std::max(count, mostReadBack_);
        if (begin < size) {
            std::memset(readBack_.get() + begin, 0, size - begin);
            mostReadBack_ = size;
        }
    }

    /// Comparing costs a fraction of a digest, so a destination gets a digest of its own only when
    /// it differs. Behind the bytes that were read the buffer holds those of an earlier read, which
    /// take the place of the missing ones, on purpose; where they happen to be the same, the first
    /// one is changed, as what could not be read back must not pass for verified.
    void compare(Destination& destination, Chunk chunk, std::size_t count) {
        const auto isSame = [&] {
            return std::memcmp(readBack_.get(), chunk.data(), chunk.size()) == 0;
        };
        if (count < chunk.size() && isSame()) {
            readBack_[count] = ~readBack_[count];
        }
        if (!destination.digest) {
            if (isSame()) {
                return;
            }
            destination.digest = digest_;
        }
        destination.digest->update({readBack_.get(), chunk.size()});
    }

    void reportProgress() {
        if (copied_ - reported_ < interval_) {
            return;
        }
        reported_ = copied_;
        if (answers(&FileCopyDelegate::fileCopyBytesWritten)) {
            callDelegateLater(bytesWritten,
                              [delegate = delegate_, settings = settings_, bytes = copied_] {
                                  delegate->fileCopyBytesWritten(bytes, settings);
                              });
        }
        if (answers(&FileCopyDelegate::fileCopyShouldContinue)) {
            callDelegateLater(copyShouldContinue,
                              [delegate = delegate_, settings = settings_, cancelled = cancelled_] {
                                  if (!delegate->fileCopyShouldContinue(settings)) {
                                      *cancelled = true;
                                  }
                              });
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

    void reportEnd() const {
        if (answers(&FileCopyDelegate::fileCopyBytesWritten)) {
            callDelegate(bytesWritten,
                         [this] { delegate_->fileCopyBytesWritten(copied_, settings_); });
        }
    }

    void verify() {
        if (type_ == VerificationType::none) {
            return;
        }
        std::optional<std::string> sourceChecksum;
        if (digest_) {
            sourceChecksum = digestText(*digest_);
            settings_->set("sourceChecksum", *sourceChecksum);
        }
        platform::Value::Array checksums;
        for (const auto& destination : destinations_) {
            const auto checksum = destination.digest
                                      ? std::optional(digestText(*destination.digest))
                                      : sourceChecksum;
            if (checksum) {
                checksums.emplace_back(*checksum);
            }
            if (!checksum || checksum != sourceChecksum) {
                reportFailure(destination.path, checksum);
            }
        }
        settings_->set("destChecksums", std::move(checksums));
    }

    void reportFailure(const std::string& path, const std::optional<std::string>& checksum) const {
        if (!answers(&FileCopyDelegate::fileCopyVerificationFailed)) {
            return;
        }
        if (checksum) {
            settings_->set("destChecksum", *checksum);
        }
        callDelegate(verificationFailed,
                     [&] { delegate_->fileCopyVerificationFailed(settings_, path); });
    }

    /// A source without a creation date leaves its copies their own dates, on purpose.
    void setDates() const {
        if (!attributes_.creationDate) {
            return;
        }
        for (const auto& destination : destinations_) {
            auto error = fileSystem().setCreationDate(destination.path, *attributes_.creationDate);
            auto second =
                fileSystem().setModificationDate(destination.path, attributes_.modificationDate);
            if (const auto& first = error ? error : second) {
                systemLog(errorSettingMetadata, destination.path, first->localizedDescription);
            }
        }
    }

    void reportFinish() const {
        if (answers(&FileCopyDelegate::fileCopyFinished)) {
            callDelegate(finished, [this] { delegate_->fileCopyFinished(settings_); });
        }
    }

    template <class Operation>
    bool answers(Operation FileCopyDelegate::*operation) const {
        return delegate_ != nullptr && (*delegate_).*operation != nullptr;
    }

    static platform::FileStreams& streams() { return platform::service<platform::FileStreams>(); }

    const std::string& source_;
    std::vector<Destination> destinations_;
    const VerificationType type_;
    const std::shared_ptr<FileCopyDelegate>& delegate_;

    // These outlive the copy for as long as calls of the delegate are under way.
    const FileCopySettings settings_ = std::make_shared<platform::SharedDictionary>();
    const std::shared_ptr<std::atomic<bool>> cancelled_ =
        std::make_shared<std::atomic<bool>>(false);

    std::unique_ptr<platform::FileStream> file_;
    platform::ItemAttributes attributes_;
    std::optional<platform::DigestContext> digest_;
    filereading::Buffer buffer_;
    filereading::Buffer readBack_;
    std::size_t mostReadBack_ = 0; // how much of that buffer was ever filled, in bytes
    std::uint64_t copied_ = 0;
    std::uint64_t reported_ = 0;
    std::uint64_t interval_ = 0;
};

} // namespace

bool QFFileManager::copyFileWithProgress(const std::string& source,
                                         const std::vector<std::string>& destinations,
                                         VerificationType verificationType,
                                         const std::shared_ptr<FileCopyDelegate>& delegate,
                                         const platform::Value& object,
                                         const platform::Value& object2) {
    try {
        return VerifiedCopy(source, destinations, verificationType, delegate).run(object, object2);
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
