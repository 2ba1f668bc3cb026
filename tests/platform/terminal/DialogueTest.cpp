#include "platform/terminal/Dialogue.h"

#include "platform/terminal/AlertPanel.h"
#include "platform/terminal/PasswordQuestion.h"
#include "tests/platform/terminal/TerminalInput.h"
#include "tests/platform/terminal/TerminalTest.h"
#include "tests/support/MemoryPreferences.h"
#include "tests/support/NamedCase.h"

#include <cerrno>
#include <memory>
#include <thread>

using qf::Administrator;
using qf::AlertDescription;
using qf::terminal::AlertPanel;
using qf::terminal::Echo;
using qf::terminal::Manner;
using qf::terminal::PasswordQuestion;

namespace {

using Answers = std::vector<std::optional<std::string>>;

class DialogueTest : public TerminalTest {
protected:
    using TerminalTest::TerminalTest;

    void ask(const std::string& prompt, const void* owner = nullptr) {
        dialogue.ask(
            {prompt, [this](auto line) { answers.push_back(std::move(line)); }, Echo::yes, owner});
    }

    Answers answers;
};

TEST_F(DialogueTest, AsksOneQuestionAfterAnother) {
    ask("First?");
    ask("Second?");
    EXPECT_EQ(console.printed(), "First? ");
    input.type("one\ntwo\nthree\n");

    runUntil([&] { return answers.size() == 2; });

    EXPECT_EQ(answers, (Answers{"one", "two"}));
    EXPECT_EQ(console.printed(), "First? \nSecond? \n");
    EXPECT_FALSE(dialogue.isAsking());
}

TEST_F(DialogueTest, KeepsWhatWasTypedAheadForTheNextQuestion) {
    input.type("one\ntwo\n");
    ask("First?");
    runUntil([&] { return answers.size() == 1; });

    ask("Second?");

    EXPECT_EQ(answers, (Answers{"one", "two"}));
}

TEST_F(DialogueTest, WaitsForTheWholeLine) {
    ask("?");
    input.type("half");
    settle();
    EXPECT_TRUE(answers.empty());
    input.type(" a line\n");

    runUntil([&] { return !answers.empty(); });

    EXPECT_EQ(answers, Answers{"half a line"});
}

TEST_F(DialogueTest, LeavesALineThatIsTooLongUnchanged) {
    ask("?");
    input.type(std::string(5000, 'x'));

    runUntil([&] { return !answers.empty(); });

    EXPECT_GE(answers.front()->size(), 4096U);
}

TEST_F(DialogueTest, HasNoAnswerAtTheEndOfTheInput) {
    ask("?");
    input.type("half");
    input.end();

    runUntil([&] { return !answers.empty(); });

    EXPECT_EQ(answers, Answers{std::nullopt});
}

TEST_F(DialogueTest, HasNoAnswerAtTheEndOfTheInputWhateverFailedBefore) {
    ask("?");
    input.end();
    errno = EAGAIN;

    runUntil([&] { return !answers.empty(); });

    EXPECT_EQ(answers, Answers{std::nullopt});
}

/// Only AddressSanitizer tells if it is.
TEST_F(DialogueTest, IsNotCalledOnceItIsGone) {
    std::make_unique<qf::terminal::Dialogue>(application, screen).reset();

    settle();
}

TEST_F(DialogueTest, HidesWhatIsTypedUntilItIsAnswered) {
    const TerminalInput terminal;
    dialogue.ask({"?", [this](auto line) { answers.push_back(std::move(line)); }, Echo::no});
    EXPECT_FALSE(TerminalInput::echoes());
    terminal.type("word\n");

    runUntil([&] { return !answers.empty(); });

    EXPECT_EQ(answers, Answers{"word"});
    EXPECT_TRUE(TerminalInput::echoes());
}

class DialogueSignalTest : public DialogueTest, public testing::WithParamInterface<int> {};

TEST_P(DialogueSignalTest, IsTakenForNoAnswer) {
    ask("?");
    ::raise(GetParam());

    runUntil([&] { return !answers.empty(); });

    EXPECT_EQ(answers, Answers{std::nullopt});
}

INSTANTIATE_TEST_SUITE_P(, DialogueSignalTest, testing::Values(SIGINT, SIGTERM, SIGHUP, SIGQUIT));

/// In a program that nohup has started.
class UnattendedDialogueTest : public DialogueTest {
protected:
    UnattendedDialogueTest() : DialogueTest(SIG_IGN) {}
};

TEST_F(UnattendedDialogueTest, TakesNoIgnoredSignalForAnAnswer) {
    ask("?");
    ::raise(SIGHUP);

    settle();

    EXPECT_TRUE(answers.empty());
}

TEST_F(DialogueTest, TellsOfASignalWhenNothingIsAsked) {
    bool isInterrupted = false;
    dialogue.onInterruption([&] { isInterrupted = true; });
    ::raise(SIGINT);

    runUntil([&] { return isInterrupted; });
}

TEST_F(DialogueTest, TakesBackTheQuestionsOfAnOwner) {
    const int owner = 0;
    ask("First?", &owner);
    ask("Second?");
    ask("Third?", &owner);

    dialogue.withdraw(&owner);
    input.type("two\n");
    runUntil([&] { return !answers.empty(); });

    EXPECT_EQ(answers, Answers{"two"});
    EXPECT_FALSE(dialogue.isAsking());
    EXPECT_EQ(console.printed(), "First? \nSecond? \n");
}

TEST_F(DialogueTest, AsksWhatWaitsBeforeWhatAnAnswerAsks) {
    dialogue.ask({"First?", [this](const auto&) { ask("Third?"); }});
    ask("Second?");
    input.type("one\ntwo\nthree\n");

    runUntil([&] { return answers.size() == 2; });

    EXPECT_EQ(answers, (Answers{"two", "three"}));
    EXPECT_EQ(console.printed(), "First? \nSecond? \nThird? \n");
}

TEST_F(DialogueTest, AsksWhatWaitsWhileAnAnswerWaitsForAnother) {
    dialogue.ask({"First?", [this](const auto&) {
                      ask("Third?");
                      input.type("two\nthree\n");
                      runUntil([&] { return answers.size() == 2; });
                  }});
    ask("Second?");
    input.type("one\n");

    runUntil([&] { return !answers.empty(); });

    EXPECT_EQ(answers, (Answers{"two", "three"}));
}

TEST_F(DialogueTest, AsksOnceWhatIsLeftWhenAnAnswerTakesBackWhatWaits) {
    const int owner = 0;
    dialogue.ask({"First?", [&](const auto&) { dialogue.withdraw(&owner); }});
    ask("Second?", &owner);
    ask("Third?");
    input.type("one\nthree\n");

    runUntil([&] { return !answers.empty(); });

    EXPECT_EQ(answers, Answers{"three"});
    EXPECT_EQ(console.printed(), "First? \nThird? \n");
}

// ---- Alerts ------------------------------------------------------------------------------------

class TerminalAlertTest : public TerminalTest {
protected:
    void begin(const AlertDescription& description, Manner manner = Manner::asks) {
        panel.emplace(description, application, dialogue, manner);
        panel->beginSheet(nullptr, [this](int answer) { answer_ = answer; });
    }

