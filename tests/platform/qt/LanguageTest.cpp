#include "platform/qt/Language.h"

#include "app/Explanations.h"
#include "app/MainMenu.h"
#include "platform/Services.h"
#include "platform/foundation/Thread.h"
#include "platform/qt/Interface.h"
#include "platform/qt/ItemsWindow.h"
#include "tests/support/UserInterface.h"

#include <QApplication>
#include <QCheckBox>
#include <QKeySequence>
#include <QScreen>

#include <new>
#include <set>

using qf::qt::Language;

namespace {

constexpr auto uninstall = qf::translatable("MainMenu", "&Uninstall");

TEST(Language, IsTheFirstThatHasATranslation) {
    EXPECT_EQ(Language({"de-DE", "de"}).translated(uninstall), "&Deinstallieren");
    EXPECT_EQ(Language({"tlh", "de"}).translated(uninstall), "&Deinstallieren");
}

TEST(Language, OfACountryWithoutATranslationIsThatOfItsOthers) {
    EXPECT_EQ(Language({"de-AT"}).translated(uninstall), "&Deinstallieren");
}

TEST(Language, IsEnglishIfThatComesFirstOrNothingIsTranslated) {
    for (const auto& languages :
         {QStringList{"en-GB", "de"}, QStringList{"en", "de"}, QStringList{"tlh"}, QStringList{}}) {
        EXPECT_EQ(Language(languages).translated(uninstall), "&Uninstall");
    }
}

TEST(Language, ShowsATextWithoutTranslationInEnglish) {
    EXPECT_EQ(Language({"de"}).translated(qf::translatable("Alert", "Uninstall complete")),
              "Uninstall complete");
}

TEST(Language, ExplainsWhatTheSystemLacks) {
    Language german({"de"});
    const qf::ScopedService<qf::Language> shown(german);
    EXPECT_EQ(explanationOf(std::bad_alloc()),
              "Das System hat keinen freien Arbeitsspeicher mehr.");
    EXPECT_EQ(explanationOf(qf::NoThreadLeft(std::error_code())),
              "Das System kann keinen weiteren Thread starten.");
}

struct ExplainedRight {
    std::string name;
    qf::AuthorizationStatus status;
    std::string english;
};

/// Every reason why the administrator's right was of no use.
class ExplanationInGerman : public testing::TestWithParam<ExplainedRight> {};

TEST_P(ExplanationInGerman, DiffersFromTheEnglishOne) {
    ASSERT_EQ(explanationOf(GetParam().status), GetParam().english);
    Language german({"de"});
    const qf::ScopedService<qf::Language> shown(german);
    EXPECT_NE(explanationOf(GetParam().status), GetParam().english);
}

INSTANTIATE_TEST_SUITE_P(
    , ExplanationInGerman,
    testing::Values(ExplainedRight{"OfUselessRight", qf::errAuthorizationSuccess,
                                   "It could not be moved with the administrator's right either."},
                    ExplainedRight{"OfNoPassword", qf::errAuthorizationCanceled,
                                   "It takes an administrator's password to move it."},
                    ExplainedRight{"OfWrongPassword", qf::errAuthorizationWrongPassword,
                                   "The administrator's password was wrong."},
                    ExplainedRight{"OfDenial", qf::errAuthorizationDenied,
                                   "The administrator's right was denied."},
                    ExplainedRight{"OfNoRightToHave", qf::errAuthorizationInternal,
                                   "The administrator's right cannot be had on this machine."}),
    [](const auto& test) { return test.param.name; });

/// The windows in German.
class GermanWindows : public UserInterface {
protected:
    Language language{{"de"}};
    qf::ScopedService<qf::Language> languageInPlace{language};
};

TEST_F(GermanWindows, AreLoadedFromTheInterfaceFile) {
    qf::qt::Interface interface(mainMenu());
    interface.setAction("putBack:", [] {});
    interface.window("windowMain").makeKeyAndOrderFront();
    auto* window = windowTitled("Kelvane deinstallieren");
    ASSERT_NE(window, nullptr);

    EXPECT_EQ(buttonTitles(*window),
              (std::vector<std::string>{"&Zurücklegen\u00A0…", "&Objekte anzeigen\u00A0…",
                                        "&Abbrechen", "&Deinstallieren"}));
    EXPECT_EQ(window->accessibleDescription().toStdString(),
              "Verschiebt die Kelvane-Suite in den Papierkorb");
}

TEST_F(GermanWindows, UnderlineNoLetterTwice) {
    qf::qt::Interface interface(mainMenu());
    interface.window("windowMain").makeKeyAndOrderFront();
    const auto* window = windowTitled("Kelvane deinstallieren");
    ASSERT_NE(window, nullptr);

    std::multiset<QString> letters;
    for (const auto* button : window->findChildren<QAbstractButton*>()) {
        letters.insert(QKeySequence::mnemonic(button->text()).toString());
    }
    EXPECT_EQ(letters.size(), 5U);
    EXPECT_EQ(std::set(letters.begin(), letters.end()).size(), letters.size());
}

TEST_F(GermanWindows, KeepEveryButtonOnTheScreenInLargeType) {
    const auto font = QApplication::font();
    auto larger = font;
    larger.setPointSizeF(font.pointSizeF() * 2);
    QApplication::setFont(larger);
    qf::qt::Interface interface(mainMenu());
    interface.setAction("putBack:", [] {});
    interface.window("windowMain").makeKeyAndOrderFront();
    auto* window = windowTitled("Kelvane deinstallieren");
    ASSERT_NE(window, nullptr);

    const auto screen = window->screen()->availableGeometry();
    EXPECT_LE(window->width(), screen.width());
    EXPECT_LE(window->height(), screen.height());
    for (const auto* button : window->findChildren<QPushButton*>()) {
        EXPECT_TRUE(window->rect().contains(button->geometry())) << button->text().toStdString();
        EXPECT_GE(button->width(), button->sizeHint().width());
    }
    QApplication::setFont(font);
}

TEST_F(GermanWindows, ListItems) {
    whenShown("Objekte", [](QWidget& window) {
        EXPECT_EQ(buttonTitles(window),
                  (std::vector<std::string>{"&Kopieren", "&Erneut versuchen", "&Schließen"}));
        press(window, "&Schließen");
    });
    qf::qt::showItems({.title = "Objekte",
                       .message = "Diese.",
                       .sections = {{"Erste", {{"/x", {}}}}},
                       .canTryAgain = true});
}

TEST_F(GermanWindows, AskNotToBeShownAgain) {
    const auto panel =
        panels.create({.messageText = "Uninstall complete", .suppressionKey = "again"});
    panel->beginSheet(nullptr, [](int) {});
    const auto* window = windowTitled("Uninstall complete");
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->findChild<QCheckBox*>()->text(), "&Diese Meldung nicht mehr anzeigen");
}

} // namespace
