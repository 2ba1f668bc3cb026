#pragma once

#include "util/files/FileCopy.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

/// What a copy tells its delegate, and whether the delegate has cancelled it. Made and used on the
/// copying thread.
class CopyProgress {
public:
    /// The delegate may be null; settings are what its operations are given.
    CopyProgress(const std::shared_ptr<FileCopyDelegate>& delegate, FileCopySettings settings);

    /// Reports come at least so far apart as suits a source of this size, in bytes.
    void setSourceSize(std::uint64_t size);

    /// So many bytes have been copied: has the delegate told of them and asked whether to go on,
    /// on the global concurrent queue, if the last report is far enough behind.
    void advance(std::uint64_t copied);

    /// Whether the delegate has answered that the copy is not to go on.
    bool isCancelled() const { return *cancelled_; }

    /// Tells the delegate on the copying thread: all is copied, a destination differs, the copy has
    /// succeeded. The checksum is the destination's digest, none where it has none.
    void reportEnd(std::uint64_t copied) const;
    void reportFailure(const std::string& destination,
                       const std::optional<std::string>& checksum) const;
    void reportFinish() const;

private:
    template <class Operation>
    bool answers(Operation FileCopyDelegate::*operation) const {
        return delegate_ != nullptr && (*delegate_).*operation != nullptr;
    }

    // These outlive the copy for as long as calls of the delegate are under way.
    const std::shared_ptr<FileCopyDelegate> delegate_;
    const FileCopySettings settings_;
    const std::shared_ptr<std::atomic<bool>> cancelled_ =
        std::make_shared<std::atomic<bool>>(false);

    std::uint64_t reported_ = 0;
    std::uint64_t interval_ = 0;
};