    int answerTo(const std::string& typed) {
        answer_.reset();
        input.type(typed);
        runUntil([this] { return answer_.has_value(); });
        return *answer_;
    }

    const AlertDescription three{.messageText = "Message",
                                 .informativeText = "100% %@",
                                 .defaultButtonTitle = "Save",
                                 .alternateButtonTitle = "Discard",
                                 .otherButtonTitle = "Wait",
                                 .suppressionKey = std::nullopt};
    std::optional<AlertPanel> panel;
    std::optional<int> answer_;
};

TEST_F(TerminalAlertTest, HasOneButtonOfItsOwn) {
    begin({.messageText = "Message", .informativeText = "Text"});
    EXPECT_TRUE(panel->isVisible());

    EXPECT_EQ(answerTo("\n"), AlertPanel::defaultReturn);

    EXPECT_EQ(console.printed(), "\nMessage\nText\n[OK] Press Return: \n");
    EXPECT_FALSE(panel->isVisible());
}

TEST_F(TerminalAlertTest, NumbersItsButtons) {
    begin(three);
    answerTo("\n");
    EXPECT_NE(console.printed().find("Message\n100% %@\n1 = Save, 2 = Discard, 3 = Wait [1] "),
              std::string::npos);
}

struct TypedAnswer : NamedCase {
    const char* typed;
    int answer;
};

class TerminalAlertAnswerTest : public TerminalAlertTest,
                                public testing::WithParamInterface<TypedAnswer> {};

TEST_P(TerminalAlertAnswerTest, IsThatOfTheNumber) {
    begin(three);
    EXPECT_EQ(answerTo(GetParam().typed), GetParam().answer);
}

INSTANTIATE_TEST_SUITE_P(
    All, TerminalAlertAnswerTest,
    testing::Values(TypedAnswer{{"Nothing"}, "\n", AlertPanel::defaultReturn},
                    TypedAnswer{{"One"}, "1\n", AlertPanel::defaultReturn},
                    TypedAnswer{{"TwoAndSpaces"}, " 2 \n", AlertPanel::alternateReturn},
                    TypedAnswer{{"Three"}, "3\n", AlertPanel::otherReturn}),
    nameOfCase);

TEST_F(TerminalAlertTest, AsksAgainForAButtonThatThereIsNot) {
    begin(three);

    EXPECT_EQ(answerTo("4\nDiscard\n2\n"), AlertPanel::alternateReturn);
}

TEST_F(TerminalAlertTest, TakesNoAnswerForTheWayOut) {
    begin(three);
    ::raise(SIGINT);
    EXPECT_EQ(answerTo(""), AlertPanel::alternateReturn);

    auto two = three;
    two.alternateButtonTitle.reset();
    begin(two);
    ::raise(SIGINT);
    EXPECT_EQ(answerTo(""), AlertPanel::otherReturn);

    begin({.messageText = "Message", .informativeText = ""});
    input.end();
    answer_.reset();
    runUntil([this] { return answer_.has_value(); });
    EXPECT_EQ(*answer_, AlertPanel::defaultReturn);
}

TEST_F(TerminalAlertTest, AnswersItselfWhereNobodyIsAsked) {
    begin(three, Manner::silent);

    EXPECT_EQ(answerTo(""), AlertPanel::defaultReturn);
    EXPECT_EQ(console.printed(), "\nMessage\n100% %@\n");
}

TEST_F(TerminalAlertTest, DoesNotAnswerItselfOnceItIsHidden) {
    begin(three, Manner::silent);
    panel->orderOut();

    settle();

    EXPECT_FALSE(answer_.has_value());
}

TEST_F(TerminalAlertTest, IsOnTheScreenUntilItIsHidden) {
    begin(three);
    EXPECT_TRUE(panel->isVisible());

    panel->orderOut();

    EXPECT_FALSE(panel->isVisible());
}

TEST_F(TerminalAlertTest, GivesNoAnswerOnceItIsHidden) {
    begin(three);
    panel->orderOut();
    input.type("1\n");

    settle();

    EXPECT_FALSE(answer_.has_value());
    EXPECT_FALSE(dialogue.isAsking());
}

class TerminalSuppressionTest : public TerminalAlertTest {
protected:
    /// Returns the answer of an alert with a suppression key to typed input.
    int answerTo(const std::string& typed) {
        auto description = three;
        description.suppressionKey = key;
        begin(description);
        return TerminalAlertTest::answerTo(typed);
    }

