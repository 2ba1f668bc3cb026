#include "app/Explanations.h"

#include "platform/Services.h"
#include "platform/foundation/Thread.h"
#include "tests/support/NoThreadsLeft.h"
#include "tests/support/UpperCaseLanguage.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>

namespace {

/// Returns the explanation of the exception that the work ends with.
std::string explained(const std::function<void()>& work) {
    try {
        work();
    } catch (const std::exception& exception) {
        return explanationOf(exception);
    }
    return "";
}

std::string withoutThreads() {
    const NoThreadsLeft none;
    return explained([] { qf::detachNewThread([] {}); });
}

std::string withoutMemory() {
    return explained([] { throw std::bad_alloc(); });
}

} // namespace

TEST(Explanations, SayWhatTheSystemLacks) {
    EXPECT_EQ(withoutMemory(), "The system has no memory left.");
    EXPECT_EQ(withoutThreads(), "The system cannot start another thread.");
}

TEST(Explanations, AreInTheLanguageOfThePerson) {
    UpperCaseLanguage language;
    const qf::ScopedService<qf::Language> shown(language);

    EXPECT_EQ(withoutMemory(), "THE SYSTEM HAS NO MEMORY LEFT.");
    EXPECT_EQ(withoutThreads(), "THE SYSTEM CANNOT START ANOTHER THREAD.");
}

TEST(Explanations, AreTheReasonsOfOtherExceptions) {
    EXPECT_EQ(explained([] { throw qf::Exception("QFName", "a reason"); }), "a reason");
}
