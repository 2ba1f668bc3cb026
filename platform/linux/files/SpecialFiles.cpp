#include "platform/linux/files/SpecialFiles.h"

#include "platform/linux/files/Metadata.h"
#include "platform/linux/posix/Errors.h"

#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <climits>

namespace qf::native {

namespace {

/// Makes a link with the same target, and reads it back.
SystemResult<void> makeLink(const EntryRef& source, const EntryRef& destination) {
    const auto text = readLink(source);
    if (!text) {
        return Unexpected(text.error());
    }
    if (auto made =
            checked(::symlinkat(text->c_str(), destination.directory, destination.name.c_str()));
        !made) {
        return made;
    }
    const auto copy = readLink(destination);
    if (copy && *copy == *text) {
        return {};
    }
    return Unexpected(copy ? Errno(EIO) : copy.error());
}

/// Makes the link, FIFO, socket or device itself.
SystemResult<void> makeUnopened(const EntryRef& source, const struct statx& status,
                                const EntryRef& destination) {
    if (S_ISLNK(status.stx_mode)) {
        return makeLink(source, destination);
    }
    const auto device = ::makedev(status.stx_rdev_major, status.stx_rdev_minor);
    // An access control list that it inherits admits nobody else before its own mode is set.
    const mode_t mode = (status.stx_mode & static_cast<unsigned>(S_IFMT)) | S_IRUSR | S_IWUSR;
    auto made = checked(::mknodat(destination.directory, destination.name.c_str(), mode, device));
    if (made) {
        copyAccessListToEntry(source, destination);
    }
    return made;
}

} // namespace

SystemResult<std::string> readLink(const EntryRef& link) {
    std::array<char, PATH_MAX> buffer{};
    const auto length =
        ::readlinkat(link.directory, link.name.c_str(), buffer.data(), buffer.size());
    if (length < 0) { // EINVAL: it is no longer a link.
        return Unexpected(errno == EINVAL ? changedMeanwhile : Errno::last());
    }
    return std::string(buffer.data(), static_cast<std::size_t>(length));
}

SystemResult<void> copyUnopened(const EntryRef& source, const struct statx& status,
                                const EntryRef& destination) {
    if (S_ISREG(status.stx_mode) || S_ISDIR(status.stx_mode)) {
        return Unexpected(changedMeanwhile);
    }
    auto made = makeUnopened(source, status, destination);
    return made ? copyMetadataToEntry(status, destination) : made;
}

} // namespace qf::native
