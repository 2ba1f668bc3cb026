// What a killed process of the helper leaves, when the next one comes.

#include "platform/linux/authorization/helper/AbandonedStages.h"

#include "platform/linux/authorization/helper/Stage.h"
#include "tests/platform/linux/authorization/helper/StageHarness.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <utility>

using qf::native::helper::Item;
using qf::native::helper::openItem;
using qf::native::helper::removeAbandonedStages;
using qf::native::helper::Stage;
using qf::native::helper::StageFor;
using qf::native::helper::Tool;
using qf::native::helper::walk;

class HelperAbandonedStages : public StageTest {
protected:
    /// Makes a stage in a process that ends without removing it.
    void abandonStage(StageFor use, const std::function<void(int stage)>& fill) {
        const pid_t child = ::fork();
        if (child == 0) {
            const Item directory = parent();
            const Stage stage(directory, use);
            fill(stage.directory().descriptor.get());
            ::_exit(0);
        }
        ASSERT_EQ(::waitpid(child, nullptr, 0), child);
    }

    void removeAll() {
        auto way = walk("/bin/rm");
        const Tool remover{"/bin/rm", std::move(way->end)};
        removeAbandonedStages(parent(), remover);
    }
};

TEST_F(HelperAbandonedStages, GoWithTheCopiesInThem) {
    abandonStage(StageFor::copies, [](int stage) {
        ::mkdirat(stage, "copy", 0700);
        ::mkdirat(stage, "copy/inner", 0700);
    });
    ASSERT_EQ(itemsLeft(), 1);

    removeAll();

    EXPECT_EQ(itemsLeft(), 0);
}

TEST_F(HelperAbandonedStages, GoWhenNothingIsInThem) {
    abandonStage(StageFor::items, [](int) {});
    ASSERT_EQ(itemsLeft(), 1);

    removeAll();

    EXPECT_EQ(itemsLeft(), 0);
}

TEST_F(HelperAbandonedStages, StayWithWhatWasRenamedIntoThem) {
    abandonStage(StageFor::items, [](int stage) { ::mkdirat(stage, "item", 0700); });

    removeAll();

    EXPECT_TRUE(isInWhatIsLeft("item"));
}

TEST_F(HelperAbandonedStages, AreNotThoseOfAProcessThatIsAtWork) {
    const Item directory = parent();
    const Stage stage(directory, StageFor::copies);
    ASSERT_EQ(::mkdirat(stage.directory().descriptor.get(), "copy", 0700), 0);

    removeAll();

    EXPECT_TRUE(openItem(stage.directory().descriptor.get(), "copy"));
}

TEST_F(HelperAbandonedStages, AreNotDirectoriesThatOnlyHaveSuchAName) {
    const std::string users = makeDirectory(usersDirectory() + "/.qf-helper-1");
    ASSERT_EQ(::chmod(users.c_str(), 0755), 0);
    const std::string roots = makeDirectory(usersDirectory() + "/.qf-helper-2");
    ASSERT_EQ(::chmod(roots.c_str(), 0700), 0);
    makeFile(roots + "/file");

    removeAll();

    EXPECT_TRUE(exists(users));
    EXPECT_TRUE(exists(roots + "/file"));
}
