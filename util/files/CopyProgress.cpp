#include "util/files/CopyProgress.h"

#include "util/files/FileReading.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace qf {

using qf::filereading::callDelegate;
using qf::filereading::callDelegateLater;

namespace {

constexpr std::string_view bytesWritten = "fileCopyBytesWritten:settings:";
constexpr std::string_view copyShouldContinue = "fileCopyShouldContinue:";
constexpr std::string_view verificationFailed = "fileCopyVerificationFailed:file:";
constexpr std::string_view finished = "fileCopyFinished:";

/// The least distance between two reports, in bytes: 20 MiB, or more for a file larger than 500
/// times that.
constexpr std::uint64_t leastInterval = 20'971'520;
constexpr std::uint64_t mostReports = 500;

} // namespace

CopyProgress::CopyProgress(std::shared_ptr<FileCopyDelegate> delegate, FileCopySettings settings)
    : delegate_(std::move(delegate)), settings_(std::move(settings)) {
}

void CopyProgress::setSourceSize(std::uint64_t size) {
    interval_ = std::max(size / mostReports, leastInterval);
}

void CopyProgress::advance(std::uint64_t copied) {
    if (copied - reported_ < interval_) {
        return;
    }
    reported_ = copied;
    if (answers(&FileCopyDelegate::fileCopyBytesWritten)) {
        callDelegateLater(bytesWritten, [delegate = delegate_, settings = settings_, copied] {
            delegate->fileCopyBytesWritten(copied, settings);
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

void CopyProgress::reportEnd(std::uint64_t copied) const {
    if (answers(&FileCopyDelegate::fileCopyBytesWritten)) {
        callDelegate(bytesWritten, [&] { delegate_->fileCopyBytesWritten(copied, settings_); });
    }
}

void CopyProgress::reportFailure(const std::string& destination,
                                 const std::optional<std::string>& checksum) const {
    if (!answers(&FileCopyDelegate::fileCopyVerificationFailed)) {
        return;
    }
    if (checksum) {
        settings_->set("destChecksum", *checksum);
    }
    callDelegate(verificationFailed,
                 [&] { delegate_->fileCopyVerificationFailed(settings_, destination); });
}

void CopyProgress::reportFinish() const {
    if (answers(&FileCopyDelegate::fileCopyFinished)) {
        callDelegate(finished, [this] { delegate_->fileCopyFinished(settings_); });
    }
}

} // namespace qf
