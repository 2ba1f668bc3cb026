#include "platform/qt/ItemsWindow.h"

#include "tests/support/UserInterface.h"

#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

#include <functional>

using qf::qt::ItemsAnswer;
using qf::qt::ItemsDescription;
using qf::qt::showItems;

namespace {

const ItemsDescription description{
    .title = "Items",
    .message = "These.",
    .sections = {{"First", {{"/x/a&b <i>", "1 kB"}, {"/x/c", {}}}}, {"Second", {{"/x/d", {}}}}},
    .canTryAgain = true};

/// Shows the items, and does this with the window once it is active.
ItemsAnswer shown(const ItemsDescription& items, const std::function<void(QWidget&)>& act) {
    QTimer::singleShot(0, [&] {
        auto* window = windowTitled("Items");
        ASSERT_NE(window, nullptr);
        EXPECT_TRUE(QTest::qWaitForWindowActive(window));
        act(*window);
    });
    return showItems(items);
}

void pressEscape(QWidget& window) {
    QTest::keyClick(&window, Qt::Key_Escape);
}

class ItemsWindowTest : public UserInterface {};

TEST_F(ItemsWindowTest, ListsTheItemsBelowTheirHeadings) {
    shown(description, [](QWidget& window) {
        const auto& list = *window.findChild<QTreeWidget*>();
        ASSERT_EQ(list.topLevelItemCount(), 2);
        const auto& first = *list.topLevelItem(0);
        EXPECT_EQ(first.text(0), "First");
        EXPECT_TRUE(first.isExpanded());
        ASSERT_EQ(first.childCount(), 2);
        EXPECT_EQ(first.child(0)->text(0), "/x/a&b <i>");
        EXPECT_EQ(first.child(0)->text(1), "1 kB");
        EXPECT_EQ(first.child(0)->toolTip(0), "<span>/x/a&amp;b &lt;i&gt;</span>");
        pressEscape(window);
    });
}

TEST_F(ItemsWindowTest, ShowsALongHeadingWholeInSeveralLines) {
    auto items = description;
    for (int i = 0; i < 40; ++i) {
        items.sections[1].heading += " word";
    }
    shown(items, [](QWidget& window) {
        const auto& list = *window.findChild<QTreeWidget*>();
        const int line = list.visualItemRect(list.topLevelItem(0)).height();
        EXPECT_GE(list.visualItemRect(list.topLevelItem(1)).height(), 2 * line - 8);
        EXPECT_LT(list.visualItemRect(list.topLevelItem(1)->child(0)).height(), 2 * line - 8);
        pressEscape(window);
    });
}

TEST_F(ItemsWindowTest, GivesALongHeadingMoreLinesInANarrowerWindow) {
    auto items = description;
    for (int i = 0; i < 40; ++i) {
        items.sections[1].heading += " word";
    }
    shown(items, [](QWidget& window) {
        const auto& list = *window.findChild<QTreeWidget*>();
        const auto height = [&list] { return list.visualItemRect(list.topLevelItem(1)).height(); };
        const int before = height();
        window.resize(window.width() / 2, window.height());
        EXPECT_TRUE(QTest::qWaitFor([&] { return height() > before; }));
        pressEscape(window);
    });
}

TEST_F(ItemsWindowTest, ShortensLongPathsInTheMiddle) {
    shown(description, [](QWidget& window) {
        EXPECT_EQ(window.findChild<QTreeWidget*>()->textElideMode(), Qt::ElideMiddle);
        pressEscape(window);
    });
}

TEST_F(ItemsWindowTest, ShowsItsMessageUnchanged) {
    auto items = description;
    items.message = "<b>Bold</b> & %@";
    shown(items, [](QWidget& window) {
        EXPECT_EQ(labelTexts(window), std::vector<std::string>{"<b>Bold</b> & %@"});
        EXPECT_EQ(window.findChild<QLabel*>()->textFormat(), Qt::PlainText);
        pressEscape(window);
    });
}

TEST_F(ItemsWindowTest, KeepsItsButtonsApart) {
    shown(description, [](QWidget& window) {
        const int end = button(window, "&Try Again").geometry().right() + 1;
        EXPECT_EQ(button(window, "C&lose").geometry().left() - end, 8);
        pressEscape(window);
    });
}

TEST_F(ItemsWindowTest, GivesTheDetailsNoMoreRoomThanTheyNeed) {
    shown(description, [](QWidget& window) {
        const auto& list = *window.findChild<QTreeWidget*>();
        EXPECT_LT(list.columnWidth(1), list.columnWidth(0));
        pressEscape(window);
    });
}

TEST_F(ItemsWindowTest, TellsThatThePersonWantsToTryAgain) {
    EXPECT_EQ(shown(description, [](QWidget& window) { press(window, "&Try Again"); }),
              ItemsAnswer::tryAgain);
}

TEST_F(ItemsWindowTest, IsClosedByItsButtonAndByEscape) {
    EXPECT_EQ(shown(description, [](QWidget& window) { press(window, "C&lose"); }),
              ItemsAnswer::close);
    EXPECT_EQ(shown(description, pressEscape), ItemsAnswer::close);
}

TEST_F(ItemsWindowTest, HasNoButtonToTryAgainUnlessItIsWanted) {
    auto listOnly = description;
    listOnly.canTryAgain = false;
    shown(listOnly, [](QWidget& window) {
        EXPECT_EQ(buttonTitles(window), (std::vector<std::string>{"&Copy", "C&lose"}));
        pressEscape(window);
    });
}

TEST_F(ItemsWindowTest, HasNoListWhereThereIsNothingToList) {
    shown({.title = "Items", .message = "None.", .sections = {}}, [](QWidget& window) {
        EXPECT_EQ(window.findChild<QTreeWidget*>(), nullptr);
        EXPECT_EQ(buttonTitles(window), std::vector<std::string>{"C&lose"});
        EXPECT_EQ(labelTexts(window), std::vector<std::string>{"None."});
        EXPECT_LT(window.height(), window.width() / 2);
        pressEscape(window);
    });
}

TEST_F(ItemsWindowTest, CopiesTheListAsText) {
    shown(description, [](QWidget& window) {
        press(window, "&Copy");
        EXPECT_TRUE(window.isVisible());
        pressEscape(window);
    });

    EXPECT_EQ(QApplication::clipboard()->text(),
              "First\n    /x/a&b <i>  1 kB\n    /x/c\nSecond\n    /x/d\n");
}

} // namespace
