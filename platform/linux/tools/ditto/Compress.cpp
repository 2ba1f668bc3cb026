#include "platform/linux/tools/ditto/Compress.h"

#include "platform/foundation/Path.h"
#include "platform/linux/files/TemporaryItem.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/ItemPlace.h"
#include "platform/linux/tools/ditto/ArchiveHandle.h"

#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <string_view>
#include <vector>

namespace qf::native::ditto {

namespace {

using tool::ToolError;

[[noreturn]] void failToMake(const std::string& archivePath, Errno error) {
    throw ToolError(failureSentence(archivePath, "made", reason(error)));
}

/// Returns whether an entry is an open file, such as an archive that is written inside its own
/// source.
bool isFile(archive_entry* entry, const FileDescriptor& file) {
    struct stat status {};
    return ::fstat(file.get(), &status) == 0 && archive_entry_dev(entry) == status.st_dev &&
           archive_entry_ino64(entry) == static_cast<la_int64_t>(status.st_ino);
}

/// Returns the length of the part to remove from the beginning of every path below the source.
std::size_t prefixLength(const std::string& source, bool isDirectory, KeepParent keepParent) {
    const auto base =
        isDirectory && keepParent == KeepParent::no ? source : path::deletingLastComponent(source);
    return base.size() + (base.ends_with('/') ? 0 : 1);
}

void copyContent(archive* disk, archive* zip, archive_entry* entry, const std::string& path) {
    constexpr std::size_t blockSize = 128UL * 1024;
    std::vector<char> block(blockSize);
    la_int64_t copied = 0;
    for (;;) {
        const auto size = archive_read_data(disk, block.data(), block.size());
        if (size < 0) {
            throw ToolError(path + ": " + failureOf(disk));
        }
        if (size == 0) {
            break;
        }
        if (archive_write_data(zip, block.data(), static_cast<std::size_t>(size)) != size) {
            throw ToolError(path + ": " + failureOf(zip));
        }
        copied += size;
    }
    if (copied != archive_entry_size(entry)) {
        throw ToolError(path + ": it was cut short while it was read");
    }
}

bool isText(const char* name) {
    return name == nullptr || text::validUtf8(name) == name;
}

/// Names are marked as UTF-8 if that is the locale's encoding. The names of an item with a name
/// that is not text go into the archive unmarked, as raw bytes.
void chooseEncoding(archive_entry* entry) {
    const bool isUtf8 =
        isText(archive_entry_pathname(entry)) && isText(archive_entry_symlink(entry));
    std::setlocale(LC_CTYPE, isUtf8 ? "C.UTF-8" : "C");
}

void addEntry(archive* disk, archive* zip, archive_entry* entry, std::size_t prefix) {
    const std::string path = archive_entry_sourcepath(entry);
    const auto type = archive_entry_filetype(entry);
    if (type != AE_IFREG && type != AE_IFDIR && type != AE_IFLNK) {
        throw ToolError(failureSentence(path, "archived", "it is no file, folder or link"));
    }
    if (path.size() <= prefix) { // the directory whose name is left out
        return;
    }
    archive_entry_copy_pathname(entry, path.c_str() + prefix);
    chooseEncoding(entry);
    check(archive_write_header(zip, entry), zip, path);
    if (type == AE_IFREG) {
        copyContent(disk, zip, entry, path);
    }
}

ArchiveHandle openSource(const std::string& source) {
    ArchiveHandle disk(archive_read_disk_new());
    archive_read_disk_set_symlink_hybrid(disk.get());
    archive_read_disk_set_behavior(disk.get(), ARCHIVE_READDISK_NO_XATTR | ARCHIVE_READDISK_NO_ACL |
                                                   ARCHIVE_READDISK_NO_FFLAGS |
                                                   ARCHIVE_READDISK_NO_SPARSE);
    check(archive_read_disk_open(disk.get(), source.c_str()), disk.get(), source);
    return disk;
}

/// Writes the archive into an open file.
void pack(const std::string& source, const std::string& archivePath, const FileDescriptor& file,
          std::size_t prefix) {
    const ArchiveHandle zip(archive_write_new());
    check(archive_write_set_format_zip(zip.get()), zip.get(), archivePath);
    check(archive_write_open_fd(zip.get(), file.get()), zip.get(), archivePath);
    const auto disk = openSource(source);
    const std::unique_ptr<archive_entry, decltype(&archive_entry_free)> entry(archive_entry_new(),
                                                                              &archive_entry_free);
    int result = ARCHIVE_OK;
    while ((result = archive_read_next_header2(disk.get(), entry.get())) != ARCHIVE_EOF) {
        check(result, disk.get(), source);
        if (!isFile(entry.get(), file)) {
            addEntry(disk.get(), zip.get(), entry.get(), prefix);
        }
        if (archive_read_disk_can_descend(disk.get()) != 0) {
            check(archive_read_disk_descend(disk.get()), disk.get(), source);
        }
    }
    check(archive_write_close(zip.get()), zip.get(), archivePath);
}

} // namespace

void compress(const std::string& source, const std::string& archivePath, KeepParent keepParent) {
    struct stat status {};
    if (::stat(source.c_str(), &status) != 0) {
        throw ToolError(failureSentence(source, "archived", reason(Errno::last())));
    }
    const auto place = findPlace(archivePath);
    if (!place) {
        failToMake(archivePath, place.error());
    }
    auto draft = TemporaryItem::make(place->directory.get(), place->name, S_IFREG | DEFFILEMODE);
    if (!draft) {
        failToMake(archivePath, draft.error());
    }
    pack(source, archivePath, draft->item(),
         prefixLength(source, S_ISDIR(status.st_mode), keepParent));
    auto made = checked(::fsync(draft->item().get()));
    if (made) {
        made = draft->replace();
    }
    if (!made) {
        failToMake(archivePath, made.error());
    }
}

} // namespace qf::native::ditto
