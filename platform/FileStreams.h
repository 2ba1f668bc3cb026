#pragma once

#include "platform/foundation/FileId.h"
#include "platform/foundation/Result.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace platform {

/// The system's own number for a failure, for logs only.
enum class SystemError : int {};

/// An open file that is read and written at one position without buffering: data is in the file
/// when the call that writes it returns. The destructor closes it. Not shared between threads.
class FileStream {
public:
    virtual ~FileStream() = default;

    /// Reads until the buffer is full, and returns the number of bytes read. Fewer than the buffer
    /// holds mean that the end was reached or that reading failed. Once the end was reached nothing
    /// more is read before a successful seek, even if the file has grown.
    virtual std::size_t read(std::span<std::byte> buffer) = 0;

    /// Writes all of the bytes, and returns the number written; fewer mean that writing failed.
    virtual std::size_t write(std::span<const std::byte> bytes) = 0;

    /// Moves to a position, in bytes from the start. A failure leaves the position unchanged.
    virtual Result<void, SystemError> seek(std::uint64_t position) = 0;

    /// Returns whether the last read reached the end.
    virtual bool isAtEnd() const = 0;

    /// Returns the stream's error indicator: 1 once reading or writing has failed, else 0.
    virtual int errorIndicator() const = 0;

    /// Returns the identity of the file.
    virtual FileId identity() const = 0;
};

/// Opens files as streams. Paths are absolute and may contain any byte except zero; links are
/// followed. Any thread may call every member.
class FileStreams {
public:
    static constexpr const char* portName = "FileStreams";
    virtual ~FileStreams() = default;

    /// Opens a file to be read from start to end; returns null on failure. Opening a pipe waits
    /// until somebody opens its other end.
    virtual std::unique_ptr<FileStream> openForReading(const std::string& path) = 0;

    /// Opens a file for reading and writing, creating it if it is missing and emptying it if it
    /// exists; returns null on failure. A path that leads to the spared file, by whatever name, is
    /// refused, and that file is left unchanged. The expected size of the file, in bytes (0 if
    /// unknown), only helps to allocate space: the file may become smaller or larger.
    virtual std::unique_ptr<FileStream>
    openForUpdating(const std::string& path, const FileId& spared, std::uint64_t expectedSize) = 0;
};

} // namespace platform
