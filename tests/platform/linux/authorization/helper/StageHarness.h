#pragma once

#include "platform/linux/authorization/helper/Walk.h"
#include "tests/platform/linux/authorization/helper/HelperHarness.h"

#include <fcntl.h>

#include <cstddef>
#include <filesystem>
#include <string>

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
