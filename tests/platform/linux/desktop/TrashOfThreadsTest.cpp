#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/desktop/TrashPairs.h"
#include "tests/support/TreeDescription.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

TEST(TrashOfThreads, TakesTheItemsOfAllAtOnce) {
    const MemoryDirectory home;
    const auto items = home / "items";
    std::filesystem::create_directory(items);

    // Without a known time zone the C library looks for it whenever it is asked for the time, with
    // a lock that ThreadSanitizer does not see.
    const auto outcome = runChild({"recycle-on-threads", items, home / ".Trash", "50"},
                                  {"HOME=" + home.path(), "TZ=UTC"});

    EXPECT_EQ(outcome.output, "ok\n");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(namesIn(items), std::vector<std::string>());
    EXPECT_EQ(strayIn(home / ".local/share/Trash"), std::vector<std::string>());
}

} // namespace
