#include "platform/linux/authorization/PolkitAnswers.h"

#include "platform/PasswordQuestion.h"
#include "tests/support/NamedCase.h"
#include "tests/support/Tracer.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <new>
#include <optional>
#include <string_view>
#include <vector>

using namespace qf::native;
using Kind = PolkitAnswer::Kind;

namespace {

/// Returns the answers that a test has put there, one after the other, and keeps what it was asked.
class PreparedQuestion : public qf::PasswordQuestion {
public:
    std::vector<std::optional<qf::GivenPassword>> answers;
    std::vector<qf::Administrator> asked;
    std::vector<int> attempts;

    std::optional<qf::GivenPassword> ask(const std::vector<qf::Administrator>& administrators,
                                         int attempt) override {
        asked = administrators;
        attempts.push_back(attempt);
        auto answer = answers.front();
        answers.erase(answers.begin());
        return answer;
    }
};

} // namespace

TEST(PolkitAnswers, GiveTheCredentialsOfAnAdministratorOnce) {
    const std::string password = "eleven apples";
    const auto answer = answerWith(1000, password);
    const auto first = answer({999, 1000}, 1);
    EXPECT_EQ(first.kind, Kind::password);
    EXPECT_EQ(first.user, 1000U);
    EXPECT_EQ(first.password, &password);
    EXPECT_EQ(answer({999, 1000}, 2).kind, Kind::giveUp);
    EXPECT_EQ(answer({999}, 1).kind, Kind::giveUp);
}

TEST(PolkitAnswers, GiveWhatThePersonAnswers) {
    PreparedQuestion question;
    question.answers = {qf::GivenPassword{{0, "root"}, "ten figs"}};
    Secret secret;
    const auto answer = answerByAsking(question, secret)({0}, 3);
    EXPECT_EQ(answer.kind, Kind::password);
    EXPECT_EQ(answer.user, 0U);
    EXPECT_EQ(*answer.password, "ten figs");
    EXPECT_EQ(question.attempts, std::vector<int>{3});
    ASSERT_EQ(question.asked.size(), 1U);
    EXPECT_EQ(question.asked[0].loginName, "root");
}

TEST(PolkitAnswers, DismissWhatNobodyAnswersAndWhatIsNotOneLine) {
    PreparedQuestion question;
    question.answers = {std::nullopt, qf::GivenPassword{{0, "root"}, "two\nlines"}};
    Secret secret;
    const auto answer = answerByAsking(question, secret);
    EXPECT_EQ(answer({0}, 1).kind, Kind::dismiss);
    EXPECT_EQ(answer({0}, 1).kind, Kind::dismiss);
    EXPECT_EQ(answer({}, 1).kind, Kind::dismiss); // nobody could answer
    EXPECT_TRUE(question.answers.empty());
}

TEST(PolkitAnswers, HaveAPasswordOfOneLine) {
    EXPECT_TRUE(isOneLine(""));
    EXPECT_TRUE(isOneLine("a b\tc"));
    EXPECT_FALSE(isOneLine("a\n"));
    EXPECT_FALSE(isOneLine(std::string("a\0b", 3)));
}

class PolkitAnswersAboutAHelper : public testing::TestWithParam<NamedText> {};

TEST_P(PolkitAnswersAboutAHelper, AreForThisProcesssChildren) {
    const Tracer child; // any process will do
    EXPECT_TRUE(isForHelper({GetParam().value, child.process()}));
    EXPECT_FALSE(isForHelper({GetParam().value, ::getppid()}));
    EXPECT_FALSE(isForHelper({GetParam().value, 0}));
}

INSTANTIATE_TEST_SUITE_P(, PolkitAnswersAboutAHelper,
                         testing::Values(NamedText{{"Polkits"}, "org.freedesktop.policykit.exec"},
                                         NamedText{{"Own"},
                                                   "com.quillfen.kelvane-uninstaller.helper"}),
                         nameOfCase);

class PolkitAnswersAboutElse : public testing::TestWithParam<NamedText> {};

TEST_P(PolkitAnswersAboutElse, AreForNobody) {
    const Tracer child;
    EXPECT_FALSE(isForHelper({GetParam().value, child.process()}));
}

INSTANTIATE_TEST_SUITE_P(
    , PolkitAnswersAboutElse,
    testing::Values(NamedText{{"Units"}, "org.freedesktop.systemd1.manage-units"},
                    NamedText{{"OwnOther"}, "com.quillfen.other"},
                    NamedText{{"HelperOfAnother"}, "org.example.helper"}, NamedText{{"None"}, ""}),
    nameOfCase);

TEST(Secret, IsWipedAtTheEnd) {
    alignas(Secret) std::array<char, sizeof(Secret)> place{};
    auto* const secret = new (place.data()) Secret;
    std::string given = "short"; // kept in the object itself
    secret->replace(given);
    const std::string_view bytes(place.data(), place.size());
    EXPECT_NE(bytes.find("short"), std::string_view::npos);
    std::destroy_at(secret);
    EXPECT_EQ(bytes.find("short"), std::string_view::npos);
}

TEST(Secret, IsWipedWhereItWasAndWhenItIsReplaced) {
    std::string given = "short";
    Secret secret;
    secret.replace(given);
    EXPECT_EQ(given, std::string(5, '\0'));
    EXPECT_EQ(secret.text(), "short");
    const char* const kept = secret.text().data();
    std::string next = "no";
    secret.replace(next);
    EXPECT_EQ(secret.text(), "no");
    EXPECT_EQ(std::string(kept + 3, 2), std::string(2, '\0'));
}
