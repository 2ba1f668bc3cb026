#include "platform/linux/HomeTrash.h"

#include "platform/foundation/Path.h"
#include "platform/linux/FileDescriptor.h"
#include "platform/linux/Folders.h"
#include "platform/linux/FreeName.h"
#include "platform/linux/ItemPlace.h"
#include "platform/linux/ItemTransfer.h"
#include "platform/linux/WholeFiles.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <memory>
#include <string_view>

namespace platform::native {

namespace {

constexpr int mostNamesakes = 100000;

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

/// The note's text, as the Trash specification has it: the path percent-encoded, the local time.
std::string noteFor(const std::string& item) {
    const std::unique_ptr<char, decltype(&g_free)> path(
        g_uri_escape_string(item.c_str(), "/", FALSE), &g_free);
    const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> now(g_date_time_new_now_local(),
                                                                       &g_date_time_unref);
    const std::unique_ptr<char, decltype(&g_free)> date(
        g_date_time_format(now.get(), "%Y-%m-%dT%H:%M:%S"), &g_free);
    return std::string("[Trash Info]\nPath=") + path.get() + "\nDeletionDate=" + date.get() + '\n';
}

/// Writes a note where there is none of this name, which claims the name. Gives 0, or the errno.
int writeNote(int notes, const std::string& name, const std::string& text) {
    constexpr mode_t privateFile = 0600;
    const FileDescriptor note(::openat(
        notes, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, privateFile));
    if (!note) {
        return errno;
    }
    const int error = writeAll(note.get(), text);
    if (error != 0) {
        ::unlinkat(notes, name.c_str(), 0);
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

int moveToHomeTrash(const std::string& item) {
    ItemPlace place;
    int error = findPlace(item, place);
    if (error == 0) {
        error = makeHomeTrash();
    }
    if (error != 0) {
        return error;
    }
    const auto files = openForEntries(homeTrashFiles());
    const auto notes = openForEntries(homeTrashNotes());
    if (!files || !notes) {
        return errno;
    }
    const auto text = noteFor(item);
    error = EEXIST;
    for (int count = 1; count <= mostNamesakes && error == EEXIST; ++count) {
        const auto name = nameInTrash(place.name, count);
        error = writeNote(notes.get(), name + noteExtension, text);
        if (error != 0) {
            continue;
        }
        const auto failure = moveItem(place.folder.get(), place.name, files.get(), name);
        error = failure ? failure->number : 0;
        // What has been copied, but could not be removed, stays in the Trash with its note.
        const bool stays = error != EEXIST &&
                           ::faccessat(files.get(), name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
        if (!stays) {
            ::unlinkat(notes.get(), (name + noteExtension).c_str(), 0);
        }
    }
    return error;
}

} // namespace platform::native
