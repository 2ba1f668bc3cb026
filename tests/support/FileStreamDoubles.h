#pragma once

#include "platform/Digests.h"
#include "platform/FileStreams.h"
#include "platform/foundation/Exception.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// A file that a test describes: its content, and the behaviour of its medium.
struct DescribedFile {
    static constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();

    std::string content;
    bool opens = true;

    /// If set, reads return this many arbitrary bytes, and writes are discarded.
    std::optional<std::uint64_t> bottomless;

    /// The position at which reading fails, and the largest size of the file.
    std::uint64_t readableBytes = unlimited;
    std::uint64_t room = unlimited;

    /// How many more writes write only half.
    int shortWrites = 0;

    /// The system's number for a failing seek, or 0 if it succeeds; and the first position to which
    /// seeking fails.
    int seekError = 0;
    std::uint64_t seekableBytes = 0;

    /// The number of bytes that one read returns, at most as many as were requested.
    std::function<std::size_t(std::uint64_t position, std::size_t size)> arriving;

    /// How the medium changes the bytes written at a position.
    std::function<void(std::uint64_t position, std::string& written)> alter;

    /// Called before each read, and before each write at a position.
    std::function<void()> beforeRead;
    std::function<void(std::uint64_t position)> beforeWrite;

    /// Whether the content can be removed, and whether the medium takes everything.
    bool empties = true;
    bool syncs = true;

    /// Whether the source's metadata can be kept.
    bool keepsMetadata = true;

    /// Whether a file that is filled beside its path can get its name.
    bool getsItsName = true;

    /// What the medium makes of the content, which is seen once the system has forgotten it.
    std::function<void(std::string& content)> keepOnMedium;
};

/// Files in memory that misbehave as a test describes; other files can be written but not read. A
/// file beside the path P is described as "P.beside". Not shared between threads.
class DescribedFileStreams : public qf::FileStreams {
public:
    static constexpr std::string_view beside = ".beside";

    std::map<std::string, DescribedFile> files;

    /// The files opened and closed, in order.
    std::vector<std::string> events;

    qf::OpenedStream openForReading(const std::string& path) override {
        const auto found = files.find(path);
        if (found == files.end()) {
            return qf::Unexpected(qf::SystemError{ENOENT});
        }
        if (!found->second.opens) {
            return qf::Unexpected(qf::SystemError{EACCES});
        }
        return open(path);
    }

    qf::OpenedStream openForUpdating(const std::string& path, const qf::FileId& spared,
                                     std::uint64_t /*expectedSize*/) override {
        auto& file = files[path];
        if (!file.opens) {
            return qf::Unexpected(qf::SystemError{EACCES});
        }
        if (fileIdOf(file) == spared) {
            return qf::Unexpected(qf::SystemError{ETXTBSY});
        }
        return open(path);
    }

    qf::OpenedStream openBeside(const std::string& path, const qf::FileId& spared,
                                std::uint64_t expectedSize) override {
        return openForUpdating(path + std::string(beside), spared, expectedSize);
    }

    qf::OpenedStream openExisting(const std::string& path, qf::FileAccess /*access*/) override {
        return openForReading(path);
    }

private:
    static qf::FileId fileIdOf(const DescribedFile& file) {
        return {.volume = 1, .number = reinterpret_cast<std::uintptr_t>(&file)};
    }

    class Stream : public qf::FileStream {
    public:
        Stream(DescribedFileStreams& owner, std::string path)
            : owner_(owner), path_(std::move(path)), file_(owner.files[path_]) {}
        ~Stream() override { owner_.events.push_back("close " + path_); }
        Stream(const Stream&) = delete;
        Stream& operator=(const Stream&) = delete;
        Stream(Stream&&) = delete;
        Stream& operator=(Stream&&) = delete;

