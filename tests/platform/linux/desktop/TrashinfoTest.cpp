#include "platform/linux/desktop/Trashinfo.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <ctime>

namespace {

using qf::native::moverIn;
using qf::native::nameInTrash;
using qf::native::trashinfoText;
using Mover = qf::native::Mover;

TEST(Trashinfo, RecordsThePathWithEveryByteThatIsNoPlainCharacterEncoded) {
    const auto text = trashinfoText("/a b/50%\n\xFF=é", Mover::self);

    EXPECT_TRUE(text.starts_with("[Trash Info]\nPath=/a%20b/50%25%0A%FF%3D%C3%A9\nDeletionDate="))
        << text;
}

TEST(Trashinfo, RecordsTheLocalTime) {
    ::setenv("TZ", "Asia/Kathmandu", 1); // quarter to six hours before the world's
    ::tzset();
    const auto before = std::time(nullptr);
    const auto text = trashinfoText("/a", Mover::self);
    const auto after = std::time(nullptr);

    std::tm parts{};
    const auto begin = text.find("DeletionDate=") + std::string("DeletionDate=").size();
    ASSERT_NE(::strptime(text.c_str() + begin, "%Y-%m-%dT%H:%M:%S\n", &parts), nullptr) << text;
    const auto recorded = std::mktime(&parts);
    EXPECT_GE(recorded, before);
    EXPECT_LE(recorded, after);
    ::unsetenv("TZ");
    ::tzset();
}

TEST(Trashinfo, RecordsWhoMovesTheItem) {
    EXPECT_EQ(moverIn(trashinfoText("/a", Mover::self)).value(), Mover::self);
    EXPECT_EQ(moverIn(trashinfoText("/a", Mover::administrator)).value(), Mover::administrator);
    EXPECT_TRUE(
        failedWith(moverIn("[Trash Info]\nPath=/a\nDeletionDate=2001-02-03T04:05:06\n"), ENOENT));
    EXPECT_TRUE(failedWith(moverIn(""), ENOENT));
}

TEST(Trashinfo, LeavesRoomForItsNameBesideTheItems) {
    EXPECT_EQ(nameInTrash("a.txt", 1), "a.txt");
    EXPECT_EQ(nameInTrash("a.txt", 12), "a.12.txt");
    EXPECT_EQ(nameInTrash("Makefile", 2), "Makefile.2");
    EXPECT_EQ(nameInTrash(std::string(245, 'x'), 1), std::string(245, 'x'));
    EXPECT_EQ(nameInTrash(std::string(246, 'x'), 1), std::string(245, 'x'));
    EXPECT_EQ(nameInTrash(std::string(251, 'x') + ".txt", 2), std::string(239, 'x') + ".2.txt");
    EXPECT_EQ(nameInTrash(std::string(244, 'x') + "€", 1), std::string(244, 'x'));
}

} // namespace
