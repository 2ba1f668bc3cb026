#pragma once

#include "util/files/FileCopy.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace qf {

/// Reports a copy's progress to its delegate, and tracks whether the delegate has cancelled it.
/// Created and used on the copying thread.
class CopyProgress {
public:
    /// The delegate may be null; `settings` is passed to its operations.
    CopyProgress(std::shared_ptr<FileCopyDelegate> delegate, FileCopySettings settings);

    /// Sets the least distance between reports to suit a source of this size, in bytes.
    void setSourceSize(std::uint64_t size);

    /// Records that so many bytes have been copied. If the last report is far enough behind,
    /// reports them to the delegate and asks it whether to continue, on the global concurrent
    /// queue.
    void advance(std::uint64_t copied);

    /// Returns whether the delegate has answered that the copy should stop.
    bool isCancelled() const { return *cancelled_; }

    /// Report to the delegate, on the copying thread: all is copied, a destination differs, the
    /// copy has succeeded. `checksum` is the destination's digest, if it has one.
    void reportEnd(std::uint64_t copied) const;
    void reportFailure(const std::string& destination,
                       const std::optional<std::string>& checksum) const;
    void reportFinish() const;

private:
    template <class Operation>
    bool answers(Operation FileCopyDelegate::*operation) const {
        return delegate_ != nullptr && (*delegate_).*operation != nullptr;
    }

    // These outlive the copy while calls of the delegate are running.
    const std::shared_ptr<FileCopyDelegate> delegate_;
    const FileCopySettings settings_;
    const std::shared_ptr<std::atomic<bool>> cancelled_ =
        std::make_shared<std::atomic<bool>>(false);

    std::uint64_t reported_ = 0;
    std::uint64_t interval_ = 0;
};

} // namespace qf
