#include "platform/linux/posix/Errors.h"

#include "tests/support/UpperCaseLanguage.h"

#include <gtest/gtest.h>

#include <cerrno>

using qf::native::Errno;
using qf::native::failureSentence;
using qf::native::posixError;
using qf::native::reason;

TEST(Errors, NameTheItemTheDeedAndTheReason) {
    const auto error = posixError(Errno(EACCES), "a.txt", "removed");

    EXPECT_EQ(error.domain, "NSPOSIXErrorDomain");
    EXPECT_EQ(error.code, EACCES);
    EXPECT_EQ(error.localizedDescription,
              "“a.txt” couldn’t be removed because you don’t have permission.");
}

TEST(Errors, ShowANameThatIsNoTextInPrintableForm) {
    EXPECT_EQ(failureSentence("a\xFF\nb", "removed", "it is in use"),
              "“a\\xFF\\x0Ab” couldn’t be removed because it is in use.");
}

TEST(Errors, FallBackOnTheSystemsWordsForARareNumber) {
    EXPECT_EQ(reason(Errno(ENOTSOCK)), "the system reports: Socket operation on non-socket");
    EXPECT_EQ(reason(Errno(54321)), "the system reports: 54321");
}

TEST(Errors, AreInTheLanguageOfThePerson) {
    UpperCaseLanguage language;
    const qf::ScopedService<qf::Language> scope(language);

    EXPECT_EQ(
        posixError(Errno(EACCES), "a.txt", qf::native::participle::removed).localizedDescription,
        "“a.txt” COULDN’T BE REMOVED BECAUSE YOU DON’T HAVE PERMISSION.");
    EXPECT_EQ(reason(Errno(54321)), "THE SYSTEM REPORTS: 54321");
}
