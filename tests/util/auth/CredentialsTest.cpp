// No memory is given back with a password in it. This program looks at all that is.

#include "util/auth/QFAuthorization.h"

#include "tests/support/DescribedMachine.h"
#include "tests/support/NamedCase.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

/// Longer than a string keeps in itself.
const std::string longPassword = "eleven apples and a half of a pear";
const std::string shortPassword = "nine figs";

std::atomic<bool> isWatching{false};
std::atomic<int> found{0};

void lookAt(void* memory) {
    if (!isWatching || memory == nullptr) {
        return;
    }
    const std::size_t size = ::malloc_usable_size(memory);
    for (const auto* password : {&longPassword, &shortPassword}) {
        const bool isThere = ::memmem(memory, size, password->data(), password->size()) != nullptr;
        found += isThere ? 1 : 0;
    }
}

/// Counts the pieces of memory that are given back with a password during a scope.
class Watch {
public:
    Watch() {
        found = 0;
        isWatching = true;
    }
    ~Watch() { isWatching = false; }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    Watch(Watch&&) = delete;
    Watch& operator=(Watch&&) = delete;

    static int count() { return found; }
};

/// Keeps nothing of what it is given, and looks whether it is given a password.
class ForgetfulServices : public RecordingAuthorizationServices {
public:
    bool hasSeenPassword = false;

    qf::AuthorizationResult<qf::AuthorizationRef>
    create(const qf::AuthorizationItemSet& /*environment*/,
           qf::AuthorizationFlags /*flags*/) override {
        return qf::AuthorizationRef{1};
    }
    qf::AuthorizationResult<void> copyRights(qf::AuthorizationRef /*ref*/,
                                             const qf::AuthorizationRights& /*rights*/,
                                             const qf::AuthorizationItemSet& environment,
                                             qf::AuthorizationFlags /*flags*/) override {
        const std::string& password = environment.at(1).value;
        hasSeenPassword = password == longPassword || password == shortPassword;
        return {};
    }
};

using GivenCredentials = DescribedMachine;

} // namespace

void* operator new(std::size_t size) {
    void* const memory = std::malloc(size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return std::malloc(size);
}
void operator delete(void* memory) noexcept {
    lookAt(memory);
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    lookAt(memory);
    std::free(memory);
}

class GivenPasswords : public GivenCredentials,
                       public testing::WithParamInterface<NamedValue<const std::string*>> {};

TEST_P(GivenPasswords, AreWipedWhenTheyHaveBeenUsed) {
    ForgetfulServices forgetful;
    const qf::ScopedService<qf::AuthorizationServices> scope(forgetful);
    auto& controller = QFAuthorization::sharedController();
    const std::optional<std::string> given = *GetParam().value;
    const Watch watch;
    EXPECT_TRUE(controller.authStartWithUser("someone", given));
    EXPECT_TRUE(forgetful.hasSeenPassword);
    EXPECT_EQ(Watch::count(), 0);
}

INSTANTIATE_TEST_SUITE_P(, GivenPasswords,
                         testing::Values(NamedValue<const std::string*>{{"Long"}, &longPassword},
                                         NamedValue<const std::string*>{{"Short"}, &shortPassword}),
                         nameOfCase);

TEST_F(GivenCredentials, WouldBeFoundIfTheyWereNotWiped) {
    const Watch watch;
    { const auto copies = std::vector<std::string>{longPassword, shortPassword}; }
    EXPECT_GE(Watch::count(), 2);
}
