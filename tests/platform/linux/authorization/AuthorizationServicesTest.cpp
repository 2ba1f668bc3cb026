// The handles of the administrator's right. tests/e2e/authorization-checks has the right itself.

#include "platform/linux/authorization/AuthorizationServices.h"

#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <mutex>
#include <optional>
#include <set>
#include <thread>

using namespace qf;

namespace {

class AuthorizationHandles : public testing::Test {
protected:
    AuthorizationRef create() { return services.create({}, kAuthorizationFlagDefaults).value(); }
    AuthorizationStatus request(AuthorizationRef ref, const std::string& right,
                                AuthorizationFlags flags) {
        return services.copyRights(ref, {right}, {}, flags).error();
    }
    AuthorizationStatus execute(AuthorizationRef ref) {
        return services
            .executeWithPrivileges(ref, "/bin/true", kAuthorizationFlagDefaults, {}, std::nullopt)
            .error();
    }

    void expectInvalid(AuthorizationRef ref) {
        EXPECT_EQ(request(ref, administrator, ask), errAuthorizationInvalidRef);
        EXPECT_EQ(execute(ref), errAuthorizationInvalidRef);
        EXPECT_FALSE(services.holdsRights(ref));
    }

    native::AuthorizationServices services{{"/no/pkexec", "/no/helper"}};
    static constexpr const char* administrator = "system.privilege.admin";
    static constexpr AuthorizationFlags extend = kAuthorizationFlagExtendRights;
    static constexpr AuthorizationFlags ask =
        kAuthorizationFlagExtendRights + kAuthorizationFlagInteractionAllowed;

private:
    ScopedEnvironment bus_{"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/no/bus"};
    ScopedEnvironment inherited_{"QF_AUTHORIZATION_DESCRIPTOR", std::nullopt};
};

} // namespace

TEST_F(AuthorizationHandles, AreDifferentAndHoldNoRightAtFirst) {
    const auto first = create();
    const auto second = create();
    EXPECT_NE(first, AuthorizationRef::none);
    EXPECT_NE(first, second);
    EXPECT_FALSE(services.holdsRights(first));
    EXPECT_EQ(execute(first), errAuthorizationDenied);
}

TEST_F(AuthorizationHandles, AreMadeAndFreedByManyThreadsAtOnce) {
    constexpr int count = 3000;
    std::mutex mutex;
    std::set<AuthorizationRef> refs;
    const auto makeAndFree = [&] {
        for (int i = 0; i < count; ++i) {
            const auto ref = create();
            ASSERT_EQ(request(ref, "another.right", extend), errAuthorizationDenied);
            ASSERT_EQ(request(ref, administrator, extend), errAuthorizationDenied); // gives all up
            services.free(ref, kAuthorizationFlagDefaults);
            const std::lock_guard lock(mutex);
            ASSERT_TRUE(refs.insert(ref).second);
        }
    };
    {
        const std::jthread first(makeAndFree);
        const std::jthread second(makeAndFree);
        makeAndFree();
    }

    EXPECT_EQ(refs.size(), 3U * count);
}

TEST_F(AuthorizationHandles, AreInvalidWhenTheyWereFreed) {
    const auto freed = create();
    services.free(freed, kAuthorizationFlagDefaults);
    services.free(freed, kAuthorizationFlagDefaults);
    expectInvalid(freed);
}

TEST_F(AuthorizationHandles, AreInvalidWhenTheyWereNeverIssued) {
    expectInvalid(AuthorizationRef::none);
    expectInvalid(AuthorizationRef{99});
}

TEST_F(AuthorizationHandles, AreGivenNoRightThatMayNotBeAddedAndNoOther) {
    const auto ref = create();
    EXPECT_EQ(request(ref, administrator, kAuthorizationFlagInteractionAllowed),
              errAuthorizationDenied);
    EXPECT_EQ(request(ref, "system.preferences", ask), errAuthorizationDenied);
    EXPECT_EQ(request(ref, administrator, extend), errAuthorizationDenied); // no credentials
}

TEST_F(AuthorizationHandles, GetNoRightWithoutPolkit) {
    EXPECT_EQ(request(create(), administrator, ask), errAuthorizationInternal);
}

TEST_F(AuthorizationHandles, AreNotInheritedFromNobody) {
    EXPECT_EQ(services.copyPrivilegedReference(kAuthorizationFlagDefaults).error(),
              errAuthorizationInternal);
}

TEST_F(AuthorizationHandles, AreAskedForByManyThreadsAtOnceWhereNoneIsInherited) {
    const auto inherit = [&] {
        EXPECT_EQ(services.copyPrivilegedReference(kAuthorizationFlagDefaults).error(),
                  errAuthorizationInternal);
    };
    const std::jthread first(inherit);
    const std::jthread second(inherit);
    inherit();
}

/// A directory beside the place that an item was moved to.
class UnfinishedMoves : public testing::Test {
protected:
    void SetUp() override {
        if (::geteuid() != 0) {
            GTEST_SKIP() << "only root can make a directory of root's";
        }
    }
    bool mayBeThere() { return services.mayHaveUnfinishedMove(folder / "item"); }

    TemporaryDirectory folder;
    native::AuthorizationServices services{{"/no/pkexec", "/no/helper"}};
};

TEST_F(UnfinishedMoves, AreToldByTheDirectoryOfAHelper) {
    folder.makeDirectory(".qf-helper-12");
    EXPECT_TRUE(mayBeThere());
}

TEST_F(UnfinishedMoves, AreNotToldByWhatIsNoSuchDirectory) {
    EXPECT_FALSE(mayBeThere());
    folder.makeDirectory("folder");
    folder.write(".qf-helper-1");
    ASSERT_EQ(::chown(folder.makeDirectory(".qf-helper-2").c_str(), 12345, 0), 0);
    EXPECT_FALSE(mayBeThere());
}

TEST_F(UnfinishedMoves, AreNotInADirectoryOfAUsers) {
    folder.makeDirectory(".qf-helper-1");
    ASSERT_EQ(::chown(folder.path().c_str(), 12345, 0), 0);
    EXPECT_FALSE(mayBeThere());
}

TEST_F(UnfinishedMoves, AreNotWhereNoDirectoryIs) {
    EXPECT_FALSE(services.mayHaveUnfinishedMove(folder / "missing/item"));
}
