#include "app/cli/AccountReports.h"

#include "platform/Services.h"
#include "tests/app/cli/CliDoubles.h"
#include "tests/support/NamedCase.h"
#include "tests/support/PortDoubles.h"

#include <gtest/gtest.h>

using cli::AccountResult;
using cli::ExitStatus;
using cli::Json;
using qf::ScopedService;

namespace {

constexpr const char* row =
    R"({"action": "trash", "subject": "/a", "path": "/a", "names": ["a", "b"], "size": 12,
                                "outcome": "moved", "trashed": "/t/a"})";

std::string reportWith(const std::string& rows, const std::string& result = "complete") {
    return R"({"version": 1, "result": ")" + result + R"(", "rows": [)" + rows + "]}";
}

AccountResult resultOf(const std::string& report, int status = 0) {
    AccountResult result{.user = "anna", .home = "/home/anna", .status = {}};
    cli::takeReport(report, status, result);
    return result;
}

TEST(AccountReport, OfACompleteRunIsTakenOver) {
    const auto result = resultOf(reportWith(row));

    EXPECT_EQ(result.user, "anna");
    EXPECT_EQ(result.home, "/home/anna");
    EXPECT_EQ(result.status, ExitStatus::complete);
    EXPECT_EQ(result.rows, Json::array({Json::parse(row)}));
    EXPECT_EQ(lineOf(result), "anna: 1 item removed");
}

TEST(AccountReport, CountsWhatIsRemovedAndWhatIsLeft) {
    const auto result =
        resultOf(reportWith(R"({"outcome": "moved"}, {"outcome": "deleted"}, {"outcome": "absent"},
                               {"outcome": "left", "reason": "why"}, {"outcome": "signalled"})",
                            "leftInPlace"),
                 3);

    EXPECT_EQ(result.status, ExitStatus::leftInPlace);
    EXPECT_EQ(lineOf(result), "anna: 2 items removed, 1 item left in place");
}

TEST(AccountReport, SaysThatNotAllWasDeletedThatWasMoved) {
    EXPECT_EQ(lineOf(resultOf(reportWith(row), 3)),
              "anna: 1 item removed, not all of them deleted");
}

TEST(AccountReport, KeepsTheRowsOfARunThatCouldNotDeleteAll) {
    const auto result = resultOf(reportWith(row), 1);

    EXPECT_EQ(result.status, ExitStatus::failed);
    EXPECT_EQ(result.rows.size(), 1U);
    EXPECT_EQ(lineOf(result), "anna: failed: not all that was moved to the Trash could be deleted");
}

TEST(AccountReport, MakesControlCharactersVisible) {
    const auto result =
        resultOf(reportWith(R"({"outcome": "left", "reason": "a\u001b]0;b", "names": ["\u009bc"]})",
                            "leftInPlace"),
                 3);

    EXPECT_EQ(result.rows[0]["reason"], "a\\x1B]0;b");
    EXPECT_EQ(result.rows[0]["names"][0], "\\xC2\\x9Bc");
}

struct NoReport : NamedCase {
    std::string text;
    int status = 0;
};

class UnusableReport : public testing::TestWithParam<NoReport> {};

TEST_P(UnusableReport, IsAFailureOfTheAccount) {
    const auto result = resultOf(GetParam().text, GetParam().status);

    EXPECT_EQ(result.status, ExitStatus::failed);
    EXPECT_EQ(result.rows, Json::array());
    EXPECT_EQ(lineOf(result), "anna: failed: it has written no report of a run");
}

