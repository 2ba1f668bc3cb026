#include "platform/linux/authorization/helper/AbandonedStages.h"

#include "platform/linux/authorization/helper/Move.h"
#include "platform/linux/authorization/helper/Placing.h"
#include "platform/linux/authorization/helper/Refusal.h"
#include "platform/linux/authorization/helper/Stage.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
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

std::optional<AbandonedStage> takeAbandoned(const Item& parent, const std::string& name) {
    auto stage = findItem(parent.descriptor.get(), name);
    if (!stage || !isRootsAlone(*stage)) {
        return std::nullopt;
    }
    FileDescriptor opened(::open(heldPath(*stage, "").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened || ::flock(opened.get(), LOCK_EX | LOCK_NB) != 0) {
        return std::nullopt;
    }
    return AbandonedStage{name, std::move(*stage), std::move(opened)};
}

void removeIfAbandoned(const Item& parent, const std::string& name, const Tool& remover) {
    const auto stage = takeAbandoned(parent, name);
    if (!stage) {
        return;
    }
    if (isMarkedForCopies(stage->lock)) {
        for (const auto& copy : namesIn(stage->directory)) {
            succeeds(remover, {"-Rf", "--one-file-system", "--", heldPath(stage->directory, copy)});
        }
    }
    ::unlinkat(parent.descriptor.get(), name.c_str(), AT_REMOVEDIR);
}

} // namespace

void removeAbandonedStages(const Item& parent, const Tool& remover) {
    try {
        for (const auto& name : namesIn(parent)) {
            if (name.starts_with(stagePrefix)) {
                removeIfAbandoned(parent, name, remover);
            }
        }
    } catch (const Refusal&) {
        // Without memory or descriptors left, what is there stays for the next one.
    }
}

std::optional<AbandonedStage> findAbandonedItem(Place& source, const Place& destination) {
    if (source.item || destination.item || !goesByStage(source, destination)) {
        return std::nullopt;
    }
    for (const auto& name : namesIn(destination.directory)) {
        auto stage = name.starts_with(stagePrefix) ? takeAbandoned(destination.directory, name)
                                                   : std::nullopt;
        if (!stage) {
            continue;
        }
        auto item = findItem(stage->directory.descriptor.get(), source.name);
        if (item && isExpected(*item, destination.name, stage->lock)) {
            source.item = std::move(item);
            return stage;
        }
        // An empty one is not to have the program ask for this again.
        ::unlinkat(destination.directory.descriptor.get(), name.c_str(), AT_REMOVEDIR);
    }
    return std::nullopt;
}

} // namespace qf::native::helper
