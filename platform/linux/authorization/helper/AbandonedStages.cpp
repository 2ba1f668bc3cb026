#include "platform/linux/authorization/helper/AbandonedStages.h"

#include "platform/linux/authorization/helper/Placing.h"
#include "platform/linux/authorization/helper/Refusal.h"
#include "platform/linux/authorization/helper/Stage.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace qf::native::helper {

namespace {

std::vector<std::string> namesIn(const Item& directory) {
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(heldPath(directory, ""), error), end;
         !error && entry != end; entry.increment(error)) {
        names.push_back(entry->path().filename());
    }
    return names;
}

void removeIfAbandoned(const Item& parent, const std::string& name, const Tool& remover) {
    const auto stage = openItem(parent.descriptor.get(), name);
    if (!stage || !isRootsAlone(*stage)) {
        return;
    }
    const FileDescriptor opened(
        ::open(heldPath(*stage, "").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened || ::flock(opened.get(), LOCK_EX | LOCK_NB) != 0) {
        return;
    }
    if (isMarkedForCopies(opened)) {
        for (const auto& copy : namesIn(*stage)) {
            succeeds(remover, {"-Rf", "--one-file-system", "--", heldPath(*stage, copy)});
        }
    }
    ::unlinkat(parent.descriptor.get(), name.c_str(), AT_REMOVEDIR);
}

} // namespace

void removeAbandonedStages(const Item& parent, const Tool& remover) {
    try {
        for (const auto& name : namesIn(parent)) {
            if (name.starts_with(Stage::namePrefix)) {
                removeIfAbandoned(parent, name, remover);
            }
        }
    } catch (const Refusal&) {
        // Without memory or descriptors left, what is there stays for the next one.
    }
}

} // namespace qf::native::helper