    static constexpr const char* key = "quiet";
    MemoryPreferences preferences;

private:
    qf::ScopedService<qf::Preferences> preferencesScope_{preferences};
};

TEST_F(TerminalSuppressionTest, StoresThatItIsNotToBeShownAgain) {
    EXPECT_EQ(answerTo("y\n2\n"), AlertPanel::alternateReturn);

    EXPECT_EQ(preferences.value(key), qf::Value(true));
    EXPECT_NE(console.printed().find("Do not show this message again? [y/N] "), std::string::npos);
}

TEST_F(TerminalSuppressionTest, ShowsWhatIsStoredAndLeavesItForAnEmptyLine) {
    preferences.setValue(key, 1);

    EXPECT_EQ(answerTo("\n2\n"), AlertPanel::alternateReturn);

    EXPECT_EQ(preferences.value(key), qf::Value(1));
    EXPECT_NE(console.printed().find("Do not show this message again? [Y/n] "), std::string::npos);
}

TEST_F(TerminalSuppressionTest, TakesBackWhatIsStored) {
    preferences.setValue(key, true);

    EXPECT_EQ(answerTo("n\n2\n"), AlertPanel::alternateReturn);

    EXPECT_EQ(preferences.value(key), qf::Value(false));
}

TEST_F(TerminalSuppressionTest, StoresNothingWhenTheAnswerIsWhatHeldBefore) {
    EXPECT_EQ(answerTo("n\n1\n"), AlertPanel::defaultReturn);

    EXPECT_TRUE(preferences.value(key).isNone());
}

TEST_F(TerminalSuppressionTest, TakesNoAnswerForTheWayOut) {
    ::raise(SIGINT);

    EXPECT_EQ(answerTo(""), AlertPanel::alternateReturn);

    EXPECT_TRUE(preferences.value(key).isNone());
}

// ---- The password ------------------------------------------------------------------------------

class PasswordQuestionTest : public TerminalTest {
protected:
    std::optional<qf::GivenPassword> ask(PasswordQuestion& question, int attempt = 1) {
        std::optional<qf::GivenPassword> given;
        bool isDone = false;
        std::thread asking([&] {
            given = question.ask(administrators, attempt);
            application.performOnMainThread([&] { isDone = true; }, qf::Wait::no);
        });
        runUntil([&] { return isDone; });
        asking.join();
        return given;
    }

