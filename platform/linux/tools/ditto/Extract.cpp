#include "platform/linux/tools/ditto/Extract.h"

#include "platform/foundation/Path.h"
#include "platform/linux/files/TemporaryItem.h"
#include "platform/linux/posix/Directories.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/ItemPlace.h"
#include "platform/linux/tools/ditto/ArchiveHandle.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <string_view>

namespace qf::native::ditto {

namespace {

using tool::ToolError;

/// Returns whether an archive has no entries: it begins with its end record.
bool isEmpty(const std::string& archivePath) {
    constexpr std::string_view mark = "PK\x05\x06";
    std::array<char, 4> begin{};
    std::ifstream stream(archivePath, std::ios::binary);
    stream.read(begin.data(), begin.size());
    return stream && std::string_view(begin.data(), begin.size()) == mark;
}

ArchiveHandle openArchive(const std::string& archivePath) {
    constexpr std::size_t blockSize = 64UL * 1024;
    ArchiveHandle zip(archive_read_new());
    // The central directory at the archive's end is authoritative: it has the modes, and a
    // truncated archive has none. The seeking reader refuses an archive without entries.
    check(isEmpty(archivePath) ? archive_read_support_format_zip_streamable(zip.get())
                               : archive_read_support_format_zip_seekable(zip.get()),
          zip.get(), archivePath);
    check(archive_read_open_filename(zip.get(), archivePath.c_str(), blockSize), zip.get(),
          archivePath);
    return zip;
}

ArchiveHandle openDisk() {
    ArchiveHandle disk(archive_write_disk_new());
    check(archive_write_disk_set_options(
              disk.get(), ARCHIVE_EXTRACT_TIME | ARCHIVE_EXTRACT_PERM | ARCHIVE_EXTRACT_SPARSE |
                              ARCHIVE_EXTRACT_SECURE_SYMLINKS | ARCHIVE_EXTRACT_SECURE_NODOTDOT |
                              ARCHIVE_EXTRACT_SECURE_NOABSOLUTEPATHS),
          disk.get(), "disk");
    return disk;
}

/// Returns the free bytes on the volume of the working directory.
la_int64_t freeSpace() {
    struct statvfs status {};
    if (::statvfs(".", &status) != 0) {
        throw ToolError(reason(Errno::last()));
    }
    return static_cast<la_int64_t>(status.f_bavail * status.f_frsize);
}

std::string nameOf(archive_entry* entry) {
    const char* name = archive_entry_pathname(entry);
    if (name == nullptr || *name == '\0') {
        throw ToolError("an entry has no name that can be used");
    }
    return name;
}

void checkEntry(archive_entry* entry, const std::string& name) {
    const auto type = archive_entry_filetype(entry);
    if (type != AE_IFREG && type != AE_IFDIR && type != AE_IFLNK) {
        throw ToolError(failureSentence(name, "unpacked", "it is no file, folder or link"));
    }
    const auto names = path::components(name);
    if (name.starts_with('/') || std::find(names.begin(), names.end(), "..") != names.end()) {
        throw ToolError(failureSentence(name, "unpacked", "it would leave the folder"));
    }
    if (archive_entry_size(entry) < 0 || archive_entry_size(entry) > freeSpace()) {
        throw ToolError(failureSentence(name, "unpacked", "the volume has no room for it"));
    }
}

void extractContent(archive* zip, archive* disk, archive_entry* entry, const std::string& name) {
    la_int64_t end = 0;
    for (;;) {
        const void* block = nullptr;
        std::size_t size = 0;
        la_int64_t offset = 0;
        const int result = archive_read_data_block(zip, &block, &size, &offset);
        if (result == ARCHIVE_EOF) {
            break;
        }
        check(result, zip, name);
        check(static_cast<int>(archive_write_data_block(disk, block, size, offset)), disk, name);
        end = offset + static_cast<la_int64_t>(size);
    }
    if (archive_entry_size_is_set(entry) != 0 && end != archive_entry_size(entry)) {
        throw ToolError(name + ": its size is not what the archive says");
    }
}

void unpackEntry(archive* zip, archive* disk, archive_entry* entry) {
    constexpr mode_t permissions = 0777;
    const auto name = nameOf(entry);
    checkEntry(entry, name);
    archive_entry_set_perm(entry, archive_entry_perm(entry) & permissions);
    check(archive_write_header(disk, entry), disk, name);
    if (archive_entry_filetype(entry) == AE_IFREG) {
        extractContent(zip, disk, entry, name);
    }
    // A volume that cannot keep a mode or a time still has the content.
    if (archive_write_finish_entry(disk) < ARCHIVE_WARN) {
        throw ToolError(name + ": " + failureOf(disk));
    }
}

/// An open archive, with its path for messages.
struct SourceArchive {
    const std::string& path;
    ArchiveHandle zip = openArchive(path);
};

/// Unpacks into the working directory.
void unpackEntries(const SourceArchive& source) {
    auto* const zip = source.zip.get();
    const auto disk = openDisk();
    archive_entry* entry = nullptr;
    int result = ARCHIVE_OK;
    try {
        while ((result = archive_read_next_header(zip, &entry)) != ARCHIVE_EOF) {
            check(result, zip, source.path);
            unpackEntry(zip, disk.get(), entry);
        }
    } catch (const ToolError&) {
        archive_write_fail(
            disk.get()); // no directory gets its final mode, which may forbid removal
        throw;
    }
    if (archive_write_close(disk.get()) < ARCHIVE_WARN) {
        throw ToolError(source.path + ": " + failureOf(disk.get()));
    }
}

[[noreturn]] void failToMakeDirectory(const std::string& directory, Errno error) {
    throw ToolError(failureSentence(directory, "made", reason(error)));
}

/// Unpacks into a missing directory, which appears when it is complete.
void unpackIntoNewDirectory(const SourceArchive& source, const std::string& directory) {
    if (const auto above = makeDirectories(path::deletingLastComponent(directory), ACCESSPERMS);
        !above) {
        failToMakeDirectory(directory, above.error());
    }
    const auto place = findPlace(directory);
    if (!place) {
        failToMakeDirectory(directory, place.error());
    }
    auto draft = TemporaryItem::make(place->directory.get(), place->name, S_IFDIR | ACCESSPERMS);
    if (!draft) {
        failToMakeDirectory(directory, draft.error());
    }
    if (::fchdir(draft->item().get()) != 0) {
        failToMakeDirectory(directory, Errno::last());
    }
    unpackEntries(source);
    if (const auto renamed = draft->rename(); !renamed) {
        failToMakeDirectory(directory, renamed.error());
    }
}

} // namespace

void extract(const Extraction& extraction) {
    const auto& directory = extraction.directory;
    const SourceArchive source{extraction.archivePath};
    struct stat status {};
    if (::stat(directory.c_str(), &status) != 0) {
        unpackIntoNewDirectory(source, directory);
        return;
    }
    if (::chdir(directory.c_str()) != 0) {
        throw ToolError(failureSentence(directory, "entered", reason(Errno::last())));
    }
    unpackEntries(source);
}

} // namespace qf::native::ditto
