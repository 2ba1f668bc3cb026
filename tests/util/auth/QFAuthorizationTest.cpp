#include "util/auth/QFAuthorization.h"

#include "tests/support/DescribedMachine.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <future>
#include <latch>
#include <optional>
#include <utility>

using qf::AuthorizationItemSet;
using qf::AuthorizationRef;
using Calls = std::vector<AuthorizationCall>;

namespace {

constexpr AuthorizationRef first{1};
constexpr AuthorizationRef second{2};
constexpr AuthorizationRef inheritedRef{77};

const qf::AuthorizationRights administrator{"system.privilege.admin"};

AuthorizationCall freeing(AuthorizationRef ref) {
    return {.operation = "free", .ref = ref, .flags = 0};
}

class QFAuthorizationTest : public DescribedMachine {
protected:
    static QFAuthorization& controller() { return QFAuthorization::sharedController(); }

    void leaveARightToThisProcess() { services.inherited = inheritedRef; }
};

} // namespace

TEST_F(QFAuthorizationTest, ThereIsOneController) {
    EXPECT_EQ(&QFAuthorization::sharedController(), &QFAuthorization::sharedController());
    EXPECT_EQ(services.inheritanceFlags.size(), 1U);
}

TEST_F(QFAuthorizationTest, ConcurrentFirstRequestsMakeOneController) {
    constexpr int count = 8;
    std::latch start(count);
    std::vector<QFAuthorization*> seen(count);
    {
        std::vector<std::future<void>> threads;
        threads.reserve(count);
        for (auto& controller : seen) {
            threads.push_back(std::async(std::launch::async, [&start, &controller] {
                start.arrive_and_wait();
                controller = &QFAuthorization::sharedController();
            }));
        }
    }
    EXPECT_EQ(std::ranges::count(seen, &QFAuthorization::sharedController()), count);
    EXPECT_EQ(services.inheritanceFlags.size(), 1U);
}

TEST_F(QFAuthorizationTest, HasAUserInterfaceUnlessMadeWithout) {
    EXPECT_TRUE(QFAuthorization::sharedController().hasGUI());
}

TEST_F(QFAuthorizationTest, CanBeMadeWithoutAUserInterface) {
    EXPECT_FALSE(QFAuthorization::sharedController(qf::UserInterface::no).hasGUI());
    EXPECT_EQ(services.inheritanceFlags.size(), 1U);
}

TEST_F(QFAuthorizationTest, TheFirstRequestDecidesTheMode) {
    auto& made = QFAuthorization::sharedController();
    auto& later = QFAuthorization::sharedController(qf::UserInterface::no);
    EXPECT_EQ(&made, &later);
    EXPECT_TRUE(later.hasGUI());
}

TEST_F(QFAuthorizationTest, ALaterRequestForAUserInterfaceDoesNotChangeTheMode) {
    QFAuthorization::sharedController(qf::UserInterface::no);
    EXPECT_FALSE(QFAuthorization::sharedController().hasGUI());
}

TEST_F(QFAuthorizationTest, ASecondAllocationReturnsNothing) {
    QFAuthorization* made = QFAuthorization::allocWithZone();
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(QFAuthorization::allocWithZone(), nullptr);
    EXPECT_EQ(&QFAuthorization::sharedController(), made);
}

TEST_F(QFAuthorizationTest, AllocationReturnsNothingOnceTheControllerIsShared) {
    QFAuthorization::sharedController();
    EXPECT_EQ(QFAuthorization::allocWithZone(), nullptr);
}

TEST_F(QFAuthorizationTest, AnAllocatedControllerIsSetUpInEitherMode) {
    leaveARightToThisProcess();
    QFAuthorization* made = QFAuthorization::allocWithZone();
    EXPECT_EQ(&made->initWithoutGUI(), made);
    EXPECT_FALSE(made->hasGUI());
    EXPECT_EQ(made->authRef(), inheritedRef);
    EXPECT_EQ(&made->init(), made);
    EXPECT_TRUE(made->hasGUI());
}

TEST_F(QFAuthorizationTest, SettingUpForgetsAHandle) {
    QFAuthorization* made = QFAuthorization::allocWithZone();
    made->setAuthRef(first);
    EXPECT_EQ(made->init().authRef(), AuthorizationRef::none);
}

TEST_F(QFAuthorizationTest, CopiesAndReferencesAreTheControllerItself) {
    EXPECT_EQ(&controller().copyWithZone(), &controller());
    EXPECT_EQ(&controller().retain(), &controller());
    EXPECT_EQ(&controller().autorelease(), &controller());
}

TEST_F(QFAuthorizationTest, ReleasingDoesNothingAndTheCountIsTheLargestThereIs) {
    auto& made = controller();
    made.release();
    EXPECT_EQ(&controller(), &made);
    EXPECT_EQ(made.retainCount(), 4294967295U);
}

