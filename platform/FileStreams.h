#pragma once

#include "platform/foundation/FileId.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace platform {

/// An open file that is read and written at one position and keeps nothing back: what is written is
/// in the file when the call returns. The end of its life closes it. One thread at a time uses it.
class FileStream {
public:
    virtual ~FileStream() = default;

    /// Reads on until the buffer is full, and gives how many bytes there were. Fewer than the
    /// buffer holds mean that the end was met or that reading failed. Once the end was met nothing
    /// more is read before a successful seek, even where the file has grown.
    virtual std::size_t read(std::span<std::byte> buffer) = 0;

    /// Writes on until all is written, and gives how many bytes were; fewer mean that it failed.
    virtual std::size_t write(std::span<const std::byte> bytes) = 0;

    /// Goes to a position, in bytes from the start. False when that fails; the position stays.
    virtual bool seek(std::uint64_t position) = 0;

    /// Whether the last read met the end.
    virtual bool isAtEnd() const = 0;

    /// The stream's error indicator: 1 once reading or writing has failed, else 0.
    virtual int errorIndicator() const = 0;

    /// The system's number for what failed last, 0 before anything has.
    virtual int systemError() const = 0;

    /// Which file this is.
    virtual FileId identity() const = 0;
};

/// Opens files as streams. Paths are absolute, of any bytes but zero; links are followed. Any
/// thread may call every member.
class FileStreams {
public:
    static constexpr const char* portName = "FileStreams";
    virtual ~FileStreams() = default;

    /// Opens a file to be read from its start to its end; null when that fails. A pipe is waited
    /// for until somebody opens its other end.
    virtual std::unique_ptr<FileStream> openForReading(const std::string& path) = 0;

    /// Opens a file for reading and writing, which is made when it is missing and emptied when it
    /// is not; null when that fails. A path that leads to the spared file, by whatever name, is
    /// refused, and that file stays as it is. The size that the file is expected to get, in bytes
    /// (0 when nobody knows), only helps to find room for it: it may become smaller or larger.
    virtual std::unique_ptr<FileStream>
    openForUpdating(const std::string& path, const FileId& spared, std::uint64_t expectedSize) = 0;
};

} // namespace platform
