#include "platform/linux/files/CreationDate.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/xattr.h>
#include <unistd.h>

#include <cstring>

using qf::Date;
using qf::ItemKind;
using qf::native::failedWith;
using qf::native::storeCreationDate;
using qf::native::storedCreationDate;

namespace {

class CreationDateTest : public testing::Test {
protected:
    void SetUp() override {
        if (failedWith(storeCreationDate(file_, Date()), EOPNOTSUPP, ENOSYS, EPERM)) {
            GTEST_SKIP() << "the temporary folder's volume has no extended attributes";
        }
        ::removexattr(file_.c_str(), attribute);
    }

    static constexpr const char* attribute = "user.qf.creationdate";
    TemporaryDirectory directory_;
    std::string file_ = directory_.write("file");
};

TEST_F(CreationDateTest, IsKeptToTheNanosecond) {
    const Date date(std::chrono::nanoseconds(1'234'567'890'123'456'789));

    ASSERT_TRUE(storeCreationDate(file_, date));

    EXPECT_EQ(storedCreationDate(file_, ItemKind::file), date);
}

TEST_F(CreationDateTest, MayLieBeforeTheEpoch) {
    const Date date(std::chrono::seconds(-86400));

    ASSERT_TRUE(storeCreationDate(file_, date));

    EXPECT_EQ(storedCreationDate(file_, ItemKind::file), date);
}

TEST_F(CreationDateTest, IsUnknownUntilItIsSet) {
    EXPECT_EQ(storedCreationDate(file_, ItemKind::file), std::nullopt);
}

TEST_F(CreationDateTest, IsSetThroughALinkAndNotReadThroughOne) {
    const auto link = directory_ / "link";
    ::symlink("file", link.c_str());

    ASSERT_TRUE(storeCreationDate(link, Date()));

    EXPECT_TRUE(storedCreationDate(file_, ItemKind::file));
    EXPECT_FALSE(storedCreationDate(link, ItemKind::link));
}

TEST_F(CreationDateTest, TellsWhyItCannotBeSet) {
    EXPECT_EQ(storeCreationDate(directory_ / "missing", Date()).error().number(), ENOENT);
}

class CreationDateText : public CreationDateTest,
                         public testing::WithParamInterface<const char*> {};

TEST_P(CreationDateText, IsNoDate) {
    ASSERT_EQ(::setxattr(file_.c_str(), attribute, GetParam(), std::strlen(GetParam()), 0), 0);

    EXPECT_EQ(storedCreationDate(file_, ItemKind::file), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(All, CreationDateText,
                         testing::Values("", "soon", "12x", " 12", "99999999999999999999",
                                         "123456789012345678901234567890"));

} // namespace