TEST_F(QFAuthorizationTest, DisposalGivesTheRightUpAndMakesRoomForAnother) {
    controller().authStart();
    services.calls.clear();
    controller().dealloc();
    EXPECT_EQ(services.calls, Calls{freeing(first)});
    EXPECT_FALSE(controller().isAuthorized());
}

TEST_F(QFAuthorizationTest, TheAccessorsReadWhatTheyWrote) {
    controller().setAuthRef(second);
    EXPECT_EQ(controller().authRef(), second);
    controller().setHasGUI(false);
    EXPECT_FALSE(controller().hasGUI());
}

TEST_F(QFAuthorizationTest, IsUnauthorizedAtFirst) {
    EXPECT_FALSE(controller().isAuthorized());
    EXPECT_EQ(controller().authRef(), AuthorizationRef::none);
    EXPECT_EQ(services.inheritanceFlags, std::vector<qf::AuthorizationFlags>{0});
    EXPECT_EQ(services.calls, Calls{});
}

TEST_F(QFAuthorizationTest, AnInheritedHandleAuthorizesFromTheStart) {
    leaveARightToThisProcess();
    EXPECT_TRUE(controller().isAuthorized());
    EXPECT_EQ(controller().authRef(), inheritedRef);
    EXPECT_TRUE(controller().authStart());
    EXPECT_EQ(services.calls, Calls{});
}

TEST_F(QFAuthorizationTest, WithoutAnInheritedHandleThereIsNoRight) {
    services.inherited = qf::Unexpected(qf::errAuthorizationDenied);
    EXPECT_FALSE(controller().isAuthorized());
}

TEST_F(QFAuthorizationTest, CanAuthorizeOnlyWithAUserInterface) {
    EXPECT_TRUE(controller().canAuthorize());
    controller().setHasGUI(false);
    EXPECT_FALSE(controller().canAuthorize());
}

