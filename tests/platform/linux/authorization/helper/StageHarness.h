#pragma once

#include "platform/linux/authorization/helper/Stage.h"
#include "platform/linux/authorization/helper/Walk.h"
#include "tests/platform/linux/authorization/helper/HelperHarness.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>

/// Makes a stage in a directory, in a process that ends without removing it.
inline void abandonStage(const std::string& directory, qf::native::helper::StageFor use,
                         const std::function<void(const qf::native::helper::Stage&)>& fill) {
    const pid_t child = ::fork();
    if (child == 0) {
        const auto parent = qf::native::helper::openItem(AT_FDCWD, directory);
        const qf::native::helper::Stage stage(*parent, use);
        fill(stage);
        ::_exit(0);
    }
    ASSERT_EQ(::waitpid(child, nullptr, 0), child);
}

/// Leaves in a directory what a process leaves that is killed after it has renamed an item into a
/// stage, to give it the next name there.
inline void abandonItem(const std::string& directory, const std::string& item,
                        const std::string& nextName) {
    using namespace qf::native::helper;
    abandonStage(directory, StageFor::items, [&](const Stage& stage) {
        stage.expect(*openItem(AT_FDCWD, item), nextName);
        const auto name = std::filesystem::path(item).filename().string();
        ::renameat(AT_FDCWD, item.c_str(), stage.directory().descriptor.get(), name.c_str());
    });
}

/// Tests of stages, which are made in the user's directory.
class StageTest : public HelperTest {
protected:
    qf::native::helper::Item parent() {
        return *qf::native::helper::openItem(AT_FDCWD, usersDirectory());
    }

    std::ptrdiff_t itemsLeft() {
        return std::distance(std::filesystem::directory_iterator(usersDirectory()), {});
    }

    /// Whether an item is in what alone is left in the user's directory.
    bool isInWhatIsLeft(const std::string& name) {
        const std::filesystem::directory_iterator left(usersDirectory());
        return exists(left->path().string() + "/" + name);
    }
};
