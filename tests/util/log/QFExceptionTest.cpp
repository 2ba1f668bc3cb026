#include "util/log/QFException.h"

#include "tests/util/log/LogTest.h"

using qf::Exception;

namespace {

class ExceptionReporting : public LogTest {
protected:
    ExceptionReporting() { useEmptyLog(); }
};

} // namespace

TEST_F(ExceptionReporting, LogsPrintsAndReturnsOneFixedForm) {
    const auto text = QFException::logException(
        Exception("NSInvalidArgumentException", "launch path not accessible"), "runTask");
    EXPECT_EQ(text, "Exception in runTask. NSInvalidArgumentException - launch path not "
                    "accessible.");
    EXPECT_EQ(content(1), entry(text));
    EXPECT_EQ(console.printed(), text + "\n");
}

TEST_F(ExceptionReporting, TakesTheTextForAFormatOnceMore) {
    const auto text = QFException::logException(Exception("Name", "50% of %d, %%@"), "m");
    EXPECT_EQ(text, "Exception in m. Name - 50% of %d, %%@.");
    EXPECT_EQ(content(1), entry("Exception in m. Name - 50% of %d, %@."));
}

TEST_F(ExceptionReporting, LogsNothingWhenLoggingIsDisabled) {
    log.setLoggingDisabled(true);
    EXPECT_EQ(QFException::logException(Exception("N", "r"), "m"), "Exception in m. N - r.");
    EXPECT_EQ(content(1), "");
    EXPECT_EQ(console.printed(), "");
}

TEST_F(ExceptionReporting, RecognisesTheTimeoutOfAPortByItsName) {
    EXPECT_TRUE(QFException::didTimeout(Exception("NSPortTimeoutException", "")));
    EXPECT_FALSE(QFException::didTimeout(Exception("NSInvalidArgumentException", "")));
    EXPECT_FALSE(QFException::didTimeout(Exception("", "NSPortTimeoutException")));
}

TEST_F(ExceptionReporting, TakesTheReasonOfWhatNobodyCaughtForAFormat) {
    qf::uncaughtExceptionHandler(Exception("NSGenericException", "%%%%x"));
    EXPECT_EQ(contentOf(logPath(1)), entry("%x"));
}

TEST_F(ExceptionReporting, WritesTheReasonAloneOfWhatNobodyCaught) {
    const std::string reason(200, 'r');
    qf::uncaughtExceptionHandler(Exception("NSGenericException", reason));
    EXPECT_EQ(contentOf(logPath(1)), entry(reason));
    EXPECT_EQ(console.printed(), reason + "\n");
}