TEST_F(QFAuthorizationTest, StartingAsksTheUserForTheAdministratorsRight) {
    EXPECT_TRUE(controller().authStart());
    const Calls expected{
        {.operation = "create", .flags = 0},
        {.operation = "copyRights", .ref = first, .rights = administrator, .flags = 19},
    };
    EXPECT_EQ(services.calls, expected);
    EXPECT_TRUE(controller().isAuthorized());
    EXPECT_EQ(controller().authRef(), first);
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(QFAuthorizationTest, StartingAgainAsksNothing) {
    controller().authStart();
    services.calls.clear();
    EXPECT_TRUE(controller().authStart());
    EXPECT_EQ(services.calls, Calls{});
}

TEST_F(QFAuthorizationTest, StartingWithoutAUserInterfaceFailsWithALine) {
    auto& made = QFAuthorization::sharedController(qf::UserInterface::no);
    EXPECT_FALSE(made.authStart());
    EXPECT_EQ(console.systemLogLines(), Lines{"Unable to authorize"});
    EXPECT_EQ(loggedLines(), Lines{});
    EXPECT_EQ(services.calls, Calls{});
}

TEST_F(QFAuthorizationTest, AHeldRightNeedsNoUserInterface) {
    controller().authStart();
    controller().setHasGUI(false);
    EXPECT_TRUE(controller().authStart());
}

TEST_F(QFAuthorizationTest, StartingFailsSilentlyWhenNoHandleCanBeMade) {
    services.createStatus = qf::errAuthorizationInternal;
    EXPECT_FALSE(controller().authStart());
    EXPECT_EQ(services.calls, (Calls{{.operation = "create", .flags = 0}}));
    EXPECT_EQ(controller().authRef(), AuthorizationRef::none);
    EXPECT_EQ(console.systemLogLines(), Lines{});
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(QFAuthorizationTest, ADismissedPromptGivesTheHandleBackSilently) {
    services.rightsStatus = qf::errAuthorizationCanceled;
    EXPECT_FALSE(controller().authStart());
    ASSERT_EQ(services.calls.size(), 3U);
    EXPECT_EQ(services.calls[2], freeing(first));
    EXPECT_FALSE(controller().isAuthorized());
    EXPECT_EQ(console.systemLogLines(), Lines{});
    EXPECT_EQ(loggedLines(), Lines{});
}

TEST_F(QFAuthorizationTest, StartingSaysWhyItFailed) {
    services.rightsStatus = qf::errAuthorizationCanceled;
    const auto dismissed = controller().authStartWithResult();
    EXPECT_EQ(dismissed.error().code, qf::errAuthorizationCanceled);
    EXPECT_EQ(dismissed.error().localizedDescription, "The administrator’s right was not granted.");
    controller().setHasGUI(false);
    const auto silent = controller().authStartWithResult();
    EXPECT_EQ(silent.error().code, QFAuthorization::notAuthorized);
    EXPECT_EQ(silent.error().localizedDescription, "Unable to authorize");
}

TEST_F(QFAuthorizationTest, StartingWithCredentialsSaysWhyItFailed) {
    const auto failure = [] {
        return controller().authStartWithUserWithResult("someone", "wrong").error();
    };
    services.rightsStatus = qf::errAuthorizationDenied;
    EXPECT_EQ(failure().code, qf::errAuthorizationDenied);
    EXPECT_EQ(failure().localizedDescription, "Authorization failed. Invalid username or password");
    services.createStatus = qf::errAuthorizationInternal;
    EXPECT_EQ(failure().code, qf::errAuthorizationInternal);
    EXPECT_EQ(controller()
                  .authStartWithUserWithResult(std::nullopt, "secret")
                  .error()
                  .localizedDescription,
              "The user’s name or password is missing.");
}

TEST_F(QFAuthorizationTest, ARefusalIsAskedAgainOnlyWhenTheCallerStartsAgain) {
    services.rightsStatus = qf::errAuthorizationDenied;
    EXPECT_FALSE(controller().authStart());
    services.rightsStatus = qf::errAuthorizationSuccess;
    EXPECT_TRUE(controller().authStart());
    EXPECT_EQ(controller().authRef(), second);
}

TEST_F(QFAuthorizationTest, StartingWithCredentialsAsksNobody) {
    EXPECT_TRUE(controller().authStartWithUser("zoë", "pass wörd"));
    const AuthorizationItemSet credentials{
        {.name = "username", .value = "zo\xC3\xAB", .flags = 0},
        {.name = "password", .value = "pass w\xC3\xB6rd", .flags = 0}};
    const Calls expected{
        {.operation = "create", .environment = credentials, .flags = 0},
        {.operation = "copyRights",
         .ref = first,
         .rights = administrator,
         .environment = credentials,
         .flags = 18},
    };
    EXPECT_EQ(services.calls, expected);
    EXPECT_TRUE(controller().isAuthorized());
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(QFAuthorizationTest, CredentialsNeedNoUserInterface) {
    EXPECT_TRUE(
        QFAuthorization::sharedController(qf::UserInterface::no).authStartWithUser("a", "b"));
}

TEST_F(QFAuthorizationTest, AMissingNameOrPasswordIsRefusedAtOnceAndSilently) {
    EXPECT_FALSE(controller().authStartWithUser(std::nullopt, "secret"));
    EXPECT_FALSE(controller().authStartWithUser("someone", std::nullopt));
    EXPECT_EQ(services.calls, Calls{});
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(QFAuthorizationTest, AMissingNameLeavesAHeldHandle) {
    controller().authStart();
    EXPECT_FALSE(controller().authStartWithUser(std::nullopt, "secret"));
    EXPECT_EQ(controller().authRef(), first);
}

TEST_F(QFAuthorizationTest, AnEmptyPasswordIsTried) {
    EXPECT_TRUE(controller().authStartWithUser("someone", ""));
    ASSERT_EQ(services.calls.size(), 2U);
    EXPECT_EQ(services.calls[0].environment[1].value, "");
}

TEST_F(QFAuthorizationTest, CredentialsReplaceAHeldHandleWithoutFreeingIt) {
    controller().authStart();
    services.calls.clear();
    EXPECT_TRUE(controller().authStartWithUser("someone", "secret"));
    EXPECT_EQ(controller().authRef(), second);
    EXPECT_EQ(services.calls.size(), 2U);
}

TEST_F(QFAuthorizationTest, CredentialsWithoutAHandleFailWithTheStatusInTheSystemLog) {
    controller().setAuthRef(first);
    services.createStatus = -60008;
    EXPECT_FALSE(controller().authStartWithUser("someone", "secret"));
    EXPECT_EQ(console.systemLogLines(), Lines{"Unable to create authRef - error -60008"});
    EXPECT_EQ(loggedLines(), Lines{});
    EXPECT_EQ(controller().authRef(), AuthorizationRef::none);
    EXPECT_EQ(services.calls.size(), 1U);
}

TEST_F(QFAuthorizationTest, WrongCredentialsGiveTheHandleBackAndStandInBothLogs) {
    services.rightsStatus = qf::errAuthorizationDenied;
    EXPECT_FALSE(controller().authStartWithUser("someone", "wrong"));
    const std::string line = "Authorization failed. Invalid username or password";
    EXPECT_EQ(console.systemLogLines(), Lines{line});
    EXPECT_EQ(loggedLines(), Lines{line});
    ASSERT_EQ(services.calls.size(), 3U);
    EXPECT_EQ(services.calls[2], freeing(first));
    EXPECT_FALSE(controller().isAuthorized());
}

TEST_F(QFAuthorizationTest, WrongCredentialsEndARightThatIsHeld) {
    controller().authStart();
    services.rightsStatus = qf::errAuthorizationDenied;
    EXPECT_FALSE(controller().authStartWithUser("someone", "wrong"));
    EXPECT_EQ(controller().authRef(), AuthorizationRef::none);
    EXPECT_FALSE(controller().isAuthorized());
}

TEST_F(QFAuthorizationTest, EndingFreesTheHandleAndTheNextStartAsksAgain) {
    controller().authStart();
    services.calls.clear();
    controller().authEnd();
    EXPECT_EQ(services.calls, Calls{freeing(first)});
    EXPECT_FALSE(controller().isAuthorized());
    EXPECT_TRUE(controller().authStart());
    EXPECT_EQ(controller().authRef(), second);
}

TEST_F(QFAuthorizationTest, ARightThatHasNotLastedIsAskedForAgain) {
    EXPECT_TRUE(controller().authStart());
    services.rightsLast = false;
    EXPECT_FALSE(controller().isAuthorized());
    EXPECT_TRUE(controller().authStart());
    EXPECT_EQ(controller().authRef(), second);
    ASSERT_GE(services.calls.size(), 3U);
    EXPECT_EQ(services.calls[2], freeing(first));
    services.rightsLast = true;
    EXPECT_TRUE(controller().isAuthorized());
}

TEST_F(QFAuthorizationTest, EndingWithoutARightDoesNothing) {
    controller().authEnd();
    EXPECT_EQ(services.calls, Calls{});
}

TEST_F(QFAuthorizationTest, TheSuperuserIsAuthorizedWithoutAskingAnything) {
    becomeSuperuser();
    auto& made = QFAuthorization::sharedController(qf::UserInterface::no);
    EXPECT_TRUE(made.isAuthorized());
    EXPECT_TRUE(made.canAuthorize());
    EXPECT_TRUE(made.authStart());
    EXPECT_TRUE(made.authStartWithUser("someone", "secret"));
    EXPECT_TRUE(made.authStartWithUser(std::nullopt, std::nullopt));
    EXPECT_EQ(made.authRef(), AuthorizationRef::none);
    EXPECT_EQ(services.calls, Calls{});
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(QFAuthorizationTest, EndingForgetsTheSuperusersHandleWithoutFreeingIt) {
    becomeSuperuser();
    controller().setAuthRef(first);
    controller().authEnd();
    EXPECT_EQ(services.calls, Calls{});
    EXPECT_EQ(controller().authRef(), AuthorizationRef::none);
    EXPECT_TRUE(controller().isAuthorized());
}

/// A question that is answered only once another thread has come to ask it too.
class CrowdedQuestion : public RecordingAuthorizationServices {
public:
    std::atomic<int> questions{0};
    std::function<void()> askToo;
    std::future<void> other;

    qf::AuthorizationResult<void> copyRights(AuthorizationRef ref,
                                             const qf::AuthorizationRights& rights,
                                             const AuthorizationItemSet& environment,
                                             qf::AuthorizationFlags flags) override {
        if (questions++ == 0) {
            std::promise<void> came;
            auto coming = came.get_future();
            other = std::async(std::launch::async, [this, came = std::move(came)]() mutable {
                came.set_value();
                askToo();
            });
            coming.wait();
        }
        return RecordingAuthorizationServices::copyRights(ref, rights, environment, flags);
    }
};

TEST_F(QFAuthorizationTest, AsksOnceForThreadsThatComeTogether) {
    CrowdedQuestion crowded;
    const qf::ScopedService<qf::AuthorizationServices> scope(crowded);
    auto& made = controller();
    bool otherIsAuthorized = false;
    crowded.askToo = [&] { otherIsAuthorized = made.authStart(); };

    EXPECT_TRUE(made.authStart());
    crowded.other.get();

    EXPECT_TRUE(otherIsAuthorized);
    EXPECT_EQ(crowded.questions, 1);
    made.authEnd();
}

TEST_F(QFAuthorizationTest, TheHandleAndTheModeMayBeReadWhileAnotherThreadChangesThem) {
    auto& made = controller();
    const auto writer = std::async(std::launch::async, [&made] {
        for (int i = 0; i < 1000; ++i) {
            made.setAuthRef(first);
            made.setHasGUI(i % 2 == 0);
            made.setAuthRef(AuthorizationRef::none);
        }
    });
    for (int i = 0; i < 1000; ++i) {
        const auto ref = made.authRef();
        EXPECT_TRUE(ref == first || ref == AuthorizationRef::none);
        made.canAuthorize();
    }
}
