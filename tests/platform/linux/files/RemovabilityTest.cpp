#include "platform/linux/files/Removability.h"

#include "tests/support/NamedCase.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>

using qf::native::checkRemovable;

namespace {

constexpr uid_t user = 1000;
constexpr uid_t other = 1001;

struct statx itemOf(uid_t owner) {
    struct statx status {};
    status.stx_uid = owner;
    return status;
}

struct statx directoryOf(uid_t owner, mode_t mode) {
    auto status = itemOf(owner);
    status.stx_mode = static_cast<std::uint16_t>(S_IFDIR | mode);
    return status;
}

struct Attribute : NamedCase {
    std::uint64_t flag;
    int number;
};

class RemovabilityOfAttribute : public testing::TestWithParam<Attribute> {};

TEST_P(RemovabilityOfAttribute, IsRefused) {
    auto item = itemOf(user);
    item.stx_attributes = item.stx_attributes_mask = GetParam().flag;

    const auto checked = checkRemovable(item, nullptr, user);

    ASSERT_FALSE(checked);
    EXPECT_EQ(checked.error().number(), GetParam().number);
}

INSTANTIATE_TEST_SUITE_P(, RemovabilityOfAttribute,
                         testing::Values(Attribute{{"Immutable"}, STATX_ATTR_IMMUTABLE, EPERM},
                                         Attribute{{"AppendOnly"}, STATX_ATTR_APPEND, EPERM},
                                         Attribute{{"MountRoot"}, STATX_ATTR_MOUNT_ROOT, EBUSY}),
                         nameOfCase);

TEST(Removability, DoesNotCountALockThatTheFileSystemDoesNotKnow) {
    auto item = itemOf(user);
    item.stx_attributes = STATX_ATTR_IMMUTABLE;
    EXPECT_TRUE(checkRemovable(item, nullptr, user));
}

/// Who owns a directory and an item in it, and who would delete that.
struct Owners : NamedCase {
    mode_t mode;
    uid_t ofDirectory;
    uid_t ofItem;
    uid_t remover;
    bool isRemovable;
};

class RemovabilityInDirectory : public testing::TestWithParam<Owners> {};

TEST_P(RemovabilityInDirectory, DependsOnTheOwners) {
    const auto& owners = GetParam();
    const auto directory = directoryOf(owners.ofDirectory, owners.mode);
    const auto checked = checkRemovable(itemOf(owners.ofItem), &directory, owners.remover);
    EXPECT_EQ(checked.ok(), owners.isRemovable);
    EXPECT_EQ(failedWith(checked, EPERM), !owners.isRemovable);
}

INSTANTIATE_TEST_SUITE_P(
    , RemovabilityInDirectory,
    testing::Values(Owners{{"OthersItemInAStickyDirectory"}, 01777, 0, other, user, false},
                    Owners{{"OwnItemInAStickyDirectory"}, 01777, 0, user, user, true},
                    Owners{{"OthersItemInAnOwnStickyDirectory"}, 01777, user, other, user, true},
                    Owners{{"OthersItemForTheSuperuser"}, 01777, other, other, 0, true},
                    Owners{{"OthersItemInAnOrdinaryDirectory"}, 0777, 0, other, user, true}),
    nameOfCase);

} // namespace
