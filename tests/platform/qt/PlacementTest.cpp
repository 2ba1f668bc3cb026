#include "platform/qt/Placement.h"

#include "tests/support/UserInterface.h"

#include <QBoxLayout>
#include <QLabel>
#include <QWidget>

namespace {

/// A window with a text that it can do without below something else.
class PlacementTest : public UserInterface {
protected:
    PlacementTest() {
        text->setProperty("dispensable", "true");
        column->addWidget(block);
        column->addWidget(text);
    }

    /// Fits a window that needs so much more height than the screen has.
    void fitHigherThanTheScreen(int pixels) {
        block->setFixedHeight(0);
        const int rest = column->totalSizeHint().height();
        block->setFixedHeight(qf::qt::roomOnScreen(window).height() - rest + pixels);
        qf::qt::fitToContents(window);
    }

    QWidget window;
    QVBoxLayout* column = new QVBoxLayout(&window);
    QWidget* block = new QWidget;
    QLabel* text = new QLabel("Text");
};

TEST_F(PlacementTest, KeepsTheTextThatTheScreenJustHasRoomFor) {
    fitHigherThanTheScreen(0);
    EXPECT_FALSE(text->isHidden());
}

TEST_F(PlacementTest, LeavesTheTextOutThatTheScreenHasNoRoomFor) {
    fitHigherThanTheScreen(1);
    EXPECT_TRUE(text->isHidden());
}

} // namespace
