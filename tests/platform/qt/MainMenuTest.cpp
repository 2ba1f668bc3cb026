#include "app/MainMenu.h"
#include "platform/qt/Interface.h"
#include "tests/support/NamedCase.h"
#include "tests/support/UserInterface.h"

#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QIcon>
#include <QLabel>
#include <QProgressBar>
#include <QScreen>
#include <QTest>

#include <algorithm>
#include <string>

namespace {

/// The windows that the uninstaller itself shows.
class MainMenuTest : public UserInterface {
protected:
    MainMenuTest() {
        interface.setAction("uninstall:", [this] { performed += "uninstall:"; });
        interface.setAction("cancel:", [this] { performed += "cancel:"; });
        interface.setAction("showItems:", [this] { performed += "showItems:"; });
    }

    QWidget& mainWindow() {
        interface.window("windowMain").makeKeyAndOrderFront();
        auto& window = *windowTitled("Uninstall Kelvane");
        EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
        return window;
    }

    QWidget& progressWindow() {
        interface.window("windowProgress").makeKeyAndOrderFront();
        return *windowTitled("Uninstalling Kelvane");
    }

    static std::string focused() {
        const auto* widget = QApplication::focusWidget();
        return widget == nullptr ? "" : widget->objectName().toStdString();
    }

    std::string performed;
    qf::qt::Interface interface { mainMenu() };
};

/// One of the windows: the member that shows it.
using MenuWindow = NamedValue<QWidget& (MainMenuTest::*)()>;

/// What holds for each of the windows.
class MainMenuWindowTest : public MainMenuTest, public testing::WithParamInterface<MenuWindow> {
public:
    using MainMenuTest::mainWindow;
    using MainMenuTest::progressWindow;

protected:
    QWidget& window() { return (this->*GetParam().value)(); }
};

TEST_F(MainMenuTest, HasTheFourOutlets) {
    EXPECT_NO_THROW({
        interface.window("windowMain");
        interface.checkBox("removeSharedCheck");
        interface.window("windowProgress");
        interface.progressIndicator("progressBar");
    });
}

TEST_F(MainMenuTest, ConnectsTheButtons) {
    press(mainWindow(), "&Uninstall");
    press(mainWindow(), "&Cancel");
    press(mainWindow(), "Show &Items…");
    EXPECT_EQ(performed, "uninstall:cancel:showItems:");
}

TEST_F(MainMenuTest, OffersToPutBackOnlyOnceThatIsPossible) {
    interface.setAction("putBack:", [this] { performed += "putBack:"; });
    auto& window = mainWindow();
    EXPECT_EQ(buttonTitles(window),
              (std::vector<std::string>{"&Put Back…", "Show &Items…", "&Cancel", "&Uninstall"}));
    press(window, "&Put Back…");
    EXPECT_EQ(performed, "putBack:");
}

TEST_F(MainMenuTest, KeepsTheProgressWindowAsItIsWhateverTheItemIsCalled) {
    auto& window = progressWindow();
    const auto size = window.size();

    interface.label("progressItem").setText(std::string(500, 'x') + ".app, 1 of 2");

    EXPECT_TRUE(QTest::qWaitForWindowExposed(&window));
    EXPECT_EQ(window.size(), size);
    const auto& label = *window.findChild<QLabel*>("progressItem");
    EXPECT_TRUE(label.text().endsWith(".app, 1 of 2"));
    EXPECT_LE(label.fontMetrics().horizontalAdvance(label.text()), label.width());
}

TEST_F(MainMenuTest, OutlinesTheBoxOnADarkDesktop) {
    auto& box = *mainWindow().findChild<QCheckBox*>();
    QPalette dark(Qt::white, QColor(49, 54, 59));
    box.setPalette(dark);

    const auto picture = box.grab().toImage();

    // From the left end to the middle of the box: background, outline, box.
    int lightest = 0;
    for (int x = 0; x < box.iconSize().width() / 2; ++x) {
        lightest = std::max(lightest, qGray(picture.pixel(x, box.height() / 2)));
    }
    EXPECT_GT(lightest, 120);
}

TEST_F(MainMenuTest, LeavesTheSharedItemsUntickedAtFirst) {
    EXPECT_EQ(interface.checkBox("removeSharedCheck").state(), qf::CheckBoxState::off);
}

TEST_F(MainMenuTest, PutsUninstallLast) {
    EXPECT_EQ(buttonTitles(mainWindow()),
              (std::vector<std::string>{"Show &Items…", "&Cancel", "&Uninstall"}));
}

TEST_F(MainMenuTest, SaysThatEverythingGoesToTheTrash) {
    const auto texts = labelTexts(mainWindow());
    ASSERT_EQ(texts.size(), 3U);
    EXPECT_EQ(texts[0], "Uninstall Kelvane");
    EXPECT_NE(texts[1].find("Trash"), std::string::npos);
    EXPECT_NE(texts[2].find("software updater"), std::string::npos);
}

TEST_F(MainMenuTest, CancelsOnEscapeAndWhenItIsClosed) {
    auto& window = mainWindow();
    QTest::keyClick(&window, Qt::Key_Escape);
    EXPECT_EQ(performed, "cancel:");
    window.close();
    EXPECT_EQ(performed, "cancel:cancel:");
}

TEST_F(MainMenuTest, StartsOnTheCheckBoxAndGoesToTheListLast) {
    auto& window = mainWindow();
    EXPECT_EQ(focused(), "removeSharedCheck");
    QTest::keyClick(&window, Qt::Key_Tab);
    EXPECT_EQ(focused(), "cancelButton");
    QTest::keyClick(&window, Qt::Key_Tab);
    EXPECT_EQ(focused(), "uninstallButton");
    QTest::keyClick(&window, Qt::Key_Tab);
    EXPECT_EQ(focused(), "itemsButton");
    QTest::keyClick(&window, Qt::Key_Tab);
    EXPECT_EQ(focused(), "removeSharedCheck");
}

TEST_F(MainMenuTest, ShowsWhatHasTheFocusFromTheStart) {
    auto* box = mainWindow().findChild<QCheckBox*>();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&mainWindow()));
    const auto focused = box->grab().toImage();
    box->clearFocus();
    EXPECT_NE(box->grab().toImage(), focused);
}

