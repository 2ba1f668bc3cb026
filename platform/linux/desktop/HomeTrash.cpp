#include "platform/linux/desktop/HomeTrash.h"

#include "platform/foundation/Path.h"
#include "platform/linux/files/FreeName.h"
#include "platform/linux/files/ItemTransfer.h"
#include "platform/linux/files/WholeFiles.h"
#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/Folders.h"
#include "platform/linux/posix/ItemPlace.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <memory>
#include <string_view>

namespace platform::native {

namespace {

constexpr int mostAttempts = 100000;

FileDescriptor openForEntries(const std::string& folder) {
    return FileDescriptor(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

/// The name for the `count`th try, from 1 on, that leaves room for the note's.
std::string nameInTrash(const std::string& name, int count) {
    const auto room = NAME_MAX - std::string_view(noteExtension).size();
    const auto number = count > 1 ? '.' + std::to_string(count) : std::string();
    const auto extension = path::extension(name);
    const auto tail = extension.empty() ? number : number + '.' + extension;
    return tail.size() < room ? cutTo(path::deletingExtension(name), room - tail.size()) + tail
                              : cutTo(name, room - number.size()) + number;
}

/// How a note begins, as the Trash specification has it: the item's path, percent-encoded.
std::string headOfNote(const std::string& item) {
    const std::unique_ptr<char, decltype(&g_free)> path(
        g_uri_escape_string(item.c_str(), "/", FALSE), &g_free);
    return std::string("[Trash Info]\nPath=") + path.get() + '\n';
}

/// The local time, as the rest of a note.
std::string dateForNote() {
    const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> now(g_date_time_new_now_local(),
                                                                       &g_date_time_unref);
    const std::unique_ptr<char, decltype(&g_free)> date(
        g_date_time_format(now.get(), "%Y-%m-%dT%H:%M:%S"), &g_free);
    return std::string("DeletionDate=") + date.get() + '\n';
}

/// The item that is moved, and what its note begins with.
struct TrashedItem {
    ItemPlace place;
    std::string head;
};

/// The folders of the home trash.
struct TrashFolders {
    FileDescriptor files;
    FileDescriptor notes;
};

bool stands(int folder, const std::string& name) {
    return ::faccessat(folder, name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

bool lock(const FileDescriptor& note) {
    return ::flock(note.get(), LOCK_EX | LOCK_NB) == 0;
}

/// Makes a note where there is none of this name, which claims the name. It is locked while it is
/// open, so that it is told from one that a killed process left. None, with errno, on failure.
FileDescriptor makeNote(int notes, const std::string& name, const std::string& text) {
    constexpr mode_t privateFile = 0600;
    FileDescriptor note(::openat(
        notes, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, privateFile));
    if (!note) {
        return note;
    }
    static_cast<void>(lock(note)); // Without locks, as on some volumes, no note counts as left.
    if (const int error = writeAll(note.get(), text); error != 0) {
        ::unlinkat(notes, name.c_str(), 0);
        note.reset();
        errno = error;
    }
    return note;
}

/// Deletes the note for this name in the home trash where a killed process left it: it is about the
/// same item, nobody holds it, and nothing has come to stand beside it.
bool removeAbandonedNote(const TrashFolders& trash, const std::string& name,
                         const std::string& head) {
    const auto noteName = name + noteExtension;
    const FileDescriptor note(::openat(trash.notes.get(), noteName.c_str(),
                                       O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    std::string begin(head.size(), '\0');
    return note && lock(note) && ::pread(note.get(), begin.data(), begin.size(), 0) >= 0 &&
           begin == head && !stands(trash.files.get(), name) &&
           ::unlinkat(trash.notes.get(), noteName.c_str(), 0) == 0;
}

/// Gives 0, EEXIST when the name is taken, or another errno.
int moveToName(const TrashedItem& item, const TrashFolders& trash, const std::string& name) {
    const auto noteName = name + noteExtension;
    const auto note = makeNote(trash.notes.get(), noteName, item.head + dateForNote());
    if (!note) {
        return errno;
    }
    const auto failure =
        moveItem(item.place.folder.get(), item.place.name, trash.files.get(), name);
    const int error = failure ? failure->number : 0;
    // What has been copied, but could not be removed, stays in the Trash with its note.
    if (error == EEXIST || !stands(trash.files.get(), name)) {
        ::unlinkat(trash.notes.get(), noteName.c_str(), 0);
    }
    return error;
}

} // namespace

std::string homeTrashFiles() {
    return path::appending(g_get_user_data_dir(), "Trash/files");
}

std::string homeTrashNotes() {
    return path::appending(g_get_user_data_dir(), "Trash/info");
}

int makeHomeTrash() {
    constexpr mode_t privateMode = 0700;
    const int error = makeFolders(homeTrashFiles(), privateMode);
    return error != 0 ? error : makeFolders(homeTrashNotes(), privateMode);
}

int moveToHomeTrash(const std::string& path) {
    TrashedItem item{.place = {}, .head = headOfNote(path)};
    int error = findPlace(path, item.place);
    if (error == 0) {
        error = makeHomeTrash();
    }
    if (error != 0) {
        return error;
    }
    const TrashFolders trash{openForEntries(homeTrashFiles()), openForEntries(homeTrashNotes())};
    if (!trash.files || !trash.notes) {
        return errno;
    }
    error = EEXIST;
    for (int count = 1; count <= mostAttempts && error == EEXIST; ++count) {
        const auto name = nameInTrash(item.place.name, count);
        error = moveToName(item, trash, name);
        if (error == EEXIST && removeAbandonedNote(trash, name, item.head)) {
            error = moveToName(item, trash, name);
        }
    }
    return error;
}

} // namespace platform::native
