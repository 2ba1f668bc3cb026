#include "platform/linux/desktop/WritableDirectory.h"

#include "platform/linux/files/AtomicFile.h"
#include "platform/linux/files/ItemTransfer.h"
#include "platform/linux/posix/OpenDirectory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <utility>

namespace qf::native {

namespace {

constexpr mode_t accessible = S_IRWXU;
constexpr std::size_t largestRecord = 65536;

/// Returns the permissions of a directory of the user's own.
std::optional<mode_t> modeOfOwnDirectory(int directory, const std::string& name) {
    const auto status = statusOfEntry(directory, name);
    if (!status || !S_ISDIR(status->stx_mode) || status->stx_uid != ::geteuid()) {
        return std::nullopt;
    }
    return status->stx_mode & ALLPERMS;
}

SystemResult<void> changeMode(int directory, const std::string& name, mode_t mode) {
    return checked(::fchmodat(directory, name.c_str(), mode, AT_SYMLINK_NOFOLLOW));
}

/// Restores the mode of a directory that was made accessible. What fails once, as without memory,
/// is tried again.
bool restoreMode(int directory, const std::string& name, mode_t mode) {
    constexpr int attempts = 2;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (modeOfOwnDirectory(directory, name) == (mode | accessible) &&
            changeMode(directory, name, mode)) {
            return true;
        }
    }
    return false;
}

struct Record {
    mode_t mode;
    std::string newName;
    std::string path;
};

/// The parts of a record end with zero bytes, which no name contains.
std::string textOfRecord(const Record& record) {
    return std::to_string(record.mode) + '\0' + record.newName + '\0' + record.path + '\0';
}

std::optional<Record> recordIn(const FileDescriptor& file) {
    std::string text(largestRecord, '\0');
    const auto length = ::pread(file.get(), text.data(), text.size(), 0);
    text.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    const auto first = text.find('\0');
    const auto second = first == std::string::npos ? first : text.find('\0', first + 1);
    if (second == std::string::npos || text.size() < second + 2 || text.back() != '\0') {
        return std::nullopt;
    }
    constexpr int decimal = 10;
    return Record{static_cast<mode_t>(std::strtoul(text.c_str(), nullptr, decimal)),
                  text.substr(first + 1, second - first - 1),
                  text.substr(second + 1, text.size() - second - 2)};
}

} // namespace

SystemResult<WritableDirectory> WritableDirectory::make(const ItemPlace& item,
                                                        const std::string& path, int records,
                                                        const std::string& newName) {
    const int directory = item.directory.get();
    const auto mode = modeOfOwnDirectory(directory, item.name);
    if (!mode || (*mode & S_IWUSR) != 0 ||
        ::faccessat(directory, ".", W_OK | X_OK, AT_EACCESS) != 0) {
        return Unexpected(Errno(EACCES));
    }
    auto record = TemporaryItem::make(records, newName + " mode", S_IFREG | S_IRUSR | S_IWUSR);
    if (!record) {
        return Unexpected(record.error());
    }
    auto done = writeAll(record->item().get(), textOfRecord({*mode, newName, path}));
    if (done) {
        done = changeMode(directory, item.name, *mode | accessible);
    }
    if (!done) {
        return Unexpected(done.error());
    }
    return WritableDirectory(*std::move(record), *mode);
}

void WritableDirectory::restore(const SystemResult<void>& moved, const EntryRef& source,
                                const EntryRef& destination) const {
    if (!moved) {
        restoreMode(source.directory, source.name, mode_);
    }
    if (!failedWith(moved, EEXIST)) {
        restoreMode(destination.directory, destination.name, mode_);
    }
}

void WritableDirectory::restoreRecorded(const FileDescriptor& record, int destination) {
    const auto found = recordIn(record);
    if (!found) {
        return;
    }
    const bool isRestored = restoreMode(destination, found->newName, found->mode);
    const auto place = findPlace(found->path);
    if (place && (!isRestored || isMoveUnfinished({destination, found->newName}, place->entry()))) {
        restoreMode(place->directory.get(), place->name, found->mode);
    }
}

} // namespace qf::native
