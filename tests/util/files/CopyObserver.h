#pragma once

#include "util/files/QFFileManager.h"

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

/// Tells when the last owner of what was handed out is gone.
class Release {
public:
    std::shared_ptr<void> token() {
        return {nullptr, [state = state_](void*) {
                    const std::lock_guard lock(state->mutex);
                    state->released = true;
                    state->changed.notify_all();
                }};
    }

    /// An owner of one token: a delegate that answers nothing.
    template <class Delegate>
    std::shared_ptr<Delegate> silent() {
        return {new Delegate, [token = token()](Delegate* delegate) { delete delegate; }};
    }

    void wait() {
        std::unique_lock lock(state_->mutex);
        state_->changed.wait(lock, [this] { return state_->released; });
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        bool released = false;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

/// Remembers what a copy's delegate was called with.
class CopyObserver {
public:
    struct Bytes {
        std::uint64_t count = 0;
        bool onCopyingThread = false;
        bool operator==(const Bytes&) const = default;
    };
    struct Failure {
        std::string file;
        qf::Value::Dictionary settings;
    };
    struct Record {
        std::vector<Bytes> bytesWritten;
        int questions = 0;
        std::vector<Failure> failures;
        /// The settings of each call of fileCopyFinished.
        std::vector<qf::Value::Dictionary> finished;
    };

    /// What is asked is answered so.
    explicit CopyObserver(bool answer = true) {
        delegate_ = std::make_shared<qf::FileCopyDelegate>();
        delegate_->fileCopyBytesWritten =
            [state = state_, token = released_.token()](auto bytes, const auto& /*settings*/) {
                const std::lock_guard lock(state->mutex);
                state->record.bytesWritten.push_back(
                    {bytes, std::this_thread::get_id() == state->copyingThread});
            };
        delegate_->fileCopyShouldContinue = [state = state_, answer](const auto& /*settings*/) {
            const std::lock_guard lock(state->mutex);
            ++state->record.questions;
            return answer;
        };
        delegate_->fileCopyVerificationFailed = [state = state_](const auto& settings,
                                                                 const auto& file) {
            const std::lock_guard lock(state->mutex);
            state->record.failures.push_back({file, settings->snapshot()});
        };
        delegate_->fileCopyFinished = [state = state_](const auto& settings) {
            const std::lock_guard lock(state->mutex);
            state->record.finished.push_back(settings->snapshot());
        };
    }

    const std::shared_ptr<qf::FileCopyDelegate>& delegate() const { return delegate_; }

    /// All calls, once those that were under way have come to their ends.
    Record record() {
        delegate_.reset();
        {
            const std::lock_guard lock(state_->mutex);
            for (auto& finished : state_->record.finished) {
                finished.erase("delegate");
            }
            for (auto& failure : state_->record.failures) {
                failure.settings.erase("delegate");
            }
        }
        released_.wait();
        const std::lock_guard lock(state_->mutex);
        return state_->record;
    }

private:
    struct State {
        std::mutex mutex;
        std::thread::id copyingThread = std::this_thread::get_id();
        Record record;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
    Release released_;
    std::shared_ptr<qf::FileCopyDelegate> delegate_;
};
