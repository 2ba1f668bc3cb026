#include "platform/linux/authorization/helper/Refusal.h"

#include <gtest/gtest.h>

#include <set>

using qf::native::helper::sentence;
using qf::native::helper::Status;

TEST(HelperRefusal, IsASentenceOfItsOwnForEachStatus) {
    constexpr int first = static_cast<int>(Status::requestMalformed);
    constexpr int last = static_cast<int>(Status::notPlanned);
    std::set<std::string> sentences;
    for (int status = first; status <= last; ++status) {
        sentences.insert(sentence({Status{status}, "it"}));
    }
    EXPECT_EQ(sentences.size(), static_cast<std::size_t>(last - first + 1));
    EXPECT_EQ(sentence({Status::toolMissing, "/a"}), "there is no such tool: /a");
    EXPECT_EQ(sentence({Status::itemUnreachable, "/a"}), "an item cannot be reached: /a");
    EXPECT_EQ(sentence({Status::itemRedirected, "/a"}),
              "a link leads to a folder that is not its owner's: /a");
    EXPECT_EQ(sentence({}), "the tool cannot be started: ");
}
