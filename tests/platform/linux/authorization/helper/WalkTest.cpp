// The way to a path, and who could have led it elsewhere.

#include "platform/linux/authorization/helper/Walk.h"

#include "tests/platform/linux/authorization/helper/HelperHarness.h"
#include "tests/support/NamedCase.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <string>
#include <vector>

using qf::native::helper::openItem;
using qf::native::helper::walk;

class HelperWalk : public HelperTest {
protected:
    static const std::string& roots() { return sandbox::rootsDirectory; }
    static ino_t inodeOf(const std::string& path) {
        struct stat status {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
        return status.st_ino;
    }
};

class HelperWalkTo : public HelperWalk, public testing::WithParamInterface<const char*> {};

TEST_P(HelperWalkTo, EndsAtWhatThePathLeadsTo) {
    const std::string file = makeFile(makeDirectory(roots() + "/a") + "/file");
    makeLink("a/../a", roots() + "/link", 0);
    makeLink(roots() + "/link", roots() + "/absolute", 0);
    const auto way = walk(roots() + GetParam());
    ASSERT_TRUE(way);
    EXPECT_EQ(way->end.status.stx_ino, inodeOf(file));
    EXPECT_TRUE(way->isRoots);
    EXPECT_TRUE(way->isOwners());
}

INSTANTIATE_TEST_SUITE_P(, HelperWalkTo,
                         testing::Values("/a/file", "//a/./file", "/link/file",
                                         "/absolute/../a/file"));

class HelperWalkNowhere : public HelperWalk, public testing::WithParamInterface<const char*> {};

TEST_P(HelperWalkNowhere, HasNoEndWhereNothingIs) {
    makeLink("loop", roots() + "/loop", 0);
    makeLink("missing", roots() + "/dangling", 0);
    makeFile(roots() + "/file");
    EXPECT_FALSE(walk(roots() + GetParam()));
}

INSTANTIATE_TEST_SUITE_P(, HelperWalkNowhere,
                         testing::Values("/missing", "/missing/..", "/loop", "/dangling",
                                         "/file/a"));

TEST_F(HelperWalk, ShowsEachItemOnTheWay) {
    makeFile(makeDirectory(roots() + "/a") + "/file");
    makeLink("a", roots() + "/link", 0);
    std::vector<ino_t> shown;
    walk(roots() + "/link/file", [&](const auto& item) { shown.push_back(item.status.stx_ino); });
    ASSERT_EQ(shown.size(), 5U);
    EXPECT_EQ(shown[0], inodeOf("/"));
    EXPECT_EQ(shown[1], inodeOf(roots()));
    EXPECT_EQ(shown[3], inodeOf(roots() + "/a"));
    EXPECT_EQ(shown[4], inodeOf(roots() + "/a/file"));
}

TEST_F(HelperWalk, IsItsOwnersAloneWhereItsOwnerHasALinkOnIt) {
    makeLink(makeDirectory(usersDirectory() + "/own", servedUser), usersDirectory() + "/link",
             servedUser);
    const auto way = walk(usersDirectory() + "/link");
    ASSERT_TRUE(way);
    EXPECT_TRUE(way->isOwners());
    EXPECT_FALSE(way->isRoots);
}

class HelperWalkByAnother : public HelperWalk, public testing::WithParamInterface<NamedText> {};

TEST_P(HelperWalkByAnother, IsNotItsOwners) {
    makeLink(makeDirectory(roots() + "/roots"), usersDirectory() + "/link", servedUser);
    makeLink(makeDirectory(usersDirectory() + "/own", servedUser),
             sandbox::everybodysDirectory + "/link", servedUser);
    makeDirectory(usersDirectory() + "/inner", servedUser);
    const auto way = walk(GetParam().value);
    ASSERT_TRUE(way);
    EXPECT_FALSE(way->isOwners());
    EXPECT_FALSE(way->isRoots);
}

INSTANTIATE_TEST_SUITE_P(
    , HelperWalkByAnother,
    testing::Values(
        NamedText{{"UsersLinkToRoots"}, sandbox::everybodysDirectory + "/user" + "/link"},
        NamedText{{"LinkInEverybodysDirectory"}, sandbox::everybodysDirectory + "/link"},
        NamedText{{"UpFromTheUsersDirectory"},
                  sandbox::everybodysDirectory + "/user" + "/inner/../../../mnt/roots"}),
    nameOfCase);

TEST_F(HelperWalk, IsNotRootsByAUsersLinkInRootsDirectory) {
    makeDirectory(roots() + "/a");
    makeLink("a", roots() + "/link", servedUser);
    const auto way = walk(roots() + "/link");
    ASSERT_TRUE(way);
    EXPECT_FALSE(way->isRoots);
}

TEST_F(HelperWalk, TellsWhoMayChangeAnItem) {
    const auto isChangeable = [](const std::string& path) {
        return openItem(AT_FDCWD, path)->isChangeable();
    };
    EXPECT_FALSE(isChangeable(makeDirectory(roots() + "/roots")));
    EXPECT_TRUE(isChangeable(makeDirectory(roots() + "/users", servedUser)));
    EXPECT_TRUE(isChangeable(makeDirectory(roots() + "/groups", 0, 0775)));
    EXPECT_TRUE(isChangeable(makeDirectory(roots() + "/everybodys", 0, 0757)));
    EXPECT_FALSE(isChangeable(makeLink("roots", roots() + "/link", 0)));
}