        std::size_t read(std::span<std::byte> buffer) override {
            if (file_.beforeRead) {
                file_.beforeRead();
            }
            const auto size = file_.bottomless.value_or(file_.content.size());
            const auto end = std::min(size, file_.readableBytes);
            const auto left = position_ < end ? end - position_ : 0;
            auto count = static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), left));
            if (file_.arriving) {
                count = std::min(count, file_.arriving(position_, buffer.size()));
            } else if (count < buffer.size()) {
                isAtEnd_ = size <= file_.readableBytes;
                errorIndicator_ = isAtEnd_ ? errorIndicator_ : 1;
            }
            if (!file_.bottomless) {
                std::memcpy(buffer.data(), file_.content.data() + position_, count);
            }
            position_ += count;
            return count;
        }

        std::size_t write(std::span<const std::byte> bytes) override {
            if (file_.beforeWrite) {
                file_.beforeWrite(position_);
            }
            const auto left = position_ < file_.room ? file_.room - position_ : 0;
            auto count = static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), left));
            if (file_.shortWrites > 0) {
                --file_.shortWrites;
                count /= 2;
            }
            errorIndicator_ = count < bytes.size() ? 1 : errorIndicator_;
            if (!file_.bottomless && count > 0) {
                std::string written(reinterpret_cast<const char*>(bytes.data()), count);
                if (file_.alter) {
                    file_.alter(position_, written);
                }
                file_.content.resize(std::max<std::size_t>(file_.content.size(), position_));
                file_.content.replace(position_, count, written);
            }
            position_ += count;
            return count;
        }

        qf::Result<void, qf::SystemError> seek(std::uint64_t position) override {
            if (file_.seekError != 0 && position >= file_.seekableBytes) {
                return qf::Unexpected(qf::SystemError{file_.seekError});
            }
            position_ = position;
            isAtEnd_ = false;
            return {};
        }

        std::uint64_t position() const override { return position_; }
        qf::Result<void, qf::SystemError> makeEmpty() override {
            if (!file_.empties) {
                return qf::Unexpected(qf::SystemError{EIO});
            }
            file_.content.clear();
            return {};
        }
        void beginSync() override {}
        qf::Result<void, qf::SystemError> sync() override {
            owner_.events.push_back("sync " + path_);
            if (!file_.syncs) {
                return qf::Unexpected(qf::SystemError{EIO});
            }
            return {};
        }
        void dropCache() override {
            if (file_.keepOnMedium) {
                file_.keepOnMedium(file_.content);
            }
        }
        bool isAtEnd() const override { return isAtEnd_; }
        int errorIndicator() const override { return errorIndicator_; }
        qf::FileId identity() const override { return fileIdOf(file_); }
        qf::Result<void, qf::SystemError> copyMetadata(const qf::FileStream& /*source*/) override {
            owner_.events.push_back("metadata " + path_);
            if (!file_.keepsMetadata) {
                return qf::Unexpected(qf::SystemError{EIO});
            }
            return {};
        }
        qf::Result<void, qf::SystemError> takeName() override {
            if (!file_.getsItsName) {
                return qf::Unexpected(qf::SystemError{EIO});
            }
            const auto name = path_.substr(0, path_.size() - beside.size());
            owner_.events.push_back("name " + name);
            owner_.files[name].content = file_.content;
            return {};
        }

    private:
        DescribedFileStreams& owner_;
        std::string path_;
        DescribedFile& file_;
        std::uint64_t position_ = 0;
        bool isAtEnd_ = false;
        int errorIndicator_ = 0;
    };

    std::unique_ptr<qf::FileStream> open(const std::string& path) {
        events.push_back("open " + path);
        return std::make_unique<Stream>(*this, path);
    }
};

/// Makes every digest unavailable for a scope.
class ForbiddenDigests : public qf::Digests {
public:
    std::unique_ptr<qf::DigestState> begin(qf::DigestAlgorithm /*algorithm*/) override {
        throw qf::Exception("QFDigestUnavailable", "not here");
    }

private:
    qf::ScopedService<qf::Digests> scope_{*this};
};
