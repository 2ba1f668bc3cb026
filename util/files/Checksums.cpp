#include "platform/Console.h"
#include "platform/FileStreams.h"
#include "util/files/FileReading.h"
#include "util/files/QFFileManager.h"
#include "util/log/QFLog.h"

#include <atomic>
#include <span>
#include <string_view>

using qf::filereading::callDelegateLater;
using qf::filereading::chunkSize;
using qf::filereading::digestText;

namespace {

// Every file is called a destination here, on purpose.
constexpr std::string_view unableToOpen =
    "Error: Unable to open destination file %@. Aborting hash verification...";
constexpr std::string_view checksumOutOfMemory = "Error reading file %@ - out of memory";
constexpr std::string_view checksumErrorReading = "Error reading file %@ - aborting...";

constexpr std::string_view checksumShouldContinue = "checksumShouldContinue:";

/// The delegate is asked whenever an exact multiple of this many bytes, 50 MiB, has been read.
/// After a short read that may never happen again, on purpose.
constexpr std::uint64_t questionInterval = 52'428'800;

/// Set by the delegate's answer, which may arrive when nobody waits for it any more.
using StopFlag = std::shared_ptr<std::atomic<bool>>;

void askWhetherToContinue(const std::shared_ptr<qf::ChecksumDelegate>& delegate,
                          const std::string& path, const StopFlag& stop) {
    callDelegateLater(checksumShouldContinue, [delegate, path, stop] {
        if (!delegate->checksumShouldContinue(path)) {
            *stop = true;
        }
    });
}

std::optional<std::string> digestOfFile(const std::string& path,
                                        const std::shared_ptr<qf::ChecksumDelegate>& delegate,
                                        qf::DigestAlgorithm algorithm) {
    const auto opened = qf::service<qf::FileStreams>().openForReading(path);
    if (!opened) {
        qf::systemLog(unableToOpen, path);
        return std::nullopt;
    }
    auto& file = **opened;
    qf::DigestContext context(algorithm);
    const auto buffer = qf::filereading::makeBuffer();
    if (buffer == nullptr) {
        QFLog::appendLogAndPrint(checksumOutOfMemory, path);
        return std::nullopt;
    }
    const auto stop = std::make_shared<std::atomic<bool>>(false);
    const bool asks = delegate != nullptr && delegate->checksumShouldContinue != nullptr;
    std::uint64_t total = 0;
    while (const auto count = file.read({buffer.get(), chunkSize})) {
        context.update({buffer.get(), count});
        total += count;
        if (asks && total % questionInterval == 0) {
            askWhetherToContinue(delegate, path, stop);
        }
        if (*stop) {
            return std::nullopt;
        }
    }
    if (!file.isAtEnd()) {
        QFLog::appendLogAndPrint(checksumErrorReading, path);
        return std::nullopt;
    }
    return digestText(context);
}

/// Does the same for the operation of this name. A machine may not allow every algorithm.
std::optional<std::string> hashForFile(const std::string& path,
                                       const std::shared_ptr<qf::ChecksumDelegate>& delegate,
                                       qf::DigestAlgorithm algorithm, std::string_view operation) {
    try {
        return digestOfFile(path, delegate, algorithm);
    } catch (const qf::Exception& exception) {
        QFException::logException(exception, operation);
        return std::nullopt;
    }
}

} // namespace

std::string qf::filereading::digestText(const qf::DigestContext& context) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const auto byte : context.finished()) {
        text += digits[std::to_integer<std::size_t>(byte >> 4U)];
        text += digits[std::to_integer<std::size_t>(byte & std::byte{0xF})];
    }
    return text;
}

std::string QFFileManager::md5HashWithContext(const qf::MD5Context& context) {
    return digestText(context);
}

std::string QFFileManager::sha1HashWithContext(const qf::SHA1Context& context) {
    return digestText(context);
}

std::string QFFileManager::sha256HashWithContext(const qf::SHA256Context& context) {
    return digestText(context);
}

std::string QFFileManager::sha512HashWithContext(const qf::SHA512Context& context) {
    return digestText(context);
}

std::optional<std::string> QFFileManager::md5HashForFile(const std::string& path) {
    return md5HashForFile(path, nullptr);
}

std::optional<std::string>
QFFileManager::md5HashForFile(const std::string& path,
                              const std::shared_ptr<qf::ChecksumDelegate>& delegate) {
    return hashForFile(path, delegate, qf::DigestAlgorithm::md5, "md5HashForFile:delegate:");
}

std::optional<std::string> QFFileManager::sha1HashForFile(const std::string& path) {
    return sha1HashForFile(path, nullptr);
}

std::optional<std::string>
QFFileManager::sha1HashForFile(const std::string& path,
                               const std::shared_ptr<qf::ChecksumDelegate>& delegate) {
    return hashForFile(path, delegate, qf::DigestAlgorithm::sha1, "sha1HashForFile:delegate:");
}

std::optional<std::string> QFFileManager::sha256HashForFile(const std::string& path) {
    return sha256HashForFile(path, nullptr);
}

std::optional<std::string>
QFFileManager::sha256HashForFile(const std::string& path,
                                 const std::shared_ptr<qf::ChecksumDelegate>& delegate) {
    return hashForFile(path, delegate, qf::DigestAlgorithm::sha256, "sha256HashForFile:delegate:");
}

std::optional<std::string> QFFileManager::sha512HashForFile(const std::string& path) {
    return sha512HashForFile(path, nullptr);
}

std::optional<std::string>
QFFileManager::sha512HashForFile(const std::string& path,
                                 const std::shared_ptr<qf::ChecksumDelegate>& delegate) {
    return hashForFile(path, delegate, qf::DigestAlgorithm::sha512, "sha512HashForFile:delegate:");
}
