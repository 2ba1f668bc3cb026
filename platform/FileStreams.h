#pragma once

#include "platform/foundation/FileId.h"
#include "platform/foundation/Result.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace qf {

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

    /// Returns the position: the bytes from the start at which the next read or write begins.
    virtual std::uint64_t position() const = 0;

    /// Removes all content. Does nothing to what has none to remove, such as a pipe or a device.
    /// The position does not change.
    virtual Result<void, SystemError> makeEmpty() = 0;

    /// Begins to write to the medium what the system holds in memory of the file, without waiting.
    virtual void beginSync() = 0;

    /// Waits until everything that was written is on the medium. Fails if any of it may not be
    /// there. Succeeds for what has no medium, such as a pipe.
    virtual Result<void, SystemError> sync() = 0;

    /// Asks the system to forget what it holds in memory of the file, so that the medium is read
    /// next. Has an effect only on what sync() has written.
    virtual void dropCache() = 0;

    /// Returns whether the last read reached the end.
    virtual bool isAtEnd() const = 0;

    /// Returns the stream's error indicator: 1 once reading or writing has failed, else 0.
    virtual int errorIndicator() const = 0;

    /// Returns the identity of the file.
    virtual FileId identity() const = 0;

    /// Copies the owner, the mode, the times and the extended attributes, access control lists
    /// included, of a file that is open as a stream of the same system to this one. The owner and
    /// the group are kept if the user may set them, attributes if the volume supports their kind.
    /// If it fails, nobody but the file's owner may open it. Does nothing to a pipe or a device.
    virtual Result<void, SystemError> copyMetadata(const FileStream& source) = 0;

    /// Renames a file that openBeside() made to the name that it is for, and replaces what has it;
    /// both the file and its name are then durable. Does nothing to any other file.
    virtual Result<void, SystemError> takeName() = 0;
};

/// An open stream, or the system's number for why a file could not be opened.
using OpenedStream = Result<std::unique_ptr<FileStream>, SystemError>;

/// What an existing file is opened for.
enum class FileAccess { reading, updating };

/// Opens files as streams. Paths are absolute, of any length, and may contain any byte except zero;
/// links are followed, except where a member says otherwise. On Linux an error is an errno: EINVAL
/// for a path with a zero byte, otherwise the system's own except where a member says otherwise.
/// Any thread may call every member.
class FileStreams {
public:
    static constexpr const char* portName = "FileStreams";
    virtual ~FileStreams() = default;

    /// Opens a file to be read from start to end. Opening a pipe waits until somebody opens its
    /// other end. A directory opens too, and cannot be read.
    virtual OpenedStream openForReading(const std::string& path) = 0;

    /// Opens a file for reading and writing, creating it if it is missing. An existing file keeps
    /// its content. A path that leads to the spared file, by whatever name, is refused with
    /// ETXTBSY. The expected size of the file, in bytes (0 if unknown), only helps to allocate
    /// space: the file may become smaller or larger.
    virtual OpenedStream openForUpdating(const std::string& path, const FileId& spared,
                                         std::uint64_t expectedSize) = 0;

    /// As openForUpdating, but makes a new file in the path's directory under a hidden name. It
    /// gets its name by takeName(), until which a file at the path stays as it is; closed before,
    /// it is deleted. What a killed process leaves of it, FileSystem::removeAbandonedCopies
    /// deletes. A path that leads to something else than a file is refused with EINVAL; a link at
    /// the path is replaced itself.
    virtual OpenedStream openBeside(const std::string& path, const FileId& spared,
                                    std::uint64_t expectedSize) = 0;

    /// Opens a file that exists, for reading and perhaps for writing. A final link is not followed,
    /// and anything but a file is refused without waiting for it, with EINVAL.
    virtual OpenedStream openExisting(const std::string& path, FileAccess access) = 0;
};

} // namespace qf