    FakeAccount account;
    qf::ScopedService<qf::UserAccount> accountScope{account};
    const std::vector<Administrator> administrators{{1, "first"}, {1000, "someone"}};
};

TEST_F(PasswordQuestionTest, AsksForThePersonsOwnPassword) {
    PasswordQuestion question(application, dialogue, false);
    input.type("secret word\n");

    const auto given = ask(question);

    ASSERT_TRUE(given);
    EXPECT_EQ(given->administrator.userId, 1000U);
    EXPECT_EQ(given->password, "secret word");
    EXPECT_NE(console.printed().find("Password of someone: "), std::string::npos);
    EXPECT_EQ(console.printed().find("secret"), std::string::npos);
}

TEST_F(PasswordQuestionTest, AsksAnOrdinaryUserForAnAdministratorsPassword) {
    account.userId = 7;
    PasswordQuestion question(application, dialogue, false);
    input.type("word\n");

    EXPECT_EQ(ask(question)->administrator.loginName, "first");
}

TEST_F(PasswordQuestionTest, HasNoAnswerAtTheEndOfTheInput) {
    PasswordQuestion question(application, dialogue, false);
    input.end();

    EXPECT_FALSE(ask(question));
}

TEST_F(PasswordQuestionTest, TakesThreeAnswersAndCallsEachWrongOneWrong) {
    PasswordQuestion question(application, dialogue, false);
    input.type("1\n2\n3\n4\n");
    for (int attempt = 1; attempt <= 3; ++attempt) {
        EXPECT_TRUE(ask(question, attempt));
    }

    EXPECT_FALSE(ask(question, 4));

    const std::string wrong = "That is not the password.";
    int count = 0;
    for (auto found = console.printed().find(wrong); found != std::string::npos;
         found = console.printed().find(wrong, found + 1)) {
        ++count;
    }
    EXPECT_EQ(count, 3);
}

TEST_F(PasswordQuestionTest, NeverAsksWhenItIsSilent) {
    PasswordQuestion question(application, dialogue, true);

    EXPECT_FALSE(ask(question));

    EXPECT_EQ(console.printed(), "");
}

} // namespace