TEST_F(MainMenuTest, UninstallsOnReturnOnlyWhenThatButtonHasTheFocus) {
    auto& window = mainWindow();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    EXPECT_EQ(performed, "");
    QTest::keyClick(&window, Qt::Key_Tab);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    EXPECT_EQ(performed, "cancel:");
    QTest::keyClick(&window, Qt::Key_Tab);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    EXPECT_EQ(performed, "cancel:uninstall:");
}

TEST_F(MainMenuTest, AnswersToItsMnemonics) {
    auto* window = mainWindow().windowHandle();
    // A button is shown pressed for a moment before it acts.
    const auto type = [&](Qt::Key key, const std::string& expected) {
        QTest::keyClick(window, key, Qt::AltModifier);
        EXPECT_TRUE(QTest::qWaitFor([&] { return performed == expected; }, 60000)) << performed;
    };
    type(Qt::Key_U, "uninstall:");
    type(Qt::Key_C, "uninstall:cancel:");
    QTest::keyClick(window, Qt::Key_S, Qt::AltModifier);
    auto& box = interface.checkBox("removeSharedCheck");
    EXPECT_TRUE(QTest::qWaitFor([&] { return box.state() == qf::CheckBoxState::on; }, 60000));
}

TEST_F(MainMenuTest, IsOneColumnOfFixedWidth) {
    EXPECT_EQ(mainWindow().width(), 480);
    EXPECT_EQ(progressWindow().width(), 480);
    EXPECT_EQ(mainWindow().minimumSize(), mainWindow().maximumSize());
}

TEST_P(MainMenuWindowTest, CutsNoTextOff) {
    for (const auto* label : window().findChildren<QLabel*>()) {
        const int height = label->hasHeightForWidth() ? label->heightForWidth(label->width())
                                                      : label->sizeHint().height();
        EXPECT_GE(label->height(), height) << label->objectName().toStdString();
    }
}

TEST_F(MainMenuTest, GrowsWithTheFont) {
    const auto font = QApplication::font();
    const int height = mainWindow().height();
    auto larger = font;
    larger.setPointSizeF(font.pointSizeF() * 2);
    QApplication::setFont(larger);
    QCoreApplication::processEvents();
    EXPECT_GT(mainWindow().height(), height);
    QApplication::setFont(font);
}

/// Sets the icon of the main window, which is not on the screen yet, and returns its label.
QLabel& iconOfMainWindow() {
    const auto widgets = QApplication::allWidgets();
    auto& icon = static_cast<QLabel&>(**std::ranges::find_if(
        widgets, [](const QWidget* widget) { return widget->objectName() == "mainIcon"; }));
    icon.setPixmap(QPixmap(64, 64));
    return icon;
}