std::string repeated(const std::string& text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

INSTANTIATE_TEST_SUITE_P(
    All, UnusableReport,
    testing::Values(NoReport{{"Empty"}, ""}, NoReport{{"NoJson"}, "text"},
                    NoReport{{"CutShort"}, reportWith(row).substr(0, 50)},
                    NoReport{{"NoText"}, reportWith(R"({"outcome": "moved", "path": "\u00)")},
                    NoReport{{"InvalidUtf8"}, reportWith("{\"outcome\": \"\xFF\"}")},
                    NoReport{{"Array"}, "[]"}, NoReport{{"NoRows"}, R"({"result": "complete"})"},
                    NoReport{{"NoResult"}, R"({"rows": []})"},
                    NoReport{{"RowsNotAnArray"}, R"({"result": "complete", "rows": {}})"},
                    NoReport{{"RowNotAnObject"}, reportWith("1")},
                    NoReport{{"RowWithoutOutcome"}, reportWith(R"({"path": "/a"})")},
                    NoReport{{"PathNotText"}, reportWith(R"({"outcome": "moved", "path": [1]})")},
                    NoReport{{"SizeNotANumber"}, reportWith(R"({"outcome": "left", "size": "1"})")},
                    NoReport{{"NegativeSize"}, reportWith(R"({"outcome": "left", "size": -1})")},
                    NoReport{{"NameNotText"}, reportWith(R"({"outcome": "left", "names": [[]]})")},
                    NoReport{{"WithMoreThanARowHas"},
                             reportWith(R"({"outcome": "left", "more": "a"})")},
                    NoReport{{"Unfinished"}, reportWith("", "running")},
                    NoReport{{"OfAnotherStatus"}, reportWith(row), 2},
                    NoReport{{"LeftWithStatusOfComplete"}, reportWith(row, "leftInPlace")},
                    NoReport{{"Deep"}, repeated("[", 500000)},
                    NoReport{{"DeepAndWhole"},
                             reportWith(R"({"outcome": "moved", "names": )" +
                                        repeated("[", 200000) + repeated("]", 200000) + "}")}),
    nameOfCase);

TEST(AccountResults, AreAsGoodAsTheWorst) {
    const AccountResult passedOver{.user = "a", .home = "/a", .status = {}, .reason = "why"};
    const AccountResult complete{.user = "b", .home = "/b", .status = ExitStatus::complete};
    const AccountResult left{.user = "c", .home = "/c", .status = ExitStatus::leftInPlace};
    const AccountResult failed{
        .user = "d", .home = "/d", .status = ExitStatus::failed, .reason = "because"};

    EXPECT_EQ(statusOf(std::vector<AccountResult>{}), ExitStatus::complete);
    EXPECT_EQ(statusOf(std::vector{passedOver, complete}), ExitStatus::complete);
    EXPECT_EQ(statusOf(std::vector{left, complete}), ExitStatus::leftInPlace);
    EXPECT_EQ(statusOf(std::vector{failed, left, complete}), ExitStatus::failed);
    EXPECT_EQ(lineOf(passedOver), "a: passed over: why");
    EXPECT_EQ(lineOf(failed), "d: failed: because");
}

class AccountsDocument : public testing::Test {
protected:
    Information information_;
    FakeAccount account_;
    ScopedService<qf::SystemInformation> informationScope_{information_};
    ScopedService<qf::UserAccount> accountScope_{account_};
};

TEST_F(AccountsDocument, HasEachAccountsResultReasonAndRows) {
    auto anna = resultOf(reportWith(row));
    const AccountResult ben{
        .user = "ben\xFF", .home = "/ben", .status = ExitStatus::failed, .reason = "why\xFF"};
    const auto document = Json::parse(cli::accountsAsJson({anna, ben}, true, false));

    EXPECT_EQ(document["version"], 1);
    EXPECT_EQ(document["removeShared"], true);
    EXPECT_EQ(document["result"], "failed");
    EXPECT_EQ(document["accounts"],
              Json::parse(R"([{"user": "anna", "home": "/home/anna", "result": "complete",
                               "rows": [)" +
                          std::string(row) + R"(]},
                              {"user": "ben\\xFF", "home": "/ben", "result": "failed",
                               "reason": "why\\xFF", "rows": []}])"));
}

TEST_F(AccountsDocument, TellsAnAccountThatWasPassedOverFromOneWhereItemsAreLeft) {
    const AccountResult anna{
        .user = "anna", .home = "/home/anna", .status = {}, .reason = "nobody is at home"};
    const AccountResult ben{.user = "ben", .home = "/ben", .status = ExitStatus::leftInPlace};
    const auto document = Json::parse(cli::accountsAsJson({anna, ben}, false, false));

    EXPECT_EQ(document["result"], "leftInPlace");
    EXPECT_EQ(document["accounts"][0]["result"], "passedOver");
    EXPECT_EQ(document["accounts"][0]["reason"], "nobody is at home");
    EXPECT_EQ(document["accounts"][1]["result"], "leftInPlace");
}

TEST_F(AccountsDocument, SaysThatMoreIsToCome) {
    const auto document = Json::parse(cli::accountsAsJson({}, false, true));

    EXPECT_EQ(document["result"], "running");
    EXPECT_EQ(document["accounts"], Json::array());
}

} // namespace