TEST_F(MainMenuTest, LeavesItsIconOutWhereLargeTypeNeedsTheWholeScreen) {
    const auto font = QApplication::font();
    auto larger = font;
    larger.setPointSizeF(font.pointSizeF() * 2.3);
    QApplication::setFont(larger);
    QCoreApplication::processEvents();
    auto& icon = iconOfMainWindow();
    auto& window = mainWindow();
    EXPECT_FALSE(icon.isVisible());
    EXPECT_LE(window.width(), window.screen()->availableGeometry().width());
    QApplication::setFont(font);
}

TEST_F(MainMenuTest, IndentsItsNoteAndLeavesNoOtherRoomAroundIt) {
    const auto margins = mainWindow().findChild<QLabel*>("removeSharedNote")->contentsMargins();
    EXPECT_GT(margins.left(), 0);
    EXPECT_EQ(margins, QMargins(margins.left(), 0, 0, 0));
}

TEST_F(MainMenuTest, ShowsItsIcon) {
    auto& icon = iconOfMainWindow();
    mainWindow();
    EXPECT_TRUE(icon.isVisible());
}

std::string accessible(QObject* object, QAccessible::Text text) {
    auto* interface = QAccessible::queryAccessibleInterface(object);
    return interface->text(text).toStdString();
}

TEST_F(MainMenuTest, TellsAScreenReaderWhatEverythingIs) {
    auto& window = mainWindow();
    auto* box = window.findChild<QCheckBox*>();
    EXPECT_EQ(accessible(box, QAccessible::Name),
              "Also remove items shared by all Quillfen products");
    EXPECT_NE(accessible(box, QAccessible::Description).find("software updater"),
              std::string::npos);
    EXPECT_EQ(accessible(&button(window, "&Uninstall"), QAccessible::Name), "Uninstall");
    EXPECT_EQ(accessible(&button(window, "&Uninstall"), QAccessible::Description),
              "Moves the Kelvane suite to the Trash");
    EXPECT_EQ(accessible(&button(window, "&Cancel"), QAccessible::Description),
              "Quits and removes nothing");
    EXPECT_EQ(accessible(progressWindow().findChild<QProgressBar*>(), QAccessible::Name),
              "Moving Kelvane to the Trash");
}

TEST_P(MainMenuWindowTest, TellsAScreenReaderThatItIsAWindow) {
    EXPECT_EQ(QAccessible::queryAccessibleInterface(&window())->role(), QAccessible::Window);
}

INSTANTIATE_TEST_SUITE_P(, MainMenuWindowTest,
                         testing::Values(MenuWindow{{"Main"}, &MainMenuWindowTest::mainWindow},
                                         MenuWindow{{"Progress"},
                                                    &MainMenuWindowTest::progressWindow}),
                         nameOfCase);

TEST_F(MainMenuTest, TellsAScreenReaderThatItIsBusyWhileTheBarIsShown) {
    auto* bar = progressWindow().findChild<QProgressBar*>();
    auto* described = QAccessible::queryAccessibleInterface(bar);
    EXPECT_EQ(described->role(), QAccessible::ProgressBar);
    EXPECT_FALSE(described->state().busy);
    bar->setRange(0, 0);
    EXPECT_TRUE(described->state().busy);
    progressWindow().hide();
    EXPECT_FALSE(described->state().busy);
}

TEST_F(MainMenuTest, CannotBeClosedWhileItRuns) {
    auto& window = progressWindow();
    EXPECT_FALSE(window.close());
    QTest::keyClick(&window, Qt::Key_Escape);
    EXPECT_TRUE(window.isVisible());
    EXPECT_EQ(performed, "");
    EXPECT_TRUE(buttonTitles(window).empty());
}

using IconSize = NamedValue<int>;

class MainMenuIconTest : public testing::TestWithParam<IconSize> {};

TEST_P(MainMenuIconTest, HasEverySizeThatScreensNeed) {
    QIcon icon;
    const QDir directory(":/icon");
    for (const auto& file : directory.entryList()) {
        icon.addFile(directory.filePath(file));
    }
    const int size = GetParam().value;
    EXPECT_TRUE(icon.availableSizes().contains(QSize(size, size)));
}

INSTANTIATE_TEST_SUITE_P(, MainMenuIconTest,
                         testing::Values(IconSize{{"Of16"}, 16}, IconSize{{"Of24"}, 24},
                                         IconSize{{"Of32"}, 32}, IconSize{{"Of48"}, 48},
                                         IconSize{{"Of64"}, 64}, IconSize{{"Of128"}, 128},
                                         IconSize{{"Of192"}, 192}, IconSize{{"Of256"}, 256}),
                         nameOfCase);

} // namespace
